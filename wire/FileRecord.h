#pragma once
#include <cstdint>
#include <string>
#include <vector>

namespace tavu {

// One recorded stream of a device's catalogue, named by (fileId, streamId). A value: copies own
// their strings and identity block.
struct FileRecord {
    std::string name;
    std::string port;
    std::string camera;
    uint32_t fileId = 0;
    uint32_t streamId = 0;
    uint16_t width = 0;
    uint16_t height = 0;
    uint64_t numFrames = 0;
    uint64_t numDroppedFrames = 0;
    // The stream's identity block when the metadata carries it; empty otherwise.
    std::vector<uint8_t> info;
    uint64_t size = 0;
    uint64_t timestamp = 0;
    uint64_t startTime = 0;
    uint64_t endTime = 0;
    uint64_t duration = 0;

    bool operator==(const FileRecord&) const = default;
};

// The name a recording gets when a client asks for `requested`: that name, else "name(1)",
// "name(2)", ... until no record of `records` has it. The recording being renamed counts too,
// so asking for its own name gives it a number.
std::string unusedFileName(const std::vector<FileRecord>& records, const std::string& requested);

}  // namespace tavu
