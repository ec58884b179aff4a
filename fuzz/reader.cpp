// Arbitrary bytes through readObject and skipValue. Where readObject takes a value,
// skipValue passes over the same bytes, and a value that reads back is written and read again to the same bytes.
#include "encoding/BufferStream.h"
#include "encoding/MemStream.h"
#include "encoding/MessageReader.h"
#include "encoding/MessageWriter.h"

#include <cstdlib>
#include <exception>
#include <optional>
#include <vector>

namespace {

using Bytes = std::vector<uint8_t>;

// How many bytes one value took, or nothing when the reader raised.
template <typename ReadOne>
std::optional<uint64_t> consumed(const Bytes& input, ReadOne readOne) {
    Bytes copy = input;
    // One spare byte, so that a value that ends the input is never a read at the end.
    copy.push_back(0xC0);
    tavu::MemStream stream(copy.data(), copy.size());
    tavu::MessageReader reader(stream);
    try {
        readOne(reader);
    } catch (const std::exception&) {
        return std::nullopt;
    }
    uint64_t left = 0;
    uint8_t byte = 0;
    try {
        while (stream.read(&byte, 1) == 1) {
            ++left;
        }
    } catch (const std::exception&) {
    }
    return copy.size() - left;
}

Bytes encoded(const tavu::ObjectValue& value) {
    tavu::BufferStream stream;
    tavu::MessageWriter(stream).writeObject(value);
    return Bytes(stream.data(), stream.data() + stream.size());
}

void check(bool condition) {
    if (!condition) {
        std::abort();
    }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    const Bytes input(data, data + size);
    tavu::ObjectValue value;
    const auto asObject = consumed(input, [&](tavu::MessageReader& reader) { reader.readObject(value); });
    const auto skipped = consumed(input, [](tavu::MessageReader& reader) { reader.skipValue(); });
    // skipValue asks nothing of map keys, so it may pass where readObject refuses.
    check(!asObject || asObject == skipped);
    // Arrays above 65535 entries are written in a form that no reader takes back.
    if (asObject && size < 65536) {
        const Bytes once = encoded(value);
        tavu::BufferStream stream;
        stream.write(once.data(), once.size());
        tavu::ObjectValue again;
        tavu::MessageReader(stream).readObject(again);
        check(encoded(again) == once);
    }
    return 0;
}
