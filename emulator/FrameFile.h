#pragma once
#include <cstdint>
#include <span>
#include <string>

namespace tavu {

class SplitReader;

// A frame file of the emulated device, on a plain descriptor: frames move between the file and
// their buffer (the shared region, when played back) in one system call, with no buffer of the C
// library between them. Nothing here reports a short read, a short write or a failed seek: a
// recording on a full disk simply stops growing, and a short read leaves the buffer's older bytes.
class FrameFile {
public:
    enum class Mode { Read, Write };

    FrameFile() = default;
    // Leaves the object closed when the file cannot be opened. Write makes the file anew.
    FrameFile(const std::string& path, Mode mode);
    FrameFile(FrameFile&& other) noexcept;
    FrameFile& operator=(FrameFile&& other) noexcept;
    FrameFile(const FrameFile&) = delete;
    FrameFile& operator=(const FrameFile&) = delete;
    ~FrameFile() { close(); }

    bool isOpen() const { return fd_ >= 0; }
    void close();

    void write(std::span<const uint8_t> bytes);
    // Offsets are signed 32-bit, so frames 2 GiB or more into a file are read from the wrong
    // place: a limit of the emulated device. A negative offset leaves the position as it was.
    void seek(int32_t offset);
    // Reads at the position and moves it past what was read; a large frame with the reader's
    // second thread.
    void read(std::span<uint8_t> bytes, SplitReader& reader);

private:
    int fd_ = -1;
    uint64_t position_ = 0;
};

}  // namespace tavu
