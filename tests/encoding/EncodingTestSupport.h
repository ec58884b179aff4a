#pragma once

#include "encoding/BufferStream.h"
#include "encoding/MessageReader.h"
#include "encoding/MessageWriter.h"

#include <gmock/gmock.h>

#include <cstddef>
#include <cstdint>
#include <stdexcept>
#include <string>
#include <vector>

namespace tavu::test {

using Bytes = std::vector<uint8_t>;

template <typename Write>
Bytes encode(Write write) {
    BufferStream stream;
    MessageWriter writer(stream);
    write(writer);
    return Bytes(stream.data(), stream.data() + stream.size());
}

inline Bytes concat(Bytes head, const std::string& body) {
    head.insert(head.end(), body.begin(), body.end());
    return head;
}

// A reader over fixed bytes; the stream gives a short count at the end.
struct Decoder {
    explicit Decoder(const Bytes& bytes) { stream.write(bytes.data(), bytes.size()); }
    bool atEnd() {
        uint8_t byte = 0;
        return stream.read(&byte, 1) == 0;
    }

    BufferStream stream;
    MessageReader reader{stream};
};

inline auto throwsRuntime(const char* text) {
    return testing::ThrowsMessage<std::runtime_error>(testing::StrEq(text));
}

inline auto throwsOutOfRange(const char* text) {
    return testing::ThrowsMessage<std::out_of_range>(testing::StrEq(text));
}

// Largest single operator new request since the last reset (AllocationProbe.cpp).
void resetLargestAllocation();
size_t largestAllocation();

}  // namespace tavu::test
