#pragma once
#include <cstdint>
#include <filesystem>
#include <memory>
#include <span>
#include <string>

// Files that hold every exported frame of a recording stream: HDF5 and multi-page TIFF.
namespace tavu::tavuctl {

// What a stack file records of the recording besides its frames.
struct StackDescription {
    uint32_t device = 0;
    std::string port;
    uint32_t fileId = 0;
    uint32_t streamId = 0;
    std::string camera;
    std::string name;
    std::string timestamp;  // ISO 8601 UTC, empty when the recorder gave none
    uint64_t duration = 0;
    uint64_t numFrames = 0;  // of the whole recording
    uint64_t numDroppedFrames = 0;
    uint64_t firstFrame = 0;  // of the frames exported
    uint32_t width = 0;
    uint32_t height = 0;
    uint64_t frames = 0;  // the frames the file is made for
};

// Frames go in one after the other as 16-bit little-endian pixels; finish() completes the file
// with those appended so far. Each raises std::runtime_error with the library's reason.
class StackFile {
public:
    virtual ~StackFile() = default;
    virtual void append(std::span<const uint8_t> pixels) = 0;
    virtual void finish(uint64_t written) = 0;
};

// The dataset "frames" of shape (frames, height, width), uint16, one frame per chunk, with the
// description's fields as its attributes.
std::unique_ptr<StackFile> createHdf5Stack(const std::filesystem::path& path, const StackDescription& description);
// One page per frame, 16-bit grayscale; BigTIFF when the frames pass 4 GiB.
std::unique_ptr<StackFile> createTiffStack(const std::filesystem::path& path, const StackDescription& description);

}  // namespace tavu::tavuctl
