// The catalogue of recordings and playback.
#include "client/CallSupport.h"
#include "client/Client.h"

#include <concepts>
#include <limits>

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

void readField(const Reply& entry, const char* key, std::string& value) { value = entry.text(key); }

// A number beyond the field's width is refused, not cut.
template <std::unsigned_integral Number>
void readField(const Reply& entry, const char* key, Number& value) {
    value = static_cast<Number>(entry.number(key, std::numeric_limits<Number>::max()));
}

FileRecord fileRecordOf(const Reply& entry) {
    FileRecord record;
#define TAVU_READ_FILE_FIELD(field) readField(entry, #field, record.field);
    TAVU_FILE_ENTRY_FIELDS(TAVU_READ_FILE_FIELD)
#undef TAVU_READ_FILE_FIELD
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
