#pragma once
#include "wire/DeviceEvent.h"
#include "registry/EventQueue.h"
#include "wire/FileRecord.h"
#include "device/DeviceSource.h"
#include "registry/GlobalLock.h"
#include "device/ITavuDevice.h"

#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <thread>
#include <vector>

namespace tavu {

// The registry behind the commands: keeps the list of devices (an index, once given, names the
// same device for the life of the process), follows the devices that its source finds as they
// come and go, and hands events to the clients' queues.
//
// Lock order: `lock_`, then a device's mutex, then a queue's mutex. Callers run device operations
// on what deviceAt returned, without `lock_`, which is safe because devices live as long as the
// manager. An operation's event is theirs to broadcast, once the operation returned.
class DeviceManager {
public:
    DeviceManager() = default;
    DeviceManager(const DeviceManager&) = delete;
    DeviceManager& operator=(const DeviceManager&) = delete;
    ~DeviceManager();

    // The emulator, if any, becomes device 0; the recorders follow as their source finds them.
    void start(DeviceSources sources);
    // Harmless when repeated.
    void stop();
    // Stops every recording still running as stopRecording does, so that a service that is
    // asked to stop leaves nothing to recover. A device that fails is passed over.
    void stopRecordings();

    uint32_t deviceCount();
    // Throws "Invalid device index.".
    ITavuDevice& deviceAt(uint32_t index);

    // The advisory lock that clients hold across requests.
    void lockGlobal();
    void unlockGlobal();

    // Event queues of clients; an unknown or closed id throws "Inalid event queue id.".
    uint32_t createQueue();
    // Unless silent, the emptied queue gets a QueueClosed, which frees a reader blocked in it.
    void destroyQueue(uint32_t queueId, bool silent);
    // Waits at most EventQueue::ReadTimeout, without holding the manager's lock.
    // With a hand-off, the broadcaster may send the reader's reply itself (EventHandOff).
    DeviceEvent readEvent(uint32_t queueId, EventHandOff* handOff = nullptr);
    std::optional<DeviceEvent> tryReadEvent(uint32_t queueId);
    void broadcast(const DeviceEvent& event);

    // Posts FilesChanged for the index without looking it up.
    void notifyFilesChanged(uint32_t device);

private:
    struct QueueSlot {
        bool inUse = false;
        EventQueue queue;
    };
    void runUpdates();
    void updateDevices();
    EventQueue& queueInUse(uint32_t queueId);

    // Declaration order is destruction order in reverse: queue slots go before devices, and
    // devices before their source, whose library objects they share.
    std::mutex lock_;
    std::unique_ptr<DeviceSource> recorders_;
    std::vector<std::unique_ptr<ITavuDevice>> devices_;
    std::vector<std::unique_ptr<QueueSlot>> queueSlots_;  // never shrinks; readers keep references
    std::thread updateThread_;
    EventQueue updateQueue_;
    GlobalLock globalLock_;
};

}  // namespace tavu
