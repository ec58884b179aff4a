#pragma once

#include "encoding/Stream.h"

#include <cstddef>
#include <cstdint>
#include <vector>

namespace tavu {

// A growable in-memory stream. Writes append, so a whole message can be
// assembled here and handed to a socket in one write; reads consume from the
// front and return a short count at the end instead of raising.
class BufferStream : public Stream {
public:
    uint64_t read(void* buffer, uint64_t byteCount) override;
    uint64_t write(const void* buffer, uint64_t byteCount) override;

    const uint8_t* data() const { return bytes_.data(); }
    size_t size() const { return bytes_.size(); }
    // Drops all bytes and rewinds reading, keeping the allocation for reuse.
    void clear();

private:
    std::vector<uint8_t> bytes_;
    size_t readPosition_ = 0;
};

}  // namespace tavu
