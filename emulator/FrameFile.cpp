#include "emulator/FrameFile.h"

#include "emulator/SplitReader.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <utility>

namespace tavu {

FrameFile::FrameFile(const std::string& path, Mode mode)
    : fd_(mode == Mode::Read ? ::open(path.c_str(), O_RDONLY | O_CLOEXEC)
                             : ::open(path.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0666)) {}

FrameFile::FrameFile(FrameFile&& other) noexcept
    : fd_(std::exchange(other.fd_, -1)), position_(std::exchange(other.position_, 0)) {}

FrameFile& FrameFile::operator=(FrameFile&& other) noexcept {
    if (this != &other) {
        close();
        fd_ = std::exchange(other.fd_, -1);
        position_ = std::exchange(other.position_, 0);
    }
    return *this;
}

void FrameFile::close() {
    if (fd_ >= 0) {
        ::close(fd_);
        fd_ = -1;
    }
    position_ = 0;
}

void FrameFile::write(std::span<const uint8_t> bytes) {
    while (fd_ >= 0 && !bytes.empty()) {
        const ssize_t written = ::write(fd_, bytes.data(), bytes.size());
        if (written < 0 && errno == EINTR) {
            continue;
        }
        if (written <= 0) {
            return;
        }
        bytes = bytes.subspan(static_cast<size_t>(written));
    }
}

void FrameFile::seek(int32_t offset) {
    if (offset >= 0) {
        position_ = static_cast<uint64_t>(offset);
    }
}

void FrameFile::read(std::span<uint8_t> bytes, SplitReader& reader) {
    // A short read leaves the rest of the frame as it was, which is what playback shows.
    if (fd_ >= 0) {
        position_ += reader.read(fd_, bytes, position_);
    }
}

}  // namespace tavu
