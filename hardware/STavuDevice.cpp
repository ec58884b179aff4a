// Connection to the library's recorder, and the plain enquiries.
#include "hardware/STavuDevice.h"

#include "hardware/DeviceTexts.h"
#include "hardware/DeviceType.h"
#include "hardware/DriveSets.h"
#include "library/ErrorText.h"
#include "library/Port.h"
#include "library/Values.h"

#include <cstdio>
#include <exception>
#include <stdexcept>
#include <utility>

namespace tavu {

namespace {

// 2^64: percentages from here up have no 64-bit value to cut to 8 bits.
constexpr double kUint64Limit = 18446744073709551616.0;

// used / total in percent, cut towards zero and to 8 bits, without a clamp: an estimate above 100
// is reported as it is. A ratio without a value (a set of no bytes) reports 0.
uint8_t percentOf(uint64_t used, uint64_t total) {
    const double percent = static_cast<double>(used) / static_cast<double>(total) * 100.0;
    if (!(percent >= 0.0 && percent < kUint64Limit)) {
        return 0;
    }
    return static_cast<uint8_t>(static_cast<uint64_t>(percent));
}

}  // namespace

uint32_t STavuDevice::collectionIndex() {
    std::lock_guard guard(lock_);
    return deviceIndex_;
}

void STavuDevice::identify(const std::string& name, uint32_t collectionIndex) {
    std::lock_guard guard(lock_);
    name_ = name;
    deviceIndex_ = collectionIndex;
}

void STavuDevice::foundDisconnected(boost::shared_ptr<Quillon::DeviceCollection> collection) {
    std::lock_guard guard(lock_);
    collection_ = std::move(collection);
}

void STavuDevice::connect(boost::shared_ptr<Quillon::DeviceCollection> collection, uint32_t collectionIndex) {
    std::lock_guard guard(lock_);
    collection_ = std::move(collection);
    deviceIndex_ = collectionIndex;
    boost::shared_ptr<Quillon::Device> device = libraryDevice();
    name_ = device->name().c_str();
    buildPortTable(*device);
    restoreStoredState(*device);
    refreshConnectionState(*device);
    // Outside the guard of restoreStoredState: on a recorder without a drive set this throws
    // "no drive set." out of connect, for the list update to log. What was set so far stays.
    if (hasIncompleteFileNow(*device)) {
        std::fputs("HasIncompleteFile\n", stderr);
    }
}

void STavuDevice::reconnect() {
    std::lock_guard guard(lock_);
    // A connected device is never rescanned by the list update.
    if (connected_) {
        return;
    }
    boost::shared_ptr<Quillon::Device> device = libraryDevice();
    // An existing port table stays, with its pairing and configuration.
    if (!ports_ || portCount_ == 0) {
        buildPortTable(*device);
    }
    restoreStoredState(*device);
    refreshConnectionState(*device);
}

void STavuDevice::markDisconnected() {
    std::lock_guard guard(lock_);
    // Ports, open files and live views stay for the recorder's return.
    catalogue_.clear();
    connected_ = false;
}

boost::shared_ptr<Quillon::Device> STavuDevice::libraryDevice() { return collection_->device(deviceIndex_); }

PortState& STavuDevice::portAt(uint8_t port) {
    if (port >= portCount_) {
        throw std::runtime_error(kInvalidPortIndex);
    }
    return ports_[port];
}

void STavuDevice::buildPortTable(Quillon::Device& device) {
    portCount_ = device.portCount();
    ports_ = std::make_unique<PortState[]>(portCount_);
    for (uint32_t index = 0; index < portCount_; ++index) {
        ports_[index].name = device.port(index)->name().c_str();
    }
}

void STavuDevice::restoreStoredState(Quillon::Device& device) {
    // A recorder without a drive set, or a new set without a ".config", is normal: the failure is
    // printed and the device goes on with what it has, an empty catalogue or unconfigured ports.
    try {
        scanCatalogue(device);
        readConfigRecord(device);
        configureStoredPorts(device);
    } catch (...) {
        try {
            std::fprintf(stderr, "%s\n", currentExceptionText().c_str());
        } catch (...) {
        }
    }
}

void STavuDevice::configureStoredPorts(Quillon::Device& device) {
    for (uint32_t index = 0; index < portCount_; ++index) {
        const PortState& port = ports_[index];
        if (port.width != 0 && port.height != 0) {
            configurePort(device, index, port.width, port.height, port.pixelFormat, port.tapGeometry);
        }
    }
}

void STavuDevice::refreshConnectionState(Quillon::Device& device) {
    connected_ = device.connectionState() == 0;
    recoveryStatusValue_ = RecoveryStatus::NotRun;
}

bool STavuDevice::hasIncompleteFileNow(Quillon::Device& device) {
    return firstDriveSet(device, kNoDriveSet)->incompleteFileId() != 0;
}

std::string STavuDevice::name() {
    std::lock_guard guard(lock_);
    return name_;
}

bool STavuDevice::isConnected() {
    std::lock_guard guard(lock_);
    // The library's answer, not the flag of the last connection step.
    return libraryDevice()->connectionState() == 0;
}

bool STavuDevice::hasIncompleteFile() {
    std::lock_guard guard(lock_);
    return hasIncompleteFileNow(*libraryDevice());
}

uint8_t STavuDevice::portCount() {
    std::lock_guard guard(lock_);
    return static_cast<uint8_t>(portCount_);
}

std::string STavuDevice::portName(uint8_t port) {
    std::lock_guard guard(lock_);
    return portAt(port).name;
}

bool STavuDevice::isCxp() {
    std::lock_guard guard(lock_);
    return isCoaXPressType(libraryDevice()->hardwareInfo(0)->deviceType);
}

uint8_t STavuDevice::hardwareType() {
    std::lock_guard guard(lock_);
    return hardwareTypeOf(libraryDevice()->hardwareInfo(0)->deviceType);
}

uint8_t STavuDevice::percentUsed() {
    std::lock_guard guard(lock_);
    boost::shared_ptr<Quillon::Device> device = libraryDevice();
    if (recordingActive_) {
        // The library's capacity figures are read at the start of a recording only: estimate what
        // the recording has added since, from the frames of each port.
        uint64_t added = 0;
        for (uint32_t index = 0; index < portCount_; ++index) {
            if (ports_[index].recording) {
                added += portProgress(*device, index).numFrames * ports_[index].frameBytes;
            }
        }
        return percentOf(usedBytesAtStart_ + added, totalBytesAtStart_);
    }
    boost::shared_ptr<Quillon::DriveSet::CapacityInfo> capacity =
        firstDriveSet(*device, kNoDriveSetCapital)->capacityInfo(true);
    return percentOf(capacity->usedBytes(), capacity->totalBytes());
}

}  // namespace tavu
