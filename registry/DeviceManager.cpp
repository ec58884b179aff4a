#include "registry/DeviceManager.h"

#include <stdexcept>
#include <system_error>
#include <utility>

namespace tavu {

DeviceManager::~DeviceManager() {
    try {
        stop();
    } catch (...) {
    }
}

void DeviceManager::start(DeviceSources sources) {
    recorders_ = std::move(sources.recorders);
    if (recorders_) {
        recorders_->start();
    }
    if (sources.emulator) {
        devices_.push_back(sources.emulator());
    }
    // No client can be connected yet, so this first update broadcasts nothing.
    updateDevices();
    updateThread_ = std::thread(&DeviceManager::runUpdates, this);
    if (recorders_) {
        // Called on the source's own thread: it only wakes the update thread.
        recorders_->watch([this] { updateQueue_.push(DeviceEvent{DeviceEvent::DevicesChanged, 0, 0}); });
    }
}

void DeviceManager::stop() {
    if (updateThread_.joinable()) {
        if (updateThread_.get_id() == std::this_thread::get_id()) {
            throw std::system_error(std::make_error_code(std::errc::resource_deadlock_would_occur));
        }
        updateQueue_.push(DeviceEvent{DeviceEvent::QueueClosed, 0, 0});
        updateThread_.join();
    }
    if (recorders_) {
        recorders_->stop();
    }
}

void DeviceManager::stopRecordings() {
    for (uint32_t index = 0, count = deviceCount(); index < count; ++index) {
        try {
            ITavuDevice& device = deviceAt(index);
            if (device.isRecording()) {
                device.stopRecording();
                broadcast(DeviceEvent{DeviceEvent::RecordingStopped, index, 0});
            }
        } catch (...) {
            // A stopping service prints nothing; the other devices are still stopped.
        }
    }
}

void DeviceManager::runUpdates() {
    for (;;) {
        const DeviceEvent event = updateQueue_.pop();
        if (event.type == DeviceEvent::NoEvent) {
            continue;
        }
        if (event.type != DeviceEvent::DevicesChanged) {
            return;
        }
        // One update and one broadcast per callback: events are not merged.
        updateDevices();
        broadcast(DeviceEvent{DeviceEvent::DevicesChanged, 0, 0});
    }
}

void DeviceManager::updateDevices() {
    std::lock_guard guard(lock_);
    if (recorders_) {
        recorders_->update([this](std::unique_ptr<ITavuDevice> device) { devices_.push_back(std::move(device)); });
    }
}
uint32_t DeviceManager::deviceCount() {
    std::lock_guard guard(lock_);
    return static_cast<uint32_t>(devices_.size());
}

ITavuDevice& DeviceManager::deviceAt(uint32_t index) {
    std::lock_guard guard(lock_);
    if (index >= devices_.size()) {
        throw std::runtime_error("Invalid device index.");
    }
    return *devices_[index];
}

void DeviceManager::lockGlobal() { globalLock_.lock(); }

void DeviceManager::unlockGlobal() { globalLock_.unlock(); }

uint32_t DeviceManager::createQueue() {
    std::lock_guard guard(lock_);
    // A free slot that still holds a QueueClosed nobody read is passed over for good.
    for (uint32_t id = 0; id < queueSlots_.size(); ++id) {
        QueueSlot& slot = *queueSlots_[id];
        if (!slot.inUse && slot.queue.isEmpty()) {
            slot.inUse = true;
            return id;
        }
    }
    queueSlots_.push_back(std::make_unique<QueueSlot>());
    queueSlots_.back()->inUse = true;
    return static_cast<uint32_t>(queueSlots_.size() - 1);
}

void DeviceManager::destroyQueue(uint32_t queueId, bool silent) {
    std::lock_guard guard(lock_);
    EventQueue& queue = queueInUse(queueId);
    queueSlots_[queueId]->inUse = false;
    queue.clear();
    if (!silent) {
        queue.push(DeviceEvent{DeviceEvent::QueueClosed, 0, 0});
    }
}

DeviceEvent DeviceManager::readEvent(uint32_t queueId, EventHandOff* handOff) {
    EventQueue* queue = nullptr;
    {
        std::lock_guard guard(lock_);
        queue = &queueInUse(queueId);
    }
    // Slots are never freed, so the queue outlives the wait, which holds no lock of the manager.
    return queue->pop(handOff);
}

std::optional<DeviceEvent> DeviceManager::tryReadEvent(uint32_t queueId) {
    std::lock_guard guard(lock_);
    return queueInUse(queueId).tryPop();
}

void DeviceManager::broadcast(const DeviceEvent& event) {
    // Readers blocked on an empty queue are answered from here, by this one thread, after the
    // walk; the rest find the event in their queues.
    std::vector<EventQueue::Claim> claims;
    {
        // Holding the lock for the whole walk gives every queue the same order of events. A
        // claimed reader stays blocked until its reply is out, so nothing posted later can
        // overtake it.
        std::lock_guard guard(lock_);
        claims.reserve(queueSlots_.size());
        for (const auto& slot : queueSlots_) {
            if (slot->inUse) {
                if (const std::optional<EventQueue::Claim> claim = slot->queue.pushOrClaim(event)) {
                    claims.push_back(*claim);
                }
            }
        }
    }
    EventQueue::handOff(event, claims);
}

void DeviceManager::notifyFilesChanged(uint32_t device) {
    broadcast(DeviceEvent{DeviceEvent::FilesChanged, device, 0});
}

EventQueue& DeviceManager::queueInUse(uint32_t queueId) {
    if (queueId >= queueSlots_.size() || !queueSlots_[queueId]->inUse) {
        throw std::runtime_error("Inalid event queue id.");
    }
    return queueSlots_[queueId]->queue;
}

}  // namespace tavu
