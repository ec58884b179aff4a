#include "emulator/TavuDeviceEmulator.h"

#include "emulator/EmulatorSupport.h"
#include "encoding/FileStream.h"
#include "records/MetaRecord.h"

#include <algorithm>
#include <filesystem>
#include <limits>
#include <mutex>
#include <stdexcept>
#include <utility>

namespace tavu {

namespace {

// Runs one step of the start-up; whatever it raises ends that step only.
template <typename Step>
void swallowFailure(Step&& step) {
    try {
        step();
    } catch (...) {
    }
}

[[noreturn]] void notSupported() { throw std::runtime_error("not supported"); }

// Every block stands in the configuration record, whatever its size.
constexpr uint64_t kAnyBlockSize = std::numeric_limits<uint64_t>::max();

}  // namespace

TavuDeviceEmulator::TavuDeviceEmulator() {
    std::error_code ignored;
    std::filesystem::create_directories(folder_.portFolder(), ignored);
    swallowFailure([this] { loadCatalogue(); });
    loadVisibleFiles();
    swallowFailure([this] { loadPortConfig(); });
}

// A cut-off recording's entry has no frame count and is dropped here, though its frames stay
// in ".incomplete"; the next file id is then chosen without it.
void TavuDeviceEmulator::loadCatalogue() {
    std::vector<FileRecord> stored;
    FileStream stream(folder_.cataloguePath().c_str(), "rb");
    readMetaList(stored, stream);
    catalogue_.insert(catalogue_.end(), stored.begin(), stored.end());
}

// An entry whose description is missing or bad stays in the catalogue but is not shown.
void TavuDeviceEmulator::loadVisibleFiles() {
    for (const FileRecord& entry : catalogue_) {
        swallowFailure([&] {
            std::vector<FileRecord> stored;
            FileStream stream((folder_.recordingPath(entry.port, entry.name) + ".meta").c_str(), "rb");
            readMetaList(stored, stream);
            visible_.insert(visible_.end(), stored.begin(), stored.end());
        });
    }
}

// Each element counts as soon as it is read, so a broken later one keeps what earlier ones
// stored. Only the element of our one port is taken, its block even when empty: the record is
// the block's only place.
void TavuDeviceEmulator::loadPortConfig() {
    FileStream stream(folder_.configPath().c_str(), "rb");
    readPortRecords(stream, [this](PortRecord&& port) {
        if (port.name != kEmulatorPortName) {
            return;
        }
        pairedTo_ = std::move(port.pairedTo);
        width_ = port.width;
        height_ = port.height;
        pixelFormat_ = port.pixelFormat;
        tapGeometry_ = port.tapGeometry;
        framesPerPacket_ = port.numFramesPerPacket;
        info_ = std::move(port.info);
    });
}

PortRecord TavuDeviceEmulator::portRecord() const {
    return PortRecord{kEmulatorPortName, pairedTo_,      width_, height_, pixelFormat_,
                      tapGeometry_,      framesPerPacket_, info_};
}

void TavuDeviceEmulator::writePortConfig() {
    replaceRecordFile(folder_.configPath(),
                      [&](Stream& stream) { writePortRecords({portRecord()}, stream, kAnyBlockSize); });
}

void TavuDeviceEmulator::writeCatalogue() { writeMetaFile(folder_.cataloguePath(), catalogue_); }

// The description lies beside the frames, named by the catalogue's stem; the visible record's
// port names the folder.
void TavuDeviceEmulator::writeDescription(const FileEntries& entries) {
    writeMetaFile(folder_.recordingPath(entries.visible->port, entries.catalogue->name) + ".meta",
                  {*entries.visible});
}

TavuDeviceEmulator::FileEntries TavuDeviceEmulator::findFile(uint32_t fileId) {
    const auto catalogue = std::ranges::find(catalogue_, fileId, &FileRecord::fileId);
    const auto visible = std::ranges::find(visible_, fileId, &FileRecord::fileId);
    if (catalogue == catalogue_.end() || visible == visible_.end()) {
        throw std::runtime_error("Invalid fileId");
    }
    return FileEntries{catalogue, visible};
}

// Constant and refused operations: no lock, and for serial and register traffic not even a look
// at the port.

std::string TavuDeviceEmulator::name() { return kEmulatorName; }
bool TavuDeviceEmulator::isConnected() { return true; }
uint8_t TavuDeviceEmulator::portCount() { return 1; }
std::string TavuDeviceEmulator::portName(uint8_t) { return kEmulatorPortName; }
bool TavuDeviceEmulator::isCxp() { return false; }
uint8_t TavuDeviceEmulator::percentUsed() { return 5; }
uint8_t TavuDeviceEmulator::hardwareType() { return HardwareType::Emulator; }

void TavuDeviceEmulator::serialOpen(uint8_t, uint32_t, uint8_t, uint8_t) { notSupported(); }
uint32_t TavuDeviceEmulator::serialGetBaudRate(uint8_t) { notSupported(); }
void TavuDeviceEmulator::serialSetBaudRate(uint8_t, uint32_t) { notSupported(); }
uint32_t TavuDeviceEmulator::serialRead(uint8_t, std::span<uint8_t>) { notSupported(); }
uint32_t TavuDeviceEmulator::serialWrite(uint8_t, std::span<const uint8_t>) { notSupported(); }
void TavuDeviceEmulator::serialClear(uint8_t) { notSupported(); }
void TavuDeviceEmulator::serialClose(uint8_t) { notSupported(); }
void TavuDeviceEmulator::registerRead(uint8_t, uint32_t, std::span<uint8_t>) { notSupported(); }
void TavuDeviceEmulator::registerWrite(uint8_t, uint32_t, std::span<const uint8_t>) { notSupported(); }

// Configuration and pairing. There is no camera to ask, so whatever the client gives is stored.
// Each change is written back before the operation returns; a failed write leaves the change
// in memory.

PortConfig TavuDeviceEmulator::getPortConfig(uint8_t port) {
    std::lock_guard guard(lock_);
    checkEmulatorPort(port);
    return PortConfig{width_, height_, pixelFormat_, tapGeometry_};
}

// Allowed during a recording: the frames keep their size, and only the header's clip follows.
void TavuDeviceEmulator::setPortConfig(uint8_t port, const PortConfig& config) {
    std::lock_guard guard(lock_);
    checkEmulatorPort(port);
    width_ = config.width;
    height_ = config.height;
    pixelFormat_ = config.pixelFormat;
    tapGeometry_ = config.tapGeometry;
    writePortConfig();
}

void TavuDeviceEmulator::storePairing(std::span<const uint8_t> info, uint16_t numFramesPerPacket) {
    info_.assign(info.begin(), info.end());
    framesPerPacket_ = numFramesPerPacket;
}

void TavuDeviceEmulator::pairPort(uint8_t port, const std::string& identity, std::span<const uint8_t> info,
                                  uint16_t numFramesPerPacket) {
    std::lock_guard guard(lock_);
    checkEmulatorPort(port);
    pairedTo_ = identity;
    storePairing(info, numFramesPerPacket);
    writePortConfig();
}

void TavuDeviceEmulator::repairPort(uint8_t port, const std::string& identity, std::span<const uint8_t> info,
                                    uint16_t numFramesPerPacket) {
    std::lock_guard guard(lock_);
    checkEmulatorPort(port);
    if (identity != pairedTo_) {
        throw std::runtime_error("Not paried to this camera");
    }
    storePairing(info, numFramesPerPacket);
    writePortConfig();
}

void TavuDeviceEmulator::unpairPort(uint8_t port) {
    std::lock_guard guard(lock_);
    checkEmulatorPort(port);
    pairedTo_.clear();
    storePairing({}, 0);
    writePortConfig();
}

std::vector<uint8_t> TavuDeviceEmulator::portIdentity(uint8_t port) {
    std::lock_guard guard(lock_);
    checkEmulatorPort(port);
    return info_;
}

uint16_t TavuDeviceEmulator::framesPerPacket(uint8_t port) {
    std::lock_guard guard(lock_);
    checkEmulatorPort(port);
    return framesPerPacket_;
}

std::string TavuDeviceEmulator::pairedTo(uint8_t port) {
    std::lock_guard guard(lock_);
    checkEmulatorPort(port);
    return pairedTo_;
}

// The catalogue. A file holds one stream, so stream ids are accepted and ignored.

std::vector<FileRecord> TavuDeviceEmulator::listFiles() {
    std::lock_guard guard(lock_);
    return visible_;
}

std::vector<uint8_t> TavuDeviceEmulator::fileIdentity(uint32_t fileId, uint32_t) {
    std::lock_guard guard(lock_);
    const auto visible = std::ranges::find(visible_, fileId, &FileRecord::fileId);
    if (visible == visible_.end()) {
        throw std::runtime_error("Invalid fileId");
    }
    return visible->info;
}

// Slots are tested by id, so a slot left free by a failed open still counts as open here.
void TavuDeviceEmulator::removeFile(uint32_t fileId, uint32_t) {
    std::lock_guard guard(lock_);
    if (std::ranges::find(slots_, fileId, &PlaybackSlot::fileId) != slots_.end()) {
        throw std::runtime_error("File is open");
    }
    const FileEntries entries = findFile(fileId);
    catalogue_.erase(entries.catalogue);
    visible_.erase(entries.visible);
    // The frames go first: on a full disk the new catalogue finds room only once they have
    // gone, and a catalogue that still names a deleted recording shows nothing at the next
    // start, as its description is gone too.
    removeQuietly(folder_.framePath(fileId));
    removeQuietly(folder_.framePath(fileId) + ".meta");
    writeCatalogue();
}

// Names are free text: nothing keeps two recordings from sharing one.
void TavuDeviceEmulator::renameFile(uint32_t fileId, uint32_t, const std::string& name) {
    std::lock_guard guard(lock_);
    const FileEntries entries = findFile(fileId);
    entries.visible->name = name;
    writeDescription(entries);
}

std::string TavuDeviceEmulator::setFileInfo(uint32_t fileId, uint32_t, const FileInfoUpdate& update) {
    std::lock_guard guard(lock_);
    const FileEntries entries = findFile(fileId);
    FileRecord& visible = *entries.visible;
    visible.name = unusedFileName(visible_, update.name);
    applyFileInfo(visible, update);
    writeDescription(entries);
    return visible.name;
}

// Wipes the recordings on disk and the catalogue, but not the visible list: the old recordings
// stay listed until the next start, and opening one raises "Invalid fileId".
void TavuDeviceEmulator::setup() {
    std::lock_guard guard(lock_);
    for (const FileRecord& entry : catalogue_) {
        const std::string path = folder_.recordingPath(entry.port, entry.name);
        removeQuietly(path);
        removeQuietly(path + ".meta");
    }
    catalogue_.clear();
    removeQuietly(folder_.cataloguePath());
}

}  // namespace tavu
