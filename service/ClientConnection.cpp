#include "service/ClientConnection.h"

#include <algorithm>
#include <cstring>

namespace tavu {

uint64_t ClientConnection::read(void* buffer, uint64_t byteCount) {
    auto* out = static_cast<uint8_t*>(buffer);
    uint64_t moved = 0;
    while (moved < byteCount) {
        if (bufferStart_ == bufferEnd_) {
            const uint64_t wanted = byteCount - moved;
            // Large bodies go straight to their destination rather than through the buffer.
            if (wanted >= BufferSize) {
                return moved + LocalSocket::read(out + moved, wanted);
            }
            bufferStart_ = 0;
            bufferEnd_ = readSome(buffer_.data(), BufferSize);
            if (bufferEnd_ == 0) {
                return moved;
            }
        }
        const uint64_t take = std::min(byteCount - moved, bufferEnd_ - bufferStart_);
        std::memcpy(out + moved, buffer_.data() + bufferStart_, take);
        bufferStart_ += take;
        moved += take;
    }
    return moved;
}

}  // namespace tavu
