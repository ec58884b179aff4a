#include "wire/FileRecord.h"

#include <algorithm>

namespace tavu {

std::string unusedFileName(const std::vector<FileRecord>& records, const std::string& requested) {
    std::string candidate = requested;
    for (uint32_t counter = 1; std::ranges::find(records, candidate, &FileRecord::name) != records.end(); ++counter) {
        candidate = requested + "(" + std::to_string(counter) + ")";
    }
    return candidate;
}

void applyFileInfo(FileRecord& record, const FileInfoUpdate& update) {
    record.width = update.width;
    record.height = update.height;
    record.numFrames = update.numImages;
    record.numDroppedFrames = update.numDroppedFrames;
    record.startTime = update.startTime;
    record.endTime = update.endTime;
    record.duration = update.duration;
}

FileInfoUpdate fileInfoOf(const FileRecord& record, const std::string& name) {
    FileInfoUpdate update;
    update.name = name;
    update.width = record.width;
    update.height = record.height;
    update.numImages = record.numFrames;
    update.numDroppedFrames = record.numDroppedFrames;
    update.startTime = record.startTime;
    update.endTime = record.endTime;
    update.duration = record.duration;
    return update;
}

}  // namespace tavu
