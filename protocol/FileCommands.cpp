#include <algorithm>
#include <stdexcept>
#include <string>
#include <vector>

#include "protocol/ClientHoldings.h"
#include "protocol/Commands.h"
#include "registry/DeviceManager.h"

namespace tavu::commands {

namespace {

void writeFileEntry(MessageWriter& writer, const FileRecord& file) {
    writer.writeMapHeader(FileEntryFieldCount);
#define TAVU_WRITE_FILE_FIELD(field) writePairs(writer, #field, file.field);
    TAVU_FILE_ENTRY_FIELDS(TAVU_WRITE_FILE_FIELD)
#undef TAVU_WRITE_FILE_FIELD
}

// A playback belongs to the connection that opened it: another can't touch it even if it
// knows the number, and the device isn't asked.
void requireOpenedHere(const CommandContext& context, const OpenFileRef& file) {
    const auto& openFiles = context.holdings.openFiles;
    if (std::find(openFiles.begin(), openFiles.end(), file) == openFiles.end()) {
        throw std::runtime_error("File not opened by this connection.");
    }
}

}  // namespace

void listFiles(CommandContext& context) {
    const uint32_t device = context.deviceId();
    const std::vector<FileRecord> files = context.manager.deviceAt(device).listFiles();
    sendResult(context.writer, 1);
    context.writer.writeString("files");
    context.writer.writeArrayHeader(static_cast<uint32_t>(files.size()));
    for (const FileRecord& file : files) {
        writeFileEntry(context.writer, file);
    }
}

void openFile(CommandContext& context) {
    const uint32_t device = context.deviceId();
    const uint32_t fileId = context.u32("fileId");
    const uint32_t streamId = context.u32("streamId");
    const OpenedFile opened = context.manager.deviceAt(device).openFile(fileId, streamId);
    context.holdings.openFiles.push_back({opened.openFileId, device});
    context.reply("openFileId", opened.openFileId, "mapping", opened.mapping);
}

void fileInfo(CommandContext& context) {
    const uint32_t device = context.deviceId();
    const uint32_t openFileId = context.u32("openFileId");
    requireOpenedHere(context, {openFileId, device});
    const OpenFileInfo info = context.manager.deviceAt(device).fileInfo(openFileId);
    context.reply("width", info.width, "height", info.height, "imageSize", info.imageSize, "numFrames", info.numFrames,
                  "size", info.size);
}

// The entry stays when the device fails, so that the clean-up at disconnect tries again.
void closeFile(CommandContext& context) {
    const uint32_t device = context.deviceId();
    const uint32_t openFileId = context.u32("openFileId");
    const OpenFileRef file{openFileId, device};
    requireOpenedHere(context, file);
    context.manager.deviceAt(device).closeFile(openFileId);
    std::erase(context.holdings.openFiles, file);
    context.reply();
}

void readFrame(CommandContext& context) {
    const uint32_t device = context.deviceId();
    const uint32_t openFileId = context.u32("openFileId");
    const uint64_t frame = context.u64("frame");
    requireOpenedHere(context, {openFileId, device});
    context.manager.deviceAt(device).readFrame(openFileId, frame);
    context.reply();
}

void removeFile(CommandContext& context) {
    const uint32_t device = context.deviceId();
    const uint32_t fileId = context.u32("fileId");
    const uint32_t streamId = context.u32("streamId");
    context.manager.deviceAt(device).removeFile(fileId, streamId);
    context.manager.notifyFilesChanged(device);
    context.reply();
}

void fileIdentity(CommandContext& context) {
    const uint32_t device = context.deviceId();
    const uint32_t fileId = context.u32("fileId");
    const uint32_t streamId = context.u32("streamId");
    context.reply("data", context.manager.deviceAt(device).fileIdentity(fileId, streamId));
}

void renameFile(CommandContext& context) {
    const uint32_t device = context.deviceId();
    const uint32_t fileId = context.u32("fileId");
    const uint32_t streamId = context.u32("streamId");
    const std::string name = context.text("name");
    const bool notify = context.boolean("notify");
    context.manager.deviceAt(device).renameFile(fileId, streamId, name);
    if (notify) {
        context.manager.notifyFilesChanged(device);
    }
    context.reply();
}

// The frame count is "numImages" here although file entries call it "numFrames"; clients
// depend on both names.
void setFileInfo(CommandContext& context) {
    const uint32_t device = context.deviceId();
    const uint32_t fileId = context.u32("fileId");
    const uint32_t streamId = context.u32("streamId");
    FileInfoUpdate update;
    update.name = context.text("name");
    update.width = context.u16("width");
    update.height = context.u16("height");
    update.numImages = context.u64("numImages");
    update.numDroppedFrames = context.u64("numDroppedFrames");
    update.startTime = context.optionalU64("startTime");
    update.endTime = context.optionalU64("endTime");
    update.duration = context.u64("duration");
    update.notify = context.boolean("notify");
    const std::string usedName = context.manager.deviceAt(device).setFileInfo(fileId, streamId, update);
    if (update.notify) {
        context.manager.notifyFilesChanged(device);
    }
    context.reply("name", usedName);
}

}  // namespace tavu::commands
