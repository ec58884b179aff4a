#include "hardware/OpenHandles.h"

#include <algorithm>

namespace tavu {

namespace {

// Takes the entry out of its table; the caller then owns it.
template <typename Handle>
std::unique_ptr<Handle> takeOut(std::vector<std::unique_ptr<Handle>>& table, const Handle& handle) {
    auto entry = std::ranges::find_if(table, [&](const auto& held) { return held.get() == &handle; });
    std::unique_ptr<Handle> owned = std::move(*entry);
    table.erase(entry);
    return owned;
}

}  // namespace

// Streams first: each holds a share of its file.
OpenHandles::~OpenHandles() { streams_.clear(); }

DriveFileHandle* OpenHandles::findFile(uint32_t fileId) {
    auto entry = std::ranges::find(files_, fileId, [](const auto& file) { return file->fileId; });
    return entry == files_.end() ? nullptr : entry->get();
}

OpenStreamHandle* OpenHandles::findStream(const DriveFileHandle& file, uint32_t streamId) {
    auto entry = std::ranges::find_if(streams_, [&](const auto& stream) {
        return &*stream->fileHandle == &file && stream->streamId == streamId;
    });
    return entry == streams_.end() ? nullptr : entry->get();
}

DriveFileShare OpenHandles::addFile(uint32_t fileId, boost::shared_ptr<Quillon::DriveFile> file) {
    auto& entry = files_.emplace_back(std::make_unique<DriveFileHandle>());
    entry->fileId = fileId;
    entry->file = std::move(file);
    return share(*entry);
}

OpenStreamShare OpenHandles::addStream(DriveFileHandle& file, uint32_t streamId,
                                       boost::shared_ptr<Quillon::RecordedStream> stream,
                                       boost::shared_ptr<Quillon::FrameSequence> frames) {
    auto& entry = streams_.emplace_back(std::make_unique<OpenStreamHandle>());
    entry->fileHandle = share(file);
    entry->streamId = streamId;
    entry->stream = std::move(stream);
    entry->frames = std::move(frames);
    return share(*entry);
}

void OpenHandles::release(DriveFileHandle& handle) {
    if (--handle.refCount > 0) {
        return;
    }
    std::unique_ptr<DriveFileHandle> owned = takeOut(files_, handle);
    std::lock_guard guard(owned->mutex);
    owned->file.reset();
}

void OpenHandles::release(OpenStreamHandle& handle) {
    if (--handle.refCount > 0) {
        return;
    }
    std::unique_ptr<OpenStreamHandle> owned = takeOut(streams_, handle);
    {
        // The reader goes before the file's count does.
        std::lock_guard guard(owned->fileHandle->mutex);
        owned->frames.reset();
        owned->stream.reset();
    }
    owned->fileHandle.reset();
}

}  // namespace tavu
