// Pairing and configuration of ports, kept in record files on the drive set: ".config" for all
// ports, and "<port>.pair" for a pairing block too large for it.
#include "hardware/STavuDevice.h"

#include "hardware/DeviceTexts.h"
#include "hardware/DriveSetFiles.h"
#include "hardware/DriveSets.h"
#include "records/ConfigRecord.h"
#include "records/InfoRecord.h"
#include "hardware/QuillonFileStream.h"

#include <algorithm>
#include <stdexcept>
#include <utility>

namespace tavu {

namespace {

constexpr const char* kConfigFileName = ".config";

std::string pairFileName(const PortState& port) { return port.name + ".pair"; }

// The stored form of a port, without its block.
PortRecord settingsOf(const PortState& port) {
    PortRecord record;
    record.name = port.name;
    record.pairedTo = port.pairedTo;
    record.width = port.width;
    record.height = port.height;
    record.pixelFormat = port.pixelFormat;
    record.tapGeometry = port.tapGeometry;
    record.numFramesPerPacket = port.framesPerPacket;
    return record;
}

// The block comes along only when it fits the configuration record; a larger one lives in the
// port's ".pair" file.
PortRecord storedForm(const PortState& port) {
    PortRecord record = settingsOf(port);
    if (port.pairInfo.size() <= kMaxInlineBlock) {
        record.info = port.pairInfo;
    }
    return record;
}

}  // namespace

void STavuDevice::pairPort(uint8_t port, const std::string& identity, std::span<const uint8_t> info,
                           uint16_t numFramesPerPacket) {
    std::lock_guard guard(lock_);
    // An earlier pairing is replaced without a question.
    portAt(port).pairedTo = identity;
    storePairing(port, info, numFramesPerPacket);
}

void STavuDevice::repairPort(uint8_t port, const std::string& identity, std::span<const uint8_t> info,
                             uint16_t numFramesPerPacket) {
    std::lock_guard guard(lock_);
    if (identity != portAt(port).pairedTo) {
        throw std::runtime_error("Not paired to this camera.");
    }
    storePairing(port, info, numFramesPerPacket);
}

void STavuDevice::storePairing(uint8_t port, std::span<const uint8_t> info, uint16_t numFramesPerPacket) {
    PortState& state = ports_[port];
    state.pairInfo.assign(info.begin(), info.end());
    state.framesPerPacket = numFramesPerPacket;
    // In memory and in the configuration record first, and only then in its own file. A failed
    // write leaves the memory state changed.
    boost::shared_ptr<Quillon::Device> device = libraryDevice();
    writeConfigRecord(*device);
    if (info.size() > kMaxInlineBlock) {
        writePairRecord(*device, port, state.pairInfo);
    }
}

void STavuDevice::unpairPort(uint8_t port) {
    std::lock_guard guard(lock_);
    PortState& state = portAt(port);
    // The configuration stays, and so does the ".pair" file, for the next large block to reuse.
    state.pairedTo.clear();
    state.pairInfo = {};
    state.framesPerPacket = 0;
    writeConfigRecord(*libraryDevice());
}

std::vector<uint8_t> STavuDevice::portIdentity(uint8_t port) {
    std::lock_guard guard(lock_);
    PortState& state = portAt(port);
    // No block in memory: either there is none, or a large one waits in the ".pair" file since the
    // last connection. Only the file can tell.
    if (state.pairInfo.empty()) {
        readPairRecord(*libraryDevice(), port);
    }
    return state.pairInfo;
}

uint16_t STavuDevice::framesPerPacket(uint8_t port) {
    std::lock_guard guard(lock_);
    return portAt(port).framesPerPacket;
}

std::string STavuDevice::pairedTo(uint8_t port) {
    std::lock_guard guard(lock_);
    return portAt(port).pairedTo;
}

PortConfig STavuDevice::getPortConfig(uint8_t port) {
    std::lock_guard guard(lock_);
    const PortState& state = portAt(port);
    return PortConfig{state.width, state.height, state.pixelFormat, state.tapGeometry};
}

void STavuDevice::setPortConfig(uint8_t port, const PortConfig& config) {
    std::lock_guard guard(lock_);
    const PortState& state = portAt(port);
    boost::shared_ptr<Quillon::Device> device = libraryDevice();
    if (device->kind() == Quillon::Device::KindVirtual) {
        throw std::runtime_error("Virtual devices cannot be configured.");
    }
    // Unchanged values touch neither the recorder nor the drive set; a port that setup detached
    // therefore stays detached until its values change.
    if (config == PortConfig{state.width, state.height, state.pixelFormat, state.tapGeometry}) {
        return;
    }
    configurePort(*device, port, config.width, config.height, config.pixelFormat, config.tapGeometry);
    writeConfigRecord(*device);
}

void STavuDevice::writeConfigRecord(Quillon::Device& device) {
    std::vector<PortRecord> records;
    for (uint32_t index = 0; index < portCount_; ++index) {
        records.push_back(storedForm(ports_[index]));
    }
    boost::shared_ptr<Quillon::DriveSet> driveSet = firstDriveSet(device, kNoDriveSet);
    QuillonFileStream stream(ensureDriveFile(*driveSet, kConfigFileName, configFileStripes), true);
    writePortRecords(records, stream, kMaxInlineBlock);
    stream.flush();
}

void STavuDevice::readConfigRecord(Quillon::Device& device) {
    boost::shared_ptr<Quillon::DriveSet> driveSet = firstDriveSet(device, kNoDriveSet);
    // Absent on a new drive set; the callers print this and go on.
    const uint32_t fileId = driveSet->findFile(kConfigFileName);
    if (fileId == 0) {
        throw std::runtime_error("no config file.");
    }
    QuillonFileStream stream(driveSet->openFile(fileId), false);
    // Each element counts as soon as it is read, so a broken later one keeps what earlier ones
    // stored; it goes to the first port of its name, and ports the record does not name stay as
    // they are. An empty stored block keeps the block in memory: a large one lies in its ".pair"
    // file.
    readPortRecords(stream, [this](PortRecord&& stored) {
        PortState* const end = ports_.get() + portCount_;
        PortState* const port =
            std::find_if(ports_.get(), end, [&](const PortState& state) { return state.name == stored.name; });
        if (port == end) {
            return;
        }
        port->pairedTo = std::move(stored.pairedTo);
        port->width = stored.width;
        port->height = stored.height;
        port->pixelFormat = stored.pixelFormat;
        port->tapGeometry = stored.tapGeometry;
        port->framesPerPacket = stored.numFramesPerPacket;
        if (!stored.info.empty()) {
            port->pairInfo = std::move(stored.info);
        }
    });
}

void STavuDevice::writePairRecord(Quillon::Device& device, uint8_t port, std::span<const uint8_t> block) {
    storeBlockFile(*firstDriveSet(device, kNoDriveSet), pairFileName(ports_[port]), block,
                   [&](uint64_t stripe) { return pairFileStripes(block.size(), stripe); });
}

void STavuDevice::readPairRecord(Quillon::Device& device, uint8_t port) {
    PortState& state = ports_[port];
    state.pairInfo = loadBlockFile(*firstDriveSet(device, kNoDriveSet), pairFileName(state));
}

}  // namespace tavu
