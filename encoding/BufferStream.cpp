#include "encoding/BufferStream.h"

#include <algorithm>
#include <cstring>

namespace tavu {

uint64_t BufferStream::read(void* buffer, uint64_t byteCount) {
    const uint64_t count = std::min<uint64_t>(byteCount, bytes_.size() - readPosition_);
    if (count > 0) {
        std::memcpy(buffer, bytes_.data() + readPosition_, count);
    }
    readPosition_ += count;
    return count;
}

uint64_t BufferStream::write(const void* buffer, uint64_t byteCount) {
    const auto* bytes = static_cast<const uint8_t*>(buffer);
    bytes_.insert(bytes_.end(), bytes, bytes + byteCount);
    return byteCount;
}

void BufferStream::clear() {
    bytes_.clear();
    readPosition_ = 0;
}

}  // namespace tavu
