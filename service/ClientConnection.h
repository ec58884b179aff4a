#pragma once
#include <cstdint>
#include <memory>
#include <thread>
#include <vector>

#include "transport/BufferedSocket.h"

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
// that all of it can be given back however the client goes away.
class ClientConnection : public BufferedSocket {
public:
    ClientConnection() = default;

    std::thread thread;
    bool closing = false;
    uint32_t eventQueueId = NoEventQueue;
    std::vector<OpenFileRef> openFiles;
    std::vector<LivePortRef> livePorts;
    bool holdsGlobalLock = false;
};

}  // namespace tavu
