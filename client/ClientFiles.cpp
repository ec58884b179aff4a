// The catalogue of recordings and playback.
#include "client/CallSupport.h"
#include "client/Client.h"

namespace tavu::client {

using detail::forDevice;
using detail::Params;
using detail::Reply;

namespace {

Params forRecording(uint32_t device, uint32_t fileId, uint32_t streamId) {
    Params params = forDevice(device);
    params.number("fileId", fileId).number("streamId", streamId);
    return params;
}

Params forOpenFile(uint32_t device, uint32_t openFileId) {
    Params params = forDevice(device);
    params.number("openFileId", openFileId);
    return params;
}

FileRecord fileRecordOf(const Reply& entry) {
    FileRecord record;
    record.name = entry.text("name");
    record.port = entry.text("port");
    record.camera = entry.text("camera");
    record.fileId = static_cast<uint32_t>(entry.number("fileId", UINT32_MAX));
    record.streamId = static_cast<uint32_t>(entry.number("streamId", UINT32_MAX));
    record.width = static_cast<uint16_t>(entry.number("width", UINT16_MAX));
    record.height = static_cast<uint16_t>(entry.number("height", UINT16_MAX));
    record.numFrames = entry.number("numFrames");
    record.numDroppedFrames = entry.number("numDroppedFrames");
    record.size = entry.number("size");
    record.timestamp = entry.number("timestamp");
    record.duration = entry.number("duration");
    record.startTime = entry.number("startTime");
    record.endTime = entry.number("endTime");
    return record;
}

}  // namespace

std::vector<FileRecord> Client::listFiles(uint32_t device) {
    const ObjectValue result = connection_.call(Command::ListFiles, forDevice(device).map());
    const Reply reply(Command::ListFiles, result);
    const ObjectValue& files = reply.list("files");
    std::vector<FileRecord> records;
    records.reserve(files.size());
    for (uint32_t i = 0; i < files.size(); ++i) {
        records.push_back(fileRecordOf(reply.nested(files.arrayAt(i))));
    }
    return records;
}

OpenedFile Client::openFile(uint32_t device, uint32_t fileId, uint32_t streamId) {
    const ObjectValue result = connection_.call(Command::OpenFile, forRecording(device, fileId, streamId).map());
    const Reply reply(Command::OpenFile, result);
    return OpenedFile{static_cast<uint32_t>(reply.number("openFileId", UINT32_MAX)), reply.text("mapping")};
}

OpenFileInfo Client::fileInfo(uint32_t device, uint32_t openFileId) {
    const ObjectValue result = connection_.call(Command::FileInfo, forOpenFile(device, openFileId).map());
    const Reply reply(Command::FileInfo, result);
    return OpenFileInfo{static_cast<uint16_t>(reply.number("width", UINT16_MAX)),
                        static_cast<uint16_t>(reply.number("height", UINT16_MAX)),
                        static_cast<uint32_t>(reply.number("imageSize", UINT32_MAX)), reply.number("numFrames"),
                        reply.number("size")};
}

void Client::closeFile(uint32_t device, uint32_t openFileId) {
    connection_.call(Command::CloseFile, forOpenFile(device, openFileId).map());
}

void Client::readFrame(uint32_t device, uint32_t openFileId, uint64_t frame) {
    Params params = forOpenFile(device, openFileId);
    params.number("frame", frame);
    connection_.call(Command::ReadFrame, params.map());
}

void Client::removeFile(uint32_t device, uint32_t fileId, uint32_t streamId) {
    connection_.call(Command::RemoveFile, forRecording(device, fileId, streamId).map());
}

std::vector<uint8_t> Client::fileIdentity(uint32_t device, uint32_t fileId, uint32_t streamId) {
    const ObjectValue result =
        connection_.call(Command::FileIdentity, forRecording(device, fileId, streamId).map());
    return Reply(Command::FileIdentity, result).bytes("data");
}

void Client::renameFile(uint32_t device, uint32_t fileId, uint32_t streamId, const std::string& name,
                        bool notify) {
    Params params = forRecording(device, fileId, streamId);
    params.text("name", name).flag("notify", notify);
    connection_.call(Command::RenameFile, params.map());
}

std::string Client::setFileInfo(uint32_t device, uint32_t fileId, uint32_t streamId,
                                const FileInfoUpdate& update) {
    Params params = forRecording(device, fileId, streamId);
    params.text("name", update.name)
        .number("width", update.width)
        .number("height", update.height)
        .number("numImages", update.numImages)
        .number("numDroppedFrames", update.numDroppedFrames)
        .number("startTime", update.startTime)
        .number("endTime", update.endTime)
        .number("duration", update.duration)
        .flag("notify", update.notify);
    const ObjectValue result = connection_.call(Command::SetFileInfo, params.map());
    return Reply(Command::SetFileInfo, result).text("name");
}

}  // namespace tavu::client
