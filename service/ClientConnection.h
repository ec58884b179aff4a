#pragma once
#include <cstdint>
#include <memory>
#include <thread>
#include <vector>

#include "service/LocalSocket.h"

namespace tavu {

constexpr uint32_t NoEventQueue = 0xFFFFFFFF;

struct OpenFileRef {
    uint32_t openFileId;
    uint32_t device;
    bool operator==(const OpenFileRef&) const = default;
};

struct LivePortRef {
    uint8_t port;
    uint32_t device;
    bool operator==(const LivePortRef&) const = default;
};

// One client of the service: its end of the socket, its thread, and what it holds, so
// that all of it can be given back however the client goes away. Reads go through a
// buffer of the connection's own, so that a request costs few system calls.
class ClientConnection : public LocalSocket {
public:
    ClientConnection() = default;

    uint64_t read(void* buffer, uint64_t byteCount) override;

    std::thread thread;
    bool closing = false;
    uint32_t eventQueueId = NoEventQueue;
    std::vector<OpenFileRef> openFiles;
    std::vector<LivePortRef> livePorts;
    bool holdsGlobalLock = false;

private:
    static constexpr uint64_t BufferSize = 64 * 1024;
    struct Unmap {
        void operator()(uint8_t* buffer) const;
    };
    // A mapping of its own, made by the connection's thread at its first read: an idle client
    // costs only the pages that its requests touched, and the whole buffer goes back to the
    // system when the client leaves, where the allocator would keep it after a burst of clients.
    std::unique_ptr<uint8_t, Unmap> buffer_;
    uint64_t bufferStart_ = 0;
    uint64_t bufferEnd_ = 0;
};

}  // namespace tavu
