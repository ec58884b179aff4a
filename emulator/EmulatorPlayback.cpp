// Playback, live view and recovery of TavuDeviceEmulator. Frames reach the client through a
// shared region of one frame that each request overwrites.
#include "emulator/EmulatorSupport.h"
#include "emulator/SyntheticFrames.h"
#include "emulator/TavuDeviceEmulator.h"
#include "encoding/FileStream.h"
#include "records/FileTime.h"
#include "records/MetaRecord.h"

#include <algorithm>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <mutex>
#include <stdexcept>

namespace tavu {

namespace {

std::span<uint8_t> regionBytes(const SharedRegion& region) {
    return {static_cast<uint8_t*>(region.view()), region.viewSize()};
}

// An integer division by zero is a fatal arithmetic fault of the device code: the process ends
// by the signal that the faulting division would raise.
[[noreturn]] void divisionByZero() {
    std::raise(SIGFPE);
    std::abort();
}

}  // namespace

// Playback.

uint32_t TavuDeviceEmulator::freeSlot() {
    const auto free = std::ranges::find_if(slots_, [](const PlaybackSlot& slot) { return !slot.file.isOpen(); });
    if (free != slots_.end()) {
        return static_cast<uint32_t>(free - slots_.begin());
    }
    slots_.emplace_back();
    return static_cast<uint32_t>(slots_.size() - 1);
}

TavuDeviceEmulator::PlaybackSlot& TavuDeviceEmulator::openSlot(uint32_t openFileId) {
    if (openFileId >= slots_.size()) {
        throw std::runtime_error("Invalid fileId");
    }
    PlaybackSlot& slot = slots_[openFileId];
    if (!slot.file.isOpen()) {
        throw std::runtime_error("File not open");
    }
    return slot;
}

OpenedFile TavuDeviceEmulator::openFile(uint32_t fileId, uint32_t) {
    std::lock_guard guard(lock_);
    const FileEntries entries = findFile(fileId);
    const uint32_t openFileId = freeSlot();
    PlaybackSlot& slot = slots_[openFileId];
    slot.fileId = fileId;
    slot.file = FrameFile(folder_.framePath(fileId), FrameFile::Mode::Read);
    if (!slot.file.isOpen()) {
        throw std::runtime_error("Failed to open file");
    }
    if (!slot.region.createUnique(RegionBaseName, frameBytes(entries.catalogue->width, entries.catalogue->height),
                                  false)) {
        slot.file.close();
        throw std::runtime_error("Failed to create memory mapping");
    }
    return OpenedFile{openFileId, slot.region.mappingName()};
}

// Geometry from the catalogue, which describes the frames on disk; counts from the visible record.
OpenFileInfo TavuDeviceEmulator::fileInfo(uint32_t openFileId) {
    std::lock_guard guard(lock_);
    const FileEntries entries = findFile(openSlot(openFileId).fileId);
    const uint16_t width = entries.catalogue->width;
    const uint16_t height = entries.catalogue->height;
    return OpenFileInfo{width, height, frameBytes(width, height), entries.visible->numFrames, entries.visible->size};
}

void TavuDeviceEmulator::closeFile(uint32_t openFileId) {
    std::lock_guard guard(lock_);
    PlaybackSlot& slot = openSlot(openFileId);
    slot.file.close();
    slot.fileId = kNoFileId;
    slot.region.close();
}

// The frame count checked is the visible one, which setFileInfo may have raised beyond the file:
// such frames read short, leave the region's older bytes in place and raise nothing.
void TavuDeviceEmulator::readFrame(uint32_t openFileId, uint64_t frame) {
    std::lock_guard guard(lock_);
    PlaybackSlot& slot = openSlot(openFileId);
    const FileEntries entries = findFile(slot.fileId);
    if (frame >= entries.visible->numFrames) {
        throw std::runtime_error("Invalid frame index");
    }
    const uint64_t offset = frameBytes(entries.catalogue->width, entries.catalogue->height) * frame;
    slot.file.seek(static_cast<int32_t>(offset));
    slot.file.read(regionBytes(slot.region), frameReader_);
}

// Live view: a ramp with no header and no pacing, one frame at each liveFrame.

std::string TavuDeviceEmulator::startLive(uint8_t port) {
    std::lock_guard guard(lock_);
    checkEmulatorPort(port);
    if (liveRegion_.view() != nullptr) {
        throw std::runtime_error("Live alrady started");
    }
    liveCounter_ = 0;
    if (!liveRegion_.createUnique(RegionBaseName, frameBytes(width_, height_), false)) {
        throw std::runtime_error("Failed to create memory mapping");
    }
    return liveRegion_.mappingName();
}

// Reports the port's present geometry, while the region keeps the size it got at startLive.
FrameGeometry TavuDeviceEmulator::liveFrame(uint8_t port) {
    std::lock_guard guard(lock_);
    checkEmulatorPort(port);
    if (liveRegion_.view() == nullptr) {
        throw std::runtime_error("Live not started");
    }
    const uint16_t width = width_;
    const FrameGeometry geometry{width, height_, frameBytes(width, height_)};
    liveCounter_ = fillRamp(regionBytes(liveRegion_), liveCounter_);
    return geometry;
}

void TavuDeviceEmulator::stopLive(uint8_t port) {
    std::lock_guard guard(lock_);
    checkEmulatorPort(port);
    if (liveRegion_.view() == nullptr) {
        throw std::runtime_error("Live not started");
    }
    liveRegion_.close();
}

// Recovery: the emulator's reduced salvage of a recording that was cut off.

bool TavuDeviceEmulator::hasIncompleteFile() {
    std::lock_guard guard(lock_);
    std::error_code ignored;
    return std::filesystem::is_regular_file(folder_.incompletePath(), ignored);
}

// The catalogue keeps no entry of a cut-off recording after a restart, so nothing else changes.
void TavuDeviceEmulator::discardIncompleteFile() {
    std::lock_guard guard(lock_);
    removeQuietly(folder_.incompletePath());
}

// hasIncompleteFile takes the device lock a second time, which the lock refuses to its holder:
// this and recoveryStatus end there in the lock's busy error, and the rest never runs.
void TavuDeviceEmulator::startRecovery() {
    std::lock_guard guard(lock_);
    if (!hasIncompleteFile()) {
        throw std::runtime_error("no file to recover");
    }
    const auto entry = std::ranges::find(catalogue_, ".incomplete", &FileRecord::name);
    if (entry == catalogue_.end()) {
        return;
    }
    recoveryFileId_ = entry->fileId;
    std::rename(folder_.incompletePath().c_str(), folder_.framePath(recoveryFileId_).c_str());
    entry->name = std::to_string(recoveryFileId_);
}

RecoveryStatus TavuDeviceEmulator::recoveryStatus() {
    std::lock_guard guard(lock_);
    return hasIncompleteFile() ? RecoveryStatus::NotRun : RecoveryStatus::Done;
}

std::string TavuDeviceEmulator::recoveryError() {
    std::lock_guard guard(lock_);
    return {};
}

void TavuDeviceEmulator::cancelRecovery() { std::lock_guard guard(lock_); }

// Works from the recovery file id, which no recovery start ever sets. The description is
// encoded into a buffer of one byte rather than onto the file: the map head fits, the next write
// raises "eof". So a finish always fails, leaves an empty description behind and publishes
// nothing; clients of the emulator see a failed finish.
void TavuDeviceEmulator::finishRecovery() {
    std::lock_guard guard(lock_);
    const std::string framePath = folder_.framePath(recoveryFileId_);
    const FileRecord record = recoveredRecord(framePath);
    FileStream description((framePath + ".meta").c_str(), "wb");
    uint8_t buffer = 0;
    writeMetaList({record}, &buffer, sizeof(buffer));
}

FileRecord TavuDeviceEmulator::recoveredRecord(const std::string& framePath) const {
    FileRecord record;
    record.name = std::to_string(recoveryFileId_);
    record.fileId = recoveryFileId_;
    record.port = kEmulatorPortName;
    record.camera = pairedTo_;
    record.width = width_;
    record.height = height_;
    record.timestamp = currentFileTime();
    record.size = truncatedFileSize(framePath);
    // A signed divisor, as a plain int: a frame of 2 GiB or more divides by a negative number.
    const auto divisor = static_cast<int32_t>(frameBytes(width_, height_));
    if (divisor == 0) {
        divisionByZero();
    }
    record.numFrames = record.size / static_cast<uint64_t>(divisor);
    record.info = info_;
    return record;
}

}  // namespace tavu
