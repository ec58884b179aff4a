#pragma once
#include <cstdint>
#include <cstdio>
#include <memory>
#include <span>
#include <string>

namespace tavu {

// A frame file of the emulated device, opened with fopen and closed when the object goes or
// `close` is called. Nothing here reports a short read, a short write or a failed seek: a
// recording on a full disk simply stops growing, and a short read leaves the buffer's older bytes.
class FrameFile {
public:
    FrameFile() = default;
    // Leaves the object closed when the file cannot be opened.
    FrameFile(const std::string& path, const char* mode);

    bool isOpen() const { return file_ != nullptr; }
    void close() { file_.reset(); }

    void write(std::span<const uint8_t> bytes);
    // Offsets are signed 32-bit, so frames 2 GiB or more into a file are read from the wrong
    // place: a limit of the emulated device.
    void seek(int32_t offset);
    void read(std::span<uint8_t> bytes);

private:
    struct Closer {
        void operator()(std::FILE* file) const { std::fclose(file); }
    };

    std::unique_ptr<std::FILE, Closer> file_;
};

}  // namespace tavu
