#include "client/BufferedSocket.h"

#include <algorithm>
#include <cstring>

namespace tavu::client {

uint64_t BufferedSocket::read(void* buffer, uint64_t byteCount) {
    auto* out = static_cast<uint8_t*>(buffer);
    uint64_t moved = 0;
    while (moved < byteCount) {
        if (start_ == end_) {
            const uint64_t wanted = byteCount - moved;
            // Large blobs go straight to their destination.
            if (wanted >= BufferSize) {
                return moved + LocalSocket::read(out + moved, wanted);
            }
            start_ = 0;
            end_ = readSome(buffer_.data(), BufferSize);
            if (end_ == 0) {
                return moved;
            }
        }
        const uint64_t take = std::min(byteCount - moved, end_ - start_);
        std::memcpy(out + moved, buffer_.data() + start_, take);
        start_ += take;
        moved += take;
    }
    return moved;
}

}  // namespace tavu::client
