#pragma once
#include <cstdint>
#include <memory>

#include "transport/LocalSocket.h"

namespace tavu {

// One end of the service socket, read through a buffer of its own: the decoder asks for a few
// bytes at a time, and a message should cost one system call, not one per head.
class BufferedSocket : public LocalSocket {
public:
    BufferedSocket() = default;
    explicit BufferedSocket(LocalSocket socket) : LocalSocket(std::move(socket)) {}

    uint64_t read(void* buffer, uint64_t byteCount) override;
    void awaitInput(std::chrono::steady_clock::time_point deadline) override;

private:
    static constexpr uint64_t BufferSize = 64 * 1024;
    struct Unmap {
        void operator()(uint8_t* buffer) const;
    };
    // A mapping of its own, made at the first read by the thread that reads: an idle peer costs
    // only the pages that its messages touched, and the whole buffer goes back to the system when
    // the socket closes, where the allocator would keep it after a burst of clients.
    std::unique_ptr<uint8_t, Unmap> buffer_;
    uint64_t bufferStart_ = 0;
    uint64_t bufferEnd_ = 0;
};

}  // namespace tavu
