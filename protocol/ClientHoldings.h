#pragma once
#include <cstdint>
#include <mutex>
#include <vector>

namespace tavu {

class DeviceManager;

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

// What one client holds of the devices, so that all of it can be given back however the client
// goes away.
struct ClientHoldings {
    // Another client may reset it by destroying the queue: only under the mutex of Clients.
    uint32_t eventQueueId = NoEventQueue;
    std::vector<OpenFileRef> openFiles;
    std::vector<LivePortRef> livePorts;
    bool holdsGlobalLock = false;
};

// The holdings of every connected client. One command reaches beyond its own client's:
// any client may destroy any queue, and its owner learns of it only by the reset of its id.
class Clients {
public:
    // Keeps one client's holdings in the list while it lives, which must end before they do.
    class Entry {
    public:
        Entry(Clients& clients, ClientHoldings& holdings);
        ~Entry();
        Entry(const Entry&) = delete;
        Entry& operator=(const Entry&) = delete;

    private:
        Clients& clients_;
        ClientHoldings& holdings_;
    };

    uint32_t queueOf(const ClientHoldings& holdings);
    void setQueue(ClientHoldings& holdings, uint32_t queueId);
    // The id, leaving NoEventQueue behind.
    uint32_t takeQueue(ClientHoldings& holdings);
    // Resets the id of whichever listed client holds that queue.
    void forgetQueue(uint32_t queueId);

private:
    std::mutex mutex_;
    std::vector<ClientHoldings*> listed_;
};

// Gives back what the client held, in a fixed order: live views, files, its queue, the global
// lock. Each failure is swallowed so that the rest is still released. The global lock knows its
// holder: this runs on the thread that served the client.
void releaseHoldings(ClientHoldings& holdings, DeviceManager& manager, Clients& clients);

}  // namespace tavu
