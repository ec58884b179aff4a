#include "hardware/RecorderDiscovery.h"

#include <cstdio>
#include <cstdlib>
#include <exception>
#include <optional>
#include <stdexcept>
#include <string>
#include <utility>

#include "hardware/NamePattern.h"
#include "hardware/STavuDevice.h"
#include "library/Device.h"
#include "library/ErrorText.h"
#include "library/String.h"
#include "library/Values.h"

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
    } catch (...) {
        try {
            logLine("Caught exception: %s\n", currentExceptionText());
        } catch (...) {
        }
    }
}

bool passes(const std::optional<std::string>& whitelist, const std::optional<std::string>& blacklist,
            const std::string& name) {
    if (whitelist && !matchesFilter(*whitelist, name)) {
        return false;
    }
    return !(blacklist && matchesFilter(*blacklist, name));
}

}  // namespace

// Read at every update, so that a change of the environment applies to devices found later.
struct RecorderDiscovery::NameFilters {
    std::optional<std::string> nameBlacklist = environmentValue("TAVUSRV_DEVICE_NAME_BLACKLIST");
    std::optional<std::string> nameWhitelist = environmentValue("TAVUSRV_DEVICE_NAME_WHITELIST");
    std::optional<std::string> altNameBlacklist = environmentValue("TAVUSRV_DEVICE_ALT_NAME_BLACKLIST");
    std::optional<std::string> altNameWhitelist = environmentValue("TAVUSRV_DEVICE_ALT_NAME_WHITELIST");

    bool filtersAltName() const { return altNameBlacklist || altNameWhitelist; }
};

RecorderDiscovery::RecorderDiscovery()
    : RecorderDiscovery([]() -> std::unique_ptr<HardwareDevice> { return std::make_unique<STavuDevice>(); }) {}

RecorderDiscovery::RecorderDiscovery(HardwareDeviceFactory factory) : factory_(std::move(factory)) {}

RecorderDiscovery::~RecorderDiscovery() { stop(); }

void RecorderDiscovery::start() {
    // Whatever goes wrong here, "delayload failure" and "Version mismatch" included, the service
    // comes up without hardware devices, and without a word.
    try {
        instance_ = Quillon::Instance::initialize(Quillon::String("OREK Pellam"), false, Quillon::Scope{2});
        if (!(instance_->version() == RequiredLibraryVersion)) {
            throw std::runtime_error("Version mismatch");
        }
        const Quillon::HostInterfaceType hostInterfaces{isSetAndNotEmpty("TAVUSRV_SATA_ONLY") ? 3u : 7u};
        collection_ = instance_->deviceCollection(hostInterfaces, false);
    } catch (...) {
    }
}

void RecorderDiscovery::watch(std::function<void()> changed) {
    if (collection_) {
        // Runs on a library thread.
        changeCallbackId_ = collection_->registerChangeCallback([changed = std::move(changed)](uint32_t) { changed(); });
    }
}

void RecorderDiscovery::stop() {
    if (collection_) {
        collection_->unregisterChangeCallback(changeCallbackId_);
        collection_.reset();
        instance_.reset();
    }
}

void RecorderDiscovery::update(const AddDevice& add) {
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
        runLogged([&] { addNewDevice(index, filters, add); });
    }
    logText("Done updating device list.\n");
}

void RecorderDiscovery::refreshExistingDevice(uint32_t collectionIndex) {
    HardwareDevice* device = findDevice(collectionIndex);
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

void RecorderDiscovery::addNewDevice(uint32_t collectionIndex, const NameFilters& filters, const AddDevice& add) {
    const std::string name = collection_->deviceName(collectionIndex).c_str();
    if (!passes(filters.nameWhitelist, filters.nameBlacklist, name)) {
        return;
    }
    if (filters.filtersAltName() && !altNamePasses(collectionIndex, filters)) {
        return;
    }
    // Added before anything can fail, so the device index is fixed even if connecting fails.
    std::unique_ptr<HardwareDevice> created = factory_();
    HardwareDevice& device = *created;
    add(std::move(created));
    devices_.push_back(&device);
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

bool RecorderDiscovery::altNamePasses(uint32_t collectionIndex, const NameFilters& filters) {
    try {
        const std::string altName = collection_->device(collectionIndex)->altName().c_str();
        return passes(filters.altNameWhitelist, filters.altNameBlacklist, altName);
    } catch (...) {
        // A device whose second name cannot be read is skipped for good, silently.
        return false;
    }
}

HardwareDevice* RecorderDiscovery::findDevice(uint32_t collectionIndex) {
    for (HardwareDevice* device : devices_) {
        if (device->collectionIndex() == collectionIndex) {
            return device;
        }
    }
    return nullptr;
}

}  // namespace tavu
