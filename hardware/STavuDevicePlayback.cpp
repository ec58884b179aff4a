// Playback: a recorded stream opened into a slot, read one frame at a time into the slot's shared
// region. Every operation holds the device mutex for its whole length, reads included.
#include "hardware/STavuDevice.h"

#include "library/Buffer.h"
#include "library/Frame.h"

#include <cstring>
#include <stdexcept>

namespace tavu {

namespace {

void describeStream(OpenFileSlot& slot, Quillon::FrameSequence& frames) {
    boost::shared_ptr<Common::DataType> type = frames.dataType();
    slot.width = static_cast<uint16_t>(Common::DataType::width(type));
    slot.height = static_cast<uint16_t>(Common::DataType::height(type));
    slot.numFrames = frames.frameCount();
    slot.imageSize = static_cast<uint32_t>(slot.height) * slot.width * 2;
    slot.size = slot.numFrames * slot.imageSize;
}

}  // namespace

OpenStreamShare STavuDevice::acquireStream(DriveFileHandle& file, uint32_t streamId) {
    if (OpenStreamHandle* held = handles_.findStream(file, streamId)) {
        return handles_.share(*held);
    }
    std::lock_guard guard(file.mutex);
    boost::shared_ptr<Quillon::RecordedStream> stream = file.file->streamById(streamId);
    boost::shared_ptr<Quillon::FrameSequence> frames = stream->frames(0, 0, false, false);
    return handles_.addStream(file, streamId, std::move(stream), std::move(frames));
}

OpenFileSlot& STavuDevice::freeSlot() {
    // The lowest free id first; the table only grows.
    for (OpenFileSlot& slot : openFiles_) {
        if (!slot.inUse) {
            return slot;
        }
    }
    OpenFileSlot& slot = openFiles_.emplace_back();
    slot.id = static_cast<uint32_t>(openFiles_.size() - 1);
    return slot;
}

OpenFileSlot& STavuDevice::openSlot(uint32_t openFileId) {
    if (openFileId >= openFiles_.size() || !openFiles_[openFileId].inUse) {
        throw std::runtime_error("Invalid file id.");
    }
    return openFiles_[openFileId];
}

OpenedFile STavuDevice::openFile(uint32_t fileId, uint32_t streamId) {
    std::lock_guard guard(lock_);
    // The file's share lasts for this call; the stream's share goes to the slot. Neither id is
    // checked against the catalogue: the library says whether they exist.
    DriveFileShare file = acquireDriveFile(fileId);
    OpenStreamShare stream = acquireStream(*file, streamId);
    OpenFileSlot& slot = freeSlot();
    slot.inUse = true;
    slot.fileId = fileId;
    slot.streamId = streamId;
    describeStream(slot, *stream->frames);
    // A slot whose region failed stays in use with no stream: its id never reached a client.
    if (!slot.region.createUnique(RegionBaseName, slot.imageSize, false)) {
        throw std::runtime_error("Failed to create shared memory mapping");
    }
    slot.stream = std::move(stream);
    return OpenedFile{slot.id, slot.region.mappingName()};
}

OpenFileInfo STavuDevice::fileInfo(uint32_t openFileId) {
    std::lock_guard guard(lock_);
    const OpenFileSlot& slot = openSlot(openFileId);
    return OpenFileInfo{slot.width, slot.height, slot.imageSize, slot.numFrames, slot.size};
}

void STavuDevice::closeFile(uint32_t openFileId) {
    std::lock_guard guard(lock_);
    OpenFileSlot& slot = openSlot(openFileId);
    slot.stream.reset();
    slot.inUse = false;
    slot.fileId = 0;
    slot.streamId = 0;
    slot.region.close();
    slot.width = 0;
    slot.height = 0;
    slot.numFrames = 0;
    slot.size = 0;
    slot.imageSize = 0;
}

void STavuDevice::readFrame(uint32_t openFileId, uint64_t frame) {
    std::lock_guard guard(lock_);
    OpenFileSlot& slot = openSlot(openFileId);
    boost::shared_ptr<Common::Frame> read;
    if (slot.stream) {
        uint64_t index = frame;
        slot.stream->frames->readFrames(read, index, 1);
    }
    boost::shared_ptr<Common::Buffer> buffer = read ? read->buffer() : nullptr;
    if (!buffer) {
        throw std::runtime_error("Failed to read file.");
    }
    // A larger buffer is fine: the region takes one frame.
    if (buffer->size() < slot.imageSize) {
        throw std::runtime_error("Buffer size doesn't match expected size.");
    }
    std::memcpy(slot.region.view(), buffer->data(), slot.imageSize);
}

}  // namespace tavu
