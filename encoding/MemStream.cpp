#include "encoding/MemStream.h"

#include <algorithm>
#include <cstring>

namespace tavu {

MemStream::MemStream(void* data, uint64_t size) : data_(static_cast<uint8_t*>(data)), size_(size) {}

uint64_t MemStream::claim(uint64_t byteCount) const {
    if (position_ >= size_) {
        throw EndOfData();
    }
    return std::min(byteCount, size_ - position_);
}

uint64_t MemStream::read(void* buffer, uint64_t byteCount) {
    const uint64_t count = claim(byteCount);
    if (count > 0) {
        std::memcpy(buffer, data_ + position_, count);
    }
    position_ += count;
    return count;
}

uint64_t MemStream::write(const void* buffer, uint64_t byteCount) {
    const uint64_t count = claim(byteCount);
    if (count > 0) {
        std::memcpy(data_ + position_, buffer, count);
    }
    position_ += count;
    return count;
}

}  // namespace tavu
