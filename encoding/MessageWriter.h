#pragma once

#include "encoding/ObjectValue.h"
#include "encoding/Stream.h"

#include <cstdint>
#include <string>

namespace tavu {

// Streaming MessagePack encoder: values go straight onto the stream in the
// shortest form of their family, with no buffering. Each head is one stream
// write and each body a second one. The counts that the stream returns are
// not checked; a stream that wants to fail must raise.
//
// Array heads above 65535 entries are 0xDC with a four-byte count, never
// 0xDD. Our peers expect that form, so it stays.
class MessageWriter {
public:
    // A text length of all ones means "NUL-terminated, count it".
    static constexpr uint64_t kCountedLength = UINT64_MAX;

    explicit MessageWriter(Stream& stream) : stream_(stream) {}

    void writeNil();
    void writeBool(bool value);
    void writeInt(int64_t value);
    void writeUint(uint64_t value);
    void writeFloat(float value);
    void writeDouble(double value);
    void writeString(const char* text, uint64_t length = kCountedLength);
    void writeString(const std::string& text);
    void writeBlob(const void* data, uint32_t length);
    void writeExt(uint8_t type, const void* data, uint32_t length);
    void writeArrayHeader(uint32_t count);
    void writeMapHeader(uint32_t count);
    // Writes the whole tree; floats always as 0xCB.
    void writeObject(const ObjectValue& value);
    void writeRaw(const void* data, uint64_t length);

private:
    // One stream write of a lead byte followed by `width` big-endian bytes of value.
    void writeHead(uint8_t lead, uint64_t value, size_t width);

    Stream& stream_;
};

}  // namespace tavu
