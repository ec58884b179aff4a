#pragma once
#include <iosfwd>
#include <optional>
#include <vector>

#include "wire/FileRecord.h"
#include "tools/tavuctl/Json.h"

// The catalogue entries of recordings, as several commands show them.
namespace tavu::tavuctl {

Json recordingJson(const FileRecord& record);
Json recordingsJson(const std::vector<FileRecord>& records);
void printRecordings(std::ostream& out, const std::vector<FileRecord>& records);

// Entries of `after` that `before` lacks, by file and stream id.
std::vector<FileRecord> newRecordings(const std::vector<FileRecord>& before, const std::vector<FileRecord>& after);
std::optional<FileRecord> findRecording(const std::vector<FileRecord>& records, uint32_t fileId, uint32_t streamId);

}  // namespace tavu::tavuctl
