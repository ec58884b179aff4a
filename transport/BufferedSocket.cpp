#include "transport/BufferedSocket.h"

#include <poll.h>
#include <sys/mman.h>

#include <algorithm>
#include <cstring>

namespace tavu {

void BufferedSocket::Unmap::operator()(uint8_t* buffer) const { ::munmap(buffer, BufferSize); }

uint64_t BufferedSocket::read(void* buffer, uint64_t byteCount) {
    auto* out = static_cast<uint8_t*>(buffer);
    uint64_t moved = 0;
    while (moved < byteCount) {
        if (bufferStart_ == bufferEnd_) {
            const uint64_t wanted = byteCount - moved;
            // Large bodies go straight to their destination rather than through the buffer.
            if (wanted >= BufferSize) {
                return moved + LocalSocket::read(out + moved, wanted);
            }
            if (!buffer_) {
                void* mapped =
                    ::mmap(nullptr, BufferSize, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
                if (mapped == MAP_FAILED) {
                    return moved;  // out of memory: the connection ends as if the peer left
                }
                buffer_.reset(static_cast<uint8_t*>(mapped));
            }
            bufferStart_ = 0;
            bufferEnd_ = readSome(buffer_.get(), BufferSize);
            if (bufferEnd_ == 0) {
                return moved;
            }
        }
        const uint64_t take = std::min(byteCount - moved, bufferEnd_ - bufferStart_);
        std::memcpy(out + moved, buffer_.get() + bufferStart_, take);
        bufferStart_ += take;
        moved += take;
    }
    return moved;
}

void BufferedSocket::awaitInput(std::chrono::steady_clock::time_point deadline) {
    if (bufferStart_ != bufferEnd_ || !isOpen()) {
        return;
    }
    pollfd peer{nativeHandle(), POLLIN | POLLRDHUP, 0};
    for (;;) {
        const auto left = std::chrono::ceil<std::chrono::milliseconds>(deadline - std::chrono::steady_clock::now());
        if (left.count() <= 0 || ::poll(&peer, 1, static_cast<int>(left.count())) != 0) {
            return;  // input, a departure, the deadline, or a failure that the next read reports
        }
    }
}

}  // namespace tavu
