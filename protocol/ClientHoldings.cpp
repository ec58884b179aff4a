#include "protocol/ClientHoldings.h"

#include <utility>

#include "registry/DeviceManager.h"

namespace tavu {

Clients::Entry::Entry(Clients& clients, ClientHoldings& holdings) : clients_(clients), holdings_(holdings) {
    std::lock_guard guard(clients_.mutex_);
    clients_.listed_.push_back(&holdings_);
}

Clients::Entry::~Entry() {
    std::lock_guard guard(clients_.mutex_);
    std::erase(clients_.listed_, &holdings_);
}

uint32_t Clients::queueOf(const ClientHoldings& holdings) {
    std::lock_guard guard(mutex_);
    return holdings.eventQueueId;
}

void Clients::setQueue(ClientHoldings& holdings, uint32_t queueId) {
    std::lock_guard guard(mutex_);
    holdings.eventQueueId = queueId;
}

uint32_t Clients::takeQueue(ClientHoldings& holdings) {
    std::lock_guard guard(mutex_);
    return std::exchange(holdings.eventQueueId, NoEventQueue);
}

void Clients::forgetQueue(uint32_t queueId) {
    std::lock_guard guard(mutex_);
    for (ClientHoldings* holdings : listed_) {
        if (holdings->eventQueueId == queueId) {
            holdings->eventQueueId = NoEventQueue;
            break;
        }
    }
}

void releaseHoldings(ClientHoldings& holdings, DeviceManager& manager, Clients& clients) {
    auto swallow = [](auto&& release) {
        try {
            release();
        } catch (...) {
        }
    };
    for (const LivePortRef& live : holdings.livePorts) {
        swallow([&] { manager.deviceAt(live.device).stopLive(live.port); });
    }
    holdings.livePorts.clear();
    for (const OpenFileRef& file : holdings.openFiles) {
        swallow([&] { manager.deviceAt(file.device).closeFile(file.openFileId); });
    }
    holdings.openFiles.clear();
    const uint32_t queueId = clients.takeQueue(holdings);
    if (queueId != NoEventQueue) {
        swallow([&] { manager.destroyQueue(queueId, true); });
    }
    if (holdings.holdsGlobalLock) {
        swallow([&] { manager.unlockGlobal(); });
        holdings.holdsGlobalLock = false;
    }
}

}  // namespace tavu
