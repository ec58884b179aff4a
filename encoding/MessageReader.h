#pragma once

#include "encoding/ObjectValue.h"
#include "encoding/Stream.h"

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace tavu {

// MessagePack decoder with no look-ahead: every call consumes the stream
// forward. next() reads one head into the state; the typed reads call next()
// and raise "Failed to read." when the stream runs short or the head is one we
// refuse (0xC1, ext, fixext), then check the type.
//
// Announced lengths are not trusted with memory: string and blob bodies are
// read in bounded steps and storage grows with what actually arrives, and
// decoded maps and arrays reserve only a few slots up front. A hostile head
// that announces gigabytes costs no more than the bytes that follow it.
//
// Maps and arrays nest at most MaxDepth levels deep, far beyond any request or record; a deeper
// value fails with "Failed to read." rather than recursing until the stack runs out.
//
// After any exception the stream position is undefined; drop the reader.
class MessageReader {
public:
    static constexpr uint32_t MaxDepth = 512;

    explicit MessageReader(Stream& stream) : stream_(stream) {}

    // False, with lastType unchanged, on a short stream or a refused head.
    bool next();

    uint32_t readArrayHeader();
    uint32_t readMapHeader();
    // The body stays in the stream; follow with readBlobBody.
    uint32_t readBlobHeader();
    bool readBool();
    uint64_t readPosInt();
    int64_t readNegInt();
    int64_t readInt();
    void readString(std::string& out);
    // Reads the body of the blob head just read, all of it in one piece.
    void readBlobBody(void* buffer, uint32_t byteCount);
    // The same into `out`, which grows with the bytes that arrive rather than
    // to the size that the head announced.
    void readBlobBody(std::vector<uint8_t>& out);
    // One stream read; true if every byte came.
    bool readRaw(void* buffer, uint64_t byteCount);

    ObjectType lastType() const { return lastType_; }
    uint32_t lastLength() const { return lastLength_; }
    int64_t negValue() const { return negValue_; }
    uint64_t posValue() const { return posValue_; }
    std::string stringValue() const { return stringValue_; }
    bool boolValue() const { return boolValue_; }
    double floatValue() const { return floatValue_; }

    void skipValue();
    // Walks the open map, whose unread pair count the caller keeps in
    // `remaining`, up to the key `name`, skipping every pair before it. On a
    // match the stream stands at that key's value. A miss consumes the rest
    // of the map and raises "Map field not found.".
    void findField(uint32_t& remaining, const char* name);
    void readObject(ObjectValue& target);

private:
    // Each returns the type of a head read in full, or nothing.
    std::optional<ObjectType> decodeHead(uint8_t lead);
    std::optional<ObjectType> decodeTaggedHead(uint8_t lead);
    std::optional<ObjectType> readUnsigned(size_t width);
    std::optional<ObjectType> readSigned(size_t width);
    std::optional<ObjectType> readFloat(size_t width);
    std::optional<ObjectType> readSizedString(size_t lengthWidth);
    std::optional<ObjectType> readSizedHead(size_t lengthWidth, ObjectType type);

    bool readExact(void* buffer, uint64_t byteCount);
    bool readBigEndian(size_t width, uint64_t& value);
    bool readStringBody(uint32_t length);
    bool readStep(void* buffer, uint32_t count, bool continuing);
    void storeInteger(uint64_t bits);
    template <typename Room>
    bool readInSteps(uint32_t length, Room room);

    void readHead();
    void expect(ObjectType type, const char* message) const;
    ObjectValue readValue();
    ObjectValue readBlobValue();
    ObjectValue readMapValue();
    ObjectValue readArrayValue();

    Stream& stream_;
    uint32_t lastLength_ = 0;
    int64_t negValue_ = 0;
    uint64_t posValue_ = 0;
    std::string stringValue_;
    bool boolValue_ = false;
    double floatValue_ = 0;
    ObjectType lastType_ = ObjectType::Nil;
    uint32_t depth_ = 0;
};

}  // namespace tavu
