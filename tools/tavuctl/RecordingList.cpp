#include "tools/tavuctl/RecordingList.h"

#include <algorithm>
#include <ostream>

#include "tools/tavuctl/Format.h"
#include "tools/tavuctl/Table.h"

namespace tavu::tavuctl {

Json recordingJson(const FileRecord& record) {
    return {{"fileId", record.fileId},
            {"streamId", record.streamId},
            {"name", record.name},
            {"port", record.port},
            {"camera", record.camera},
            {"width", record.width},
            {"height", record.height},
            {"numFrames", record.numFrames},
            {"numDroppedFrames", record.numDroppedFrames},
            {"size", record.size},
            {"timestamp", record.timestamp},
            {"recorded", isoTimestamp(record.timestamp)},
            {"startTime", record.startTime},
            {"endTime", record.endTime},
            {"duration", record.duration}};
}

Json recordingsJson(const std::vector<FileRecord>& records) {
    Json list = Json::array();
    for (const FileRecord& record : records) {
        list.push_back(recordingJson(record));
    }
    return list;
}

void printRecordings(std::ostream& out, const std::vector<FileRecord>& records) {
    Table table({"FILE", "STREAM", "NAME", "PORT", "CAMERA", "SIZE", "FRAMES", "DROPPED", "BYTES", "RECORDED"});
    for (const FileRecord& record : records) {
        table.add({std::to_string(record.fileId), std::to_string(record.streamId), record.name, record.port,
                   record.camera, std::to_string(record.width) + "x" + std::to_string(record.height),
                   std::to_string(record.numFrames), std::to_string(record.numDroppedFrames),
                   formatBytes(record.size), formatTimestamp(record.timestamp)});
    }
    table.print(out);
}

std::optional<FileRecord> findRecording(const std::vector<FileRecord>& records, uint32_t fileId, uint32_t streamId) {
    const auto found = std::find_if(records.begin(), records.end(), [&](const FileRecord& record) {
        return record.fileId == fileId && record.streamId == streamId;
    });
    return found == records.end() ? std::nullopt : std::optional<FileRecord>(*found);
}

std::vector<FileRecord> newRecordings(const std::vector<FileRecord>& before, const std::vector<FileRecord>& after) {
    std::vector<FileRecord> added;
    for (const FileRecord& record : after) {
        if (!findRecording(before, record.fileId, record.streamId)) {
            added.push_back(record);
        }
    }
    return added;
}

}  // namespace tavu::tavuctl
