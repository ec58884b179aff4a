#include "hardware/QuillonFileStream.h"

#include "library/DriveSet.h"

#include <algorithm>
#include <cstring>
#include <exception>
#include <stdexcept>
#include <utility>

namespace tavu {

namespace {

// One block of a file is a cluster on each drive of its set.
uint32_t blockBytesOf(Quillon::DriveFile& file) {
    const auto driveCount = static_cast<uint32_t>(file.driveSet(false)->drives().size());
    const uint32_t clusterBytes = file.info()->clusterBytes;
    return driveCount * clusterBytes;
}

}  // namespace

QuillonFileStream::QuillonFileStream(boost::shared_ptr<Quillon::DriveFile> file, bool forWriting)
    : file_(std::move(file)),
      blockBytes_(blockBytesOf(*file_)),
      // A reader starts with the buffer used up, so that its first read fetches the first block.
      position_(forWriting ? 0 : blockBytes_),
      exceptionsAtStart_(std::uncaught_exceptions()) {
    if (blockBytes_ == 0) {
        // Without a block size no byte could ever move, and reads would loop for good.
        throw std::runtime_error("Drive file has no block size.");
    }
    buffer_ = Common::Buffer::create(nullptr, blockBytes_);
}

QuillonFileStream::~QuillonFileStream() {
    if (std::uncaught_exceptions() == exceptionsAtStart_) {
        flush();
    }
}

uint64_t QuillonFileStream::read(void* buffer, uint64_t byteCount) {
    auto* target = static_cast<uint8_t*>(buffer);
    for (uint64_t left = byteCount; left > 0;) {
        if (position_ >= blockBytes_) {
            file_->readBlock(buffer_, 0);
            position_ = 0;
        }
        const auto count = static_cast<uint32_t>(std::min<uint64_t>(left, blockBytes_ - position_));
        std::memcpy(target, buffer_->ptr(position_), count);
        target += count;
        left -= count;
        position_ += count;
    }
    return byteCount;
}

uint64_t QuillonFileStream::write(const void* buffer, uint64_t byteCount) {
    const auto* source = static_cast<const uint8_t*>(buffer);
    for (uint64_t left = byteCount; left > 0;) {
        const auto count = static_cast<uint32_t>(std::min<uint64_t>(left, blockBytes_ - position_));
        std::memcpy(buffer_->ptr(position_), source, count);
        source += count;
        left -= count;
        position_ += count;
        dirty_ = true;
        if (position_ >= blockBytes_) {
            file_->writeBlock(buffer_);
            position_ = 0;
            dirty_ = false;
        }
    }
    return byteCount;
}

void QuillonFileStream::flush() {
    if (dirty_) {
        file_->writeBlock(buffer_);
        dirty_ = false;
    }
}

}  // namespace tavu
