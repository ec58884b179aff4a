#pragma once
#include "library/DriveFile.h"

#include <boost/shared_ptr.hpp>

#include <cstdint>
#include <memory>
#include <mutex>
#include <utility>
#include <vector>

namespace tavu {

class OpenHandles;

// One holder's count on an entry of OpenHandles, given back when the share ends. Movable, not
// copyable; an empty share holds nothing.
template <typename Handle>
class HandleShare {
public:
    HandleShare() = default;
    HandleShare(OpenHandles& handles, Handle& handle) : handles_(&handles), handle_(&handle) {}
    HandleShare(HandleShare&& other) noexcept
        : handles_(std::exchange(other.handles_, nullptr)), handle_(std::exchange(other.handle_, nullptr)) {}
    HandleShare& operator=(HandleShare&& other) noexcept;
    HandleShare(const HandleShare&) = delete;
    HandleShare& operator=(const HandleShare&) = delete;
    ~HandleShare() { reset(); }

    void reset() noexcept;
    explicit operator bool() const { return handle_ != nullptr; }
    Handle& operator*() const { return *handle_; }
    Handle* operator->() const { return handle_; }

private:
    OpenHandles* handles_ = nullptr;
    Handle* handle_ = nullptr;
};

// A drive file that the device holds open, shared by the streams played from it and by the
// catalogue operations under way.
struct DriveFileHandle {
    uint32_t refCount = 0;
    uint32_t fileId = 0;
    boost::shared_ptr<Quillon::DriveFile> file;
    // Keeps a metadata read from racing the release of `file`.
    std::mutex mutex;
};

using DriveFileShare = HandleShare<DriveFileHandle>;

// A recorded stream open for playback, shared by every slot that plays it.
struct OpenStreamHandle {
    uint32_t refCount = 0;
    // The stream counts as one holder of its file.
    DriveFileShare fileHandle;
    uint32_t streamId = 0;
    boost::shared_ptr<Quillon::RecordedStream> stream;
    boost::shared_ptr<Quillon::FrameSequence> frames;
};

using OpenStreamShare = HandleShare<OpenStreamHandle>;

// The device's tables of open drive files and open streams: at most one entry per file id, and
// one per stream of a file. An entry goes when its last holder gives it back. Guarded by the
// device mutex.
class OpenHandles {
public:
    OpenHandles() = default;
    OpenHandles(const OpenHandles&) = delete;
    OpenHandles& operator=(const OpenHandles&) = delete;
    ~OpenHandles();

    DriveFileHandle* findFile(uint32_t fileId);
    OpenStreamHandle* findStream(const DriveFileHandle& file, uint32_t streamId);

    // One more holder of an existing entry.
    template <typename Handle>
    HandleShare<Handle> share(Handle& handle) {
        ++handle.refCount;
        return HandleShare<Handle>(*this, handle);
    }
    // New entries, with the returned share as their one holder.
    DriveFileShare addFile(uint32_t fileId, boost::shared_ptr<Quillon::DriveFile> file);
    OpenStreamShare addStream(DriveFileHandle& file, uint32_t streamId,
                              boost::shared_ptr<Quillon::RecordedStream> stream,
                              boost::shared_ptr<Quillon::FrameSequence> frames);

    void release(DriveFileHandle& handle);
    void release(OpenStreamHandle& handle);

private:
    std::vector<std::unique_ptr<DriveFileHandle>> files_;
    std::vector<std::unique_ptr<OpenStreamHandle>> streams_;
};

template <typename Handle>
HandleShare<Handle>& HandleShare<Handle>::operator=(HandleShare&& other) noexcept {
    if (this != &other) {
        reset();
        handles_ = std::exchange(other.handles_, nullptr);
        handle_ = std::exchange(other.handle_, nullptr);
    }
    return *this;
}

template <typename Handle>
void HandleShare<Handle>::reset() noexcept {
    if (handle_ != nullptr) {
        handles_->release(*std::exchange(handle_, nullptr));
    }
}

}  // namespace tavu
