#include "registry/DeviceManager.h"

#include "emulator/TavuDeviceEmulator.h"
#include "hardware/STavuDevice.h"
#include "library/Device.h"
#include "library/GeneralException.h"
#include "library/String.h"
#include "library/Values.h"
#include "registry/NamePattern.h"

#include <cstdio>
#include <cstdlib>
#include <exception>
#include <optional>
#include <stdexcept>
#include <system_error>
#include <utility>

namespace tavu {
namespace {

constexpr Quillon::VersionInfo RequiredLibraryVersion{2, 1, 0, 38};

bool isSetAndNotEmpty(const char* variable) {
    const char* value = std::getenv(variable);
    return value != nullptr && *value != '\0';
}

// Present also when empty.
std::optional<std::string> environmentValue(const char* variable) {
    const char* value = std::getenv(variable);
    if (value == nullptr) {
        return std::nullopt;
    }
    return std::string(value);
}

void logText(const char* text) {
    std::fputs(text, stdout);
    std::fflush(stdout);
}

void logLine(const char* format, const std::string& text) {
    std::printf(format, text.c_str());
    std::fflush(stdout);
}

// One step of the list update: a failure is logged with its text, or dropped when it has none, and
// the update goes on.
template <typename Step>
void runLogged(Step&& step) {
    try {
        step();
    } catch (const std::exception& e) {
        logLine("Caught exception: %s\n", e.what());
    } catch (const Common::GeneralException& e) {
        logLine("Caught exception: %s\n", e.what());
    } catch (...) {
    }
}

bool passes(const std::optional<std::string>& whitelist, const std::optional<std::string>& blacklist,
            const std::string& name) {
    if (whitelist && !matchesFilter(*whitelist, name)) {
        return false;
    }
    return !(blacklist && matchesFilter(*blacklist, name));
}

DeviceManager::HardwareDeviceFactory recorderDevices() {
    return []() -> std::unique_ptr<HardwareDevice> { return std::make_unique<STavuDevice>(); };
}

}  // namespace

// Read at every update, so that a change of the environment applies to devices found later.
struct DeviceManager::NameFilters {
    std::optional<std::string> nameBlacklist = environmentValue("TAVUSRV_DEVICE_NAME_BLACKLIST");
    std::optional<std::string> nameWhitelist = environmentValue("TAVUSRV_DEVICE_NAME_WHITELIST");
    std::optional<std::string> altNameBlacklist = environmentValue("TAVUSRV_DEVICE_ALT_NAME_BLACKLIST");
    std::optional<std::string> altNameWhitelist = environmentValue("TAVUSRV_DEVICE_ALT_NAME_WHITELIST");

    bool filtersAltName() const { return altNameBlacklist || altNameWhitelist; }
};

DeviceManager::DeviceManager() : DeviceManager(recorderDevices()) {}

DeviceManager::DeviceManager(HardwareDeviceFactory hardwareDeviceFactory)
    : hardwareDeviceFactory_(std::move(hardwareDeviceFactory)) {}

DeviceManager::~DeviceManager() {
    try {
        stop();
    } catch (...) {
    }
}

void DeviceManager::start() {
    startLibrary(Quillon::HostInterfaceType{isSetAndNotEmpty("TAVUSRV_SATA_ONLY") ? 3u : 7u});
    if (isSetAndNotEmpty("TAVUSRV_ENABLE_EMULATOR")) {
        devices_.push_back(std::make_unique<TavuDeviceEmulator>());
    }
    // No client can be connected yet, so this first update broadcasts nothing.
    updateDevices();
    updateThread_ = std::thread(&DeviceManager::runUpdates, this);
    if (collection_) {
        // Runs on a library thread: it only wakes the update thread.
        changeCallbackId_ = collection_->registerChangeCallback(
            [this](uint32_t) { updateQueue_.push(DeviceEvent{DeviceEvent::DevicesChanged, 0, 0}); });
    }
}

void DeviceManager::startLibrary(Quillon::HostInterfaceType hostInterfaces) {
    // Whatever goes wrong here, "delayload failure" and "Version mismatch" included, the service
    // comes up without hardware devices, and without a word.
    try {
        instance_ = Quillon::Instance::initialize(Quillon::String("OREK Pellam"), false, Quillon::Scope{2});
        if (!(instance_->version() == RequiredLibraryVersion)) {
            throw std::runtime_error("Version mismatch");
        }
        collection_ = instance_->deviceCollection(hostInterfaces, false);
    } catch (...) {
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
    if (collection_) {
        collection_->unregisterChangeCallback(changeCallbackId_);
        collection_.reset();
        instance_.reset();
    }
}

void DeviceManager::stopRecordings() {
    for (uint32_t index = 0, count = deviceCount(); index < count; ++index) {
        try {
            if (deviceAt(index).isRecording()) {
                stopRecording(index);
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
    if (!collection_) {
        return;
    }
    const NameFilters filters;
    logText("Updating device list.\n");
    const auto known = static_cast<uint32_t>(knownDeviceCount_);
    uint32_t current = known;
    runLogged([&] { current = collection_->count(); });
    knownDeviceCount_ = current;
    // A count that fell removes nothing; the old indices are still walked.
    for (uint32_t index = 0; index < known; ++index) {
        runLogged([&] { refreshExistingDevice(index); });
    }
    // Indices skipped here are never looked at again: a filtered device stays invisible.
    for (uint32_t index = known; index < current; ++index) {
        runLogged([&] { addNewDevice(index, filters); });
    }
    logText("Done updating device list.\n");
}

void DeviceManager::refreshExistingDevice(uint32_t collectionIndex) {
    HardwareDevice* device = findHardwareDevice(collectionIndex);
    if (device == nullptr) {
        return;
    }
    const uint32_t state = collection_->deviceState(collectionIndex);
    const std::string name = collection_->deviceName(collectionIndex).c_str();
    if (state == Quillon::DeviceCollection::StateDisconnected) {
        logLine("Found device: %s (existing, disconnected)\n", name);
        device->markDisconnected();
    } else {
        logLine("Found device: %s (existing)\n", name);
        device->reconnect();
    }
}

void DeviceManager::addNewDevice(uint32_t collectionIndex, const NameFilters& filters) {
    const std::string name = collection_->deviceName(collectionIndex).c_str();
    if (!passes(filters.nameWhitelist, filters.nameBlacklist, name)) {
        return;
    }
    if (filters.filtersAltName() && !altNamePasses(collectionIndex, filters)) {
        return;
    }
    // Appended before anything can fail, so the device index is fixed even if connecting fails.
    std::unique_ptr<HardwareDevice> created = hardwareDeviceFactory_();
    HardwareDevice& device = *created;
    devices_.push_back(std::move(created));
    if (collection_->deviceState(collectionIndex) == Quillon::DeviceCollection::StateDisconnected) {
        logLine("Found device: %s (disconnected)\n", name);
        device.identify(name, collectionIndex);
        device.foundDisconnected(collection_);
    } else {
        logLine("Found device: %s\n", name);
        device.identify(name, collectionIndex);
        device.connect(collection_, collectionIndex);
    }
}

bool DeviceManager::altNamePasses(uint32_t collectionIndex, const NameFilters& filters) {
    try {
        const std::string altName = collection_->device(collectionIndex)->altName().c_str();
        return passes(filters.altNameWhitelist, filters.altNameBlacklist, altName);
    } catch (...) {
        // A device whose second name cannot be read is skipped for good, silently.
        return false;
    }
}

HardwareDevice* DeviceManager::findHardwareDevice(uint32_t collectionIndex) {
    for (const auto& entry : devices_) {
        // The emulator is no hardware device and is passed over.
        auto* device = dynamic_cast<HardwareDevice*>(entry.get());
        if (device != nullptr && device->collectionIndex() == collectionIndex) {
            return device;
        }
    }
    return nullptr;
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

void DeviceManager::readEvent(uint32_t queueId, DeviceEvent& event) {
    EventQueue* queue = nullptr;
    {
        std::lock_guard guard(lock_);
        queue = &queueInUse(queueId);
    }
    // Slots are never freed, so the queue outlives the wait, which holds no lock of the manager.
    event = queue->pop();
}

bool DeviceManager::tryReadEvent(uint32_t queueId, DeviceEvent& event) {
    std::lock_guard guard(lock_);
    return queueInUse(queueId).tryPop(event);
}

void DeviceManager::broadcast(const DeviceEvent& event) {
    // Holding the lock for the whole walk gives every queue the same order of events.
    std::lock_guard guard(lock_);
    for (const auto& slot : queueSlots_) {
        if (slot->inUse) {
            slot->queue.push(event);
        }
    }
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
