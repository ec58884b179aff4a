#pragma once
#include <cstdint>
#include <vector>

#include "service/LocalSocket.h"

namespace tavu::client {

// The client's end of the service socket, read through a buffer: the decoder asks for a few
// bytes at a time, and a reply should cost one system call, not one per head.
class BufferedSocket : public LocalSocket {
public:
    uint64_t read(void* buffer, uint64_t byteCount) override;

private:
    static constexpr uint64_t BufferSize = 64 * 1024;
    std::vector<uint8_t> buffer_ = std::vector<uint8_t>(BufferSize);
    uint64_t start_ = 0;
    uint64_t end_ = 0;
};

}  // namespace tavu::client
