#include "encoding/MessageReader.h"

#include "encoding/BigEndian.h"
#include "encoding/MemStream.h"

#include <algorithm>
#include <bit>
#include <cstring>
#include <stdexcept>
#include <vector>

namespace tavu {

namespace {

// Largest single read of a string or blob body, and so the most memory that a
// body can claim ahead of the bytes that back it.
constexpr uint32_t kStep = 64 * 1024;
// Slots reserved for a decoded map or array before its entries arrive.
constexpr uint32_t kReservedSlots = 16;

constexpr const char* kFailedToRead = "Failed to read.";

// One level deeper for as long as it lives. Nesting past MaxDepth fails like any other malformed
// input, before the recursion can exhaust the stack of a connection's thread.
class Nesting {
public:
    explicit Nesting(uint32_t& depth) : depth_(depth) {
        if (++depth_ > MessageReader::MaxDepth) {
            --depth_;
            throw std::runtime_error(kFailedToRead);
        }
    }
    ~Nesting() { --depth_; }
    Nesting(const Nesting&) = delete;
    Nesting& operator=(const Nesting&) = delete;

private:
    uint32_t& depth_;
};

void require(bool ok) {
    if (!ok) {
        throw std::runtime_error(kFailedToRead);
    }
}

}  // namespace

bool MessageReader::readExact(void* buffer, uint64_t byteCount) {
    return stream_.read(buffer, byteCount) == byteCount;
}

bool MessageReader::readRaw(void* buffer, uint64_t byteCount) {
    return readExact(buffer, byteCount);
}

bool MessageReader::readBigEndian(size_t width, uint64_t& value) {
    uint8_t bytes[8];
    if (!readExact(bytes, width)) {
        return false;
    }
    value = loadBigEndian(bytes, width);
    return true;
}

// Both views of an integer get the same bits, whatever its sign.
void MessageReader::storeInteger(uint64_t bits) {
    negValue_ = static_cast<int64_t>(bits);
    posValue_ = bits;
}

// The type follows the value, not the form: 0xD0 0x05 is a positive integer.
std::optional<ObjectType> MessageReader::readSigned(size_t width) {
    uint64_t raw = 0;
    if (!readBigEndian(width, raw)) {
        return std::nullopt;
    }
    const unsigned unused = 64 - 8 * static_cast<unsigned>(width);
    const int64_t value = static_cast<int64_t>(raw << unused) >> unused;
    storeInteger(static_cast<uint64_t>(value));
    return value < 0 ? ObjectType::NegativeInteger : ObjectType::PositiveInteger;
}

// Reads `length` bytes in steps of at most kStep, asking room(offset, count)
// where each step goes, so that storage follows the bytes that arrive. An
// empty body still makes one read of 0 bytes: a stream may refuse even that.
template <typename Room>
bool MessageReader::readInSteps(uint32_t length, Room room) {
    uint32_t done = 0;
    do {
        const uint32_t count = std::min(length - done, kStep);
        if (!readStep(room(done, count), count, done > 0)) {
            return false;
        }
        done += count;
    } while (done < length);
    return true;
}

// A memory stream that ends exactly where a step ended raises at the next
// step, where one read of the whole body would have come back short: both are
// the same short body.
bool MessageReader::readStep(void* buffer, uint32_t count, bool continuing) {
    if (!continuing) {
        return readExact(buffer, count);
    }
    try {
        return readExact(buffer, count);
    } catch (const EndOfData&) {
        return false;
    }
}

bool MessageReader::readStringBody(uint32_t length) {
    return readInSteps(length, [this](uint32_t offset, uint32_t count) {
        // resize keeps the capacity of earlier strings.
        stringValue_.resize(offset + count);
        return stringValue_.data() + offset;
    });
}

std::optional<ObjectType> MessageReader::readUnsigned(size_t width) {
    uint64_t value = 0;
    if (!readBigEndian(width, value)) {
        return std::nullopt;
    }
    storeInteger(value);
    return ObjectType::PositiveInteger;
}

std::optional<ObjectType> MessageReader::readFloat(size_t width) {
    uint64_t bits = 0;
    if (!readBigEndian(width, bits)) {
        return std::nullopt;
    }
    floatValue_ = width == 4 ? std::bit_cast<float>(static_cast<uint32_t>(bits)) : std::bit_cast<double>(bits);
    return ObjectType::Float;
}

std::optional<ObjectType> MessageReader::readSizedString(size_t lengthWidth) {
    uint64_t length = 0;
    if (!readBigEndian(lengthWidth, length) || !readStringBody(static_cast<uint32_t>(length))) {
        return std::nullopt;
    }
    return ObjectType::String;
}

// A blob, map or array head: only the length, never the body.
std::optional<ObjectType> MessageReader::readSizedHead(size_t lengthWidth, ObjectType type) {
    uint64_t length = 0;
    if (!readBigEndian(lengthWidth, length)) {
        return std::nullopt;
    }
    lastLength_ = static_cast<uint32_t>(length);
    return type;
}

// Heads whose lead byte carries the value or the length.
std::optional<ObjectType> MessageReader::decodeHead(uint8_t lead) {
    if (lead <= 0x7F) {
        storeInteger(lead);
        return ObjectType::PositiveInteger;
    }
    if (lead <= 0x9F) {
        lastLength_ = lead & 0x0F;
        return lead <= 0x8F ? ObjectType::Map : ObjectType::Array;
    }
    if (lead <= 0xBF) {
        return readStringBody(lead & 0x1F) ? std::optional(ObjectType::String) : std::nullopt;
    }
    if (lead >= 0xE0) {
        storeInteger(static_cast<uint64_t>(static_cast<int64_t>(static_cast<int8_t>(lead))));
        return ObjectType::NegativeInteger;
    }
    return decodeTaggedHead(lead);
}

// Heads whose lead byte is a tag followed by the value or the length.
std::optional<ObjectType> MessageReader::decodeTaggedHead(uint8_t lead) {
    switch (lead) {
    case 0xC0: return ObjectType::Nil;
    case 0xC2:
    case 0xC3:
        boolValue_ = lead == 0xC3;
        return ObjectType::Bool;
    case 0xC4: return readSizedHead(1, ObjectType::Blob);
    case 0xC5: return readSizedHead(2, ObjectType::Blob);
    case 0xC6: return readSizedHead(4, ObjectType::Blob);
    case 0xCA: return readFloat(4);
    case 0xCB: return readFloat(8);
    case 0xCC:
    case 0xCD:
    case 0xCE:
    case 0xCF: return readUnsigned(size_t{1} << (lead - 0xCC));
    case 0xD0:
    case 0xD1:
    case 0xD2:
    case 0xD3: return readSigned(size_t{1} << (lead - 0xD0));
    case 0xD9:
    case 0xDA:
    case 0xDB: return readSizedString(size_t{1} << (lead - 0xD9));
    case 0xDC: return readSizedHead(2, ObjectType::Array);
    case 0xDD: return readSizedHead(4, ObjectType::Array);
    case 0xDE: return readSizedHead(2, ObjectType::Map);
    case 0xDF: return readSizedHead(4, ObjectType::Map);
    default: return std::nullopt;  // 0xC1, ext and fixext are not understood
    }
}

bool MessageReader::next() {
    uint8_t lead = 0;
    if (!readExact(&lead, 1)) {
        return false;
    }
    const std::optional<ObjectType> type = decodeHead(lead);
    if (!type) {
        return false;
    }
    lastType_ = *type;
    return true;
}

void MessageReader::readHead() {
    require(next());
}

void MessageReader::expect(ObjectType type, const char* message) const {
    if (lastType_ != type) {
        throw std::runtime_error(message);
    }
}

uint32_t MessageReader::readArrayHeader() {
    readHead();
    expect(ObjectType::Array, "Expected array.");
    return lastLength_;
}

uint32_t MessageReader::readMapHeader() {
    readHead();
    expect(ObjectType::Map, "Expected map.");
    return lastLength_;
}

uint32_t MessageReader::readBlobHeader() {
    readHead();
    expect(ObjectType::Blob, "Expected blob.");
    return lastLength_;
}

bool MessageReader::readBool() {
    readHead();
    expect(ObjectType::Bool, "Expected boolean.");
    return boolValue_;
}

uint64_t MessageReader::readPosInt() {
    readHead();
    expect(ObjectType::PositiveInteger, "Expected pos integer.");
    return posValue_;
}

int64_t MessageReader::readNegInt() {
    readHead();
    expect(ObjectType::NegativeInteger, "Expected neg integer.");
    return negValue_;
}

int64_t MessageReader::readInt() {
    readHead();
    if (lastType_ == ObjectType::NegativeInteger) {
        return negValue_;
    }
    expect(ObjectType::PositiveInteger, "Expected integer.");
    if (posValue_ > static_cast<uint64_t>(INT64_MAX)) {
        throw std::runtime_error("Integer value out of range, expected int64_t.");
    }
    return negValue_;
}

void MessageReader::readString(std::string& out) {
    readHead();
    expect(ObjectType::String, "Expected string.");
    out = stringValue_;
}

void MessageReader::readBlobBody(void* buffer, uint32_t byteCount) {
    expect(ObjectType::Blob, "Not a blob.");
    if (byteCount != lastLength_) {
        throw std::runtime_error("Must read entire blob.");
    }
    require(readExact(buffer, byteCount));
}

void MessageReader::readBlobBody(std::vector<uint8_t>& out) {
    expect(ObjectType::Blob, "Not a blob.");
    out.clear();
    require(readInSteps(lastLength_, [&out](uint32_t offset, uint32_t count) {
        out.resize(offset + count);
        return out.data() + offset;
    }));
}

void MessageReader::skipValue() {
    readHead();
    switch (lastType_) {
    case ObjectType::Blob: {
        std::vector<uint8_t> scratch(std::min(lastLength_, kStep));
        require(readInSteps(lastLength_, [&scratch](uint32_t, uint32_t) { return scratch.data(); }));
        break;
    }
    case ObjectType::Map: {
        const Nesting level(depth_);
        for (uint64_t i = 2 * uint64_t{lastLength_}; i > 0; --i) {
            skipValue();
        }
        break;
    }
    case ObjectType::Array: {
        const Nesting level(depth_);
        for (uint32_t i = lastLength_; i > 0; --i) {
            skipValue();
        }
        break;
    }
    default:
        break;  // next() consumed everything else
    }
}

void MessageReader::findField(uint32_t& remaining, const char* name) {
    if (remaining == 0) {
        throw std::runtime_error("Map field not found.");
    }
    for (;;) {
        readHead();
        expect(ObjectType::String, "Expected string.");
        if (stringValue_ == name) {
            --remaining;
            return;
        }
        skipValue();
        if (--remaining == 0) {
            throw std::runtime_error("Map field not found.");
        }
    }
}

void MessageReader::readObject(ObjectValue& target) {
    target = readValue();
}

ObjectValue MessageReader::readValue() {
    readHead();
    switch (lastType_) {
    case ObjectType::Nil: return ObjectValue();
    case ObjectType::NegativeInteger: return ObjectValue::negative(negValue_);
    case ObjectType::PositiveInteger: return ObjectValue::positive(posValue_);
    case ObjectType::String:
        return ObjectValue::string(stringValue_.data(), static_cast<uint32_t>(stringValue_.size()));
    case ObjectType::Bool: return ObjectValue::boolean(boolValue_);
    case ObjectType::Float: return ObjectValue::floating(floatValue_);
    case ObjectType::Blob: return readBlobValue();
    case ObjectType::Map: return readMapValue();
    case ObjectType::Array: return readArrayValue();
    }
    throw std::runtime_error("Unrecognized object type.");
}

ObjectValue MessageReader::readBlobValue() {
    const uint32_t length = lastLength_;
    uint32_t capacity = std::min(length, kStep);
    auto bytes = std::make_unique_for_overwrite<uint8_t[]>(capacity);
    auto room = [&](uint32_t offset, uint32_t count) {
        if (offset + count > capacity) {
            capacity = static_cast<uint32_t>(std::min<uint64_t>(length, 2 * uint64_t{capacity}));
            auto larger = std::make_unique_for_overwrite<uint8_t[]>(capacity);
            std::memcpy(larger.get(), bytes.get(), offset);
            bytes = std::move(larger);
        }
        return bytes.get() + offset;
    };
    require(readInSteps(length, room));
    return ObjectValue::blobAdopt(std::move(bytes), length);
}

ObjectValue MessageReader::readMapValue() {
    const Nesting level(depth_);
    const uint32_t count = lastLength_;
    ObjectValue map = ObjectValue::map(std::min(count, kReservedSlots));
    for (uint32_t i = 0; i < count; ++i) {
        readHead();
        expect(ObjectType::String, "Expected string.");
        // The key is cut at an inner NUL, as keys are plain C text.
        const std::string key = stringValue_;
        map.mapAppend(key.c_str(), readValue());
    }
    return map;
}

ObjectValue MessageReader::readArrayValue() {
    const Nesting level(depth_);
    const uint32_t count = lastLength_;
    ObjectValue array = ObjectValue::array(std::min(count, kReservedSlots));
    for (uint32_t i = 0; i < count; ++i) {
        array.arrayAppend(readValue());
    }
    return array;
}

}  // namespace tavu
