#pragma once
#include "sim/Description.h"
#include "sim/RecordingFormat.h"

#include <nlohmann/json.hpp>

#include <cstdint>
#include <filesystem>
#include <map>
#include <optional>
#include <string>
#include <vector>

namespace sim {

// How a drive set was made; fixed for its life.
struct DriveSetSettings {
    std::string name;
    uint32_t firstSetting = 0;
    uint32_t secondSetting = 0;
    uint32_t clusterBytes = 0;
    std::vector<DriveDescription> drives;  // in the order of their physical index
};

struct StoredFile {
    uint32_t id = 0;
    // Files made by name hold records of the service; a recording's file has no name.
    std::string name;
    uint64_t sizeClusters = 0;
    uint64_t timestamp = 0;
    // A recording's file is complete once all its ports stopped, or once it was repaired.
    bool complete = true;
    // Being recorded by this process now; an incomplete file that nobody records is one that a
    // recording left when its process died.
    bool recording = false;
};

// One drive set as plain files in a folder of its own: "index.json" with the settings and the
// file list, and per file "file-<id>.data" (its blocks, sparse), "file-<id>.meta" (its metadata
// block, once written) and, for a recording, "file-<id>.streams" (its streams). Every change
// rewrites the index, so a set survives the process; a growing recording's size is written when
// it completes, and taken from its data file when it was cut off.
class StoredDriveSet {
public:
    static constexpr uint32_t MetadataCapacity = 64 * 1024;
    static constexpr const char* IndexFileName = "index.json";

    // A new, empty set.
    StoredDriveSet(uint32_t id, std::filesystem::path folder, DriveSetSettings settings);
    // The set kept in `folder`.
    StoredDriveSet(uint32_t id, std::filesystem::path folder);

    uint32_t id() const { return id_; }
    const DriveSetSettings& settings() const { return settings_; }
    // One block of a file spans all drives of the set; sizes of files count in blocks.
    uint64_t blockBytes() const;
    uint64_t totalBytes() const;
    uint64_t usedBytes() const;

    // Recordings, complete or cut off, but not those being recorded.
    std::vector<uint32_t> recordingIds() const;
    // The first recording that was cut off; 0 for none.
    uint32_t incompleteFileId() const;
    bool isRecordedTo() const;
    uint32_t findFile(const std::string& name) const;
    const StoredFile& file(uint32_t fileId) const;
    uint32_t createFile(const std::string& name, uint64_t sizeClusters, uint64_t timestamp);
    void removeFile(uint32_t fileId);

    // A new, empty recording file whose streams are known from the start.
    uint32_t createRecording(uint64_t timestamp, const std::vector<StoredStream>& streams);
    // Grows a recording by `count` blocks and gives the first of them; none when the set is full.
    std::optional<uint64_t> reserveBlocks(uint32_t fileId, uint64_t count);
    // The recording ended well, or was repaired: its streams are final.
    void completeRecording(uint32_t fileId, const std::vector<StoredStream>& streams);
    // Empty for a named file.
    std::vector<StoredStream> streams(uint32_t fileId) const;
    std::filesystem::path dataPath(uint32_t fileId) const;

    void readBlock(uint32_t fileId, uint64_t block, void* target) const;
    void writeBlock(uint32_t fileId, uint64_t block, const void* source) const;
    // Always MetadataCapacity bytes: what was last written, zero behind it.
    std::vector<uint8_t> readMetadata(uint32_t fileId) const;
    void writeMetadata(uint32_t fileId, const void* source, uint64_t size) const;

private:
    std::string describe() const { return "Drive set " + std::to_string(id_); }
    void checkBlock(uint32_t fileId, uint64_t block) const;
    std::filesystem::path metadataPath(uint32_t fileId) const;
    std::filesystem::path streamsPath(uint32_t fileId) const;
    uint64_t freeBlocks() const;
    StoredFile& recordingFile(uint32_t fileId);
    void load();
    void save() const;

    uint32_t id_;
    std::filesystem::path folder_;
    DriveSetSettings settings_;
    uint32_t nextFileId_ = 1;
    std::map<uint32_t, StoredFile> files_;
};

}  // namespace sim
