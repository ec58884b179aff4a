#pragma once
#include <cstdint>
#include <string>
#include <vector>

#include "wire/Types.h"

// The fields of a file entry of listFiles, in wire order, each sent under its member's name. The
// service's writer and the client's reader both expand this list. The identity block is not
// sent, and the stored description (records/MetaRecord) has an order of its own.
// clang-format off
#define TAVU_FILE_ENTRY_FIELDS(X)                                                          \
    X(name) X(port) X(camera) X(fileId) X(streamId) X(width) X(height) X(numFrames)         \
    X(numDroppedFrames) X(size) X(timestamp) X(duration) X(startTime) X(endTime)
// clang-format on

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

#define TAVU_FILE_ENTRY_COUNT(field) +1
inline constexpr uint32_t FileEntryFieldCount = 0 TAVU_FILE_ENTRY_FIELDS(TAVU_FILE_ENTRY_COUNT);
#undef TAVU_FILE_ENTRY_COUNT

// The name a recording gets when a client asks for `requested`: that name, else "name(1)",
// "name(2)", ... until no record of `records` has it. The recording being renamed counts too,
// so asking for its own name gives it a number.
std::string unusedFileName(const std::vector<FileRecord>& records, const std::string& requested);

// Takes the descriptive fields of an update, all but the name, which the caller settles; size,
// time stamp, block, port and camera stay as recorded.
void applyFileInfo(FileRecord& record, const FileInfoUpdate& update);
// The update that leaves a record's descriptive fields as they are, under the name given.
FileInfoUpdate fileInfoOf(const FileRecord& record, const std::string& name);

}  // namespace tavu
