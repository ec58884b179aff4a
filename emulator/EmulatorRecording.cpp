// The recording operations of TavuDeviceEmulator: a paced worker writes synthetic frames to
// ".incomplete", and stopRecording gives the file its id and publishes it.
#include "emulator/EmulatorSupport.h"
#include "emulator/TavuDeviceEmulator.h"
#include "records/FileTime.h"

#include <algorithm>
#include <cstdio>
#include <functional>
#include <mutex>
#include <stdexcept>
#include <utility>

namespace tavu {

namespace {

// Bits of externalTrigger that ask for a trigger from outside, which the emulator hasn't got.
constexpr uint8_t kExternalTriggerBits = ExternalStart | ExternalStop;

}  // namespace

// Pre-trigger settings are accepted and ignored: there is no pre-trigger loop here.
void TavuDeviceEmulator::startRecording(const RecordingRequest& request) {
    std::lock_guard guard(lock_);
    if (request.portMask != 1) {
        throw std::runtime_error("Invalid port mask");
    }
    // A request for an external trigger is swallowed without a word, and nothing is recorded.
    if ((request.externalTrigger & kExternalTriggerBits) != 0) {
        return;
    }
    if (recordThread_.joinable()) {
        throw std::runtime_error("Already recording");
    }
    if (width_ == 0 || height_ == 0 || pairedTo_.empty()) {
        throw std::runtime_error("Not paired/configured.");
    }
    currentFileId_ = nextFileId();
    RecordingJob job{request.type, request.count, static_cast<uint32_t>(width_) * height_,
                     FrameFile(folder_.incompletePath(), FrameFile::Mode::Write)};
    if (!job.file.isOpen()) {
        throw std::runtime_error("Failed to create file");
    }
    catalogue_.push_back(incompleteEntry());
    writeCatalogue();
    recordingFlags_.stop.store(false);
    recordingFlags_.done.store(false);
    recordingFlags_.recordedFrames.store(0);
    recordThread_ = std::thread(runRecording, std::move(job), std::ref(recordingFlags_), std::cref(width_));
}

// The largest id of the catalogue plus 1, and at least 1: a removed last recording's id is
// given again.
uint32_t TavuDeviceEmulator::nextFileId() const {
    uint32_t largest = 0;
    for (const FileRecord& entry : catalogue_) {
        largest = std::max(largest, entry.fileId);
    }
    return std::max<uint32_t>(largest + 1, 1);
}

// Its frame count stays 0 until the stop, so the entry of a cut-off recording never survives a
// restart.
FileRecord TavuDeviceEmulator::incompleteEntry() const {
    FileRecord entry;
    entry.fileId = currentFileId_;
    entry.name = ".incomplete";
    entry.port = kEmulatorPortName;
    entry.camera = pairedTo_;
    entry.width = width_;
    entry.height = height_;
    entry.timestamp = currentFileTime();
    return entry;
}

// The join happens under the lock, so every other operation waits for the last frame.
void TavuDeviceEmulator::stopRecording() {
    std::lock_guard guard(lock_);
    if (!recordThread_.joinable()) {
        throw std::runtime_error("Not recording");
    }
    recordingFlags_.stop.store(true);
    recordThread_.join();
    const auto entry = std::ranges::find(catalogue_, currentFileId_, &FileRecord::fileId);
    if (entry == catalogue_.end()) {
        throw std::runtime_error("Internal error, lost file id");
    }
    const std::string framePath = folder_.framePath(currentFileId_);
    const FileRecord incomplete = *entry;
    entry->name = std::to_string(currentFileId_);
    std::rename(folder_.incompletePath().c_str(), framePath.c_str());
    // The frame count comes from the real size: a full disk isn't noticed while recording.
    entry->size = truncatedFileSize(framePath);
    entry->numFrames = entry->size / frameBytes(entry->width, entry->height);
    visible_.push_back(visibleRecordOf(*entry));
    try {
        writeMetaFile(framePath + ".meta", {visible_.back()});
        writeCatalogue();
    } catch (...) {
        // Frames that no stored catalogue lists would be found by nothing after a restart, so
        // they go back to being the cut-off recording, which can be discarded to make room.
        // The visible record stays until the next start.
        removeQuietly(framePath + ".meta");
        std::rename(framePath.c_str(), folder_.incompletePath().c_str());
        *entry = incomplete;
        throw;
    }
}

FileRecord TavuDeviceEmulator::visibleRecordOf(const FileRecord& entry) const {
    FileRecord visible;
    visible.name = entry.name;
    visible.port = entry.port;
    visible.camera = pairedTo_;
    visible.fileId = entry.fileId;
    visible.width = entry.width;
    visible.height = entry.height;
    visible.numFrames = entry.numFrames;
    visible.info = info_;
    visible.size = entry.size;
    visible.timestamp = currentFileTime();
    return visible;
}

void TavuDeviceEmulator::softwareTrigger() { std::lock_guard guard(lock_); }

// The worker stays attached after it reached its limit, until stopRecording.
bool TavuDeviceEmulator::isRecording() {
    std::lock_guard guard(lock_);
    return recordThread_.joinable();
}

// Stays true after the stop, until the next start.
bool TavuDeviceEmulator::isRecordingDone() {
    std::lock_guard guard(lock_);
    return recordingFlags_.done.load();
}

RecordingFile TavuDeviceEmulator::recordingFile(uint8_t port) {
    std::lock_guard guard(lock_);
    checkEmulatorPort(port);
    return RecordingFile{currentFileId_, 0};
}

RecordingProgress TavuDeviceEmulator::recordingProgress(uint8_t port) {
    std::lock_guard guard(lock_);
    checkEmulatorPort(port);
    return RecordingProgress{recordingFlags_.recordedFrames.load(), false};
}

}  // namespace tavu
