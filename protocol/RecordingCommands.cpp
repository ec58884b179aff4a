#include "protocol/Commands.h"
#include "registry/DeviceManager.h"

// The request loop keeps no state of recordings or recoveries: any order rules are the
// device's, and a recording runs on when the client that started it has gone.
namespace tavu::commands {

void hasIncompleteFile(CommandContext& context) {
    const uint32_t device = context.deviceId();
    context.reply("hasIncompleteFile", context.manager.hasIncompleteFile(device));
}

void discardIncompleteFile(CommandContext& context) {
    const uint32_t device = context.deviceId();
    context.manager.discardIncompleteFile(device);
    context.reply();
}

void startRecovery(CommandContext& context) {
    const uint32_t device = context.deviceId();
    context.manager.startRecovery(device);
    context.reply();
}

void cancelRecovery(CommandContext& context) {
    const uint32_t device = context.deviceId();
    context.manager.cancelRecovery(device);
    context.reply();
}

void recoveryStatus(CommandContext& context) {
    const uint32_t device = context.deviceId();
    context.reply("status", context.manager.recoveryStatus(device));
}

// The one success whose "result" holds a key called "error".
void recoveryError(CommandContext& context) {
    const uint32_t device = context.deviceId();
    context.reply("error", context.manager.recoveryError(device));
}

void finishRecovery(CommandContext& context) {
    const uint32_t device = context.deviceId();
    context.manager.finishRecovery(device);
    context.reply();
}

void startRecording(CommandContext& context) {
    const uint32_t device = context.deviceId();
    const uint32_t portMask = context.u32("portMask");
    const uint8_t externalTrigger = context.u8("externalTrigger");
    const uint8_t type = context.u8("type");
    const uint64_t count = context.u64("count");
    const bool usePretrigger = context.boolean("usePretrigger");
    const uint64_t pretriggerCount = context.u64("pretriggerCount");
    context.manager.startRecording(device, portMask, externalTrigger, type, count, usePretrigger, pretriggerCount);
    context.reply();
}

void stopRecording(CommandContext& context) {
    const uint32_t device = context.deviceId();
    context.manager.stopRecording(device);
    context.reply();
}

void softwareTrigger(CommandContext& context) {
    const uint32_t device = context.deviceId();
    context.manager.softwareTrigger(device);
    context.reply();
}

void isRecordingDone(CommandContext& context) {
    const uint32_t device = context.deviceId();
    context.reply("done", context.manager.isRecordingDone(device));
}

void recordingFile(CommandContext& context) {
    const uint32_t device = context.deviceId();
    const uint8_t port = context.port();
    uint32_t fileId = 0;
    uint32_t streamId = 0;
    context.manager.recordingFile(device, port, fileId, streamId);
    context.reply("fileId", fileId, "streamId", streamId);
}

void recordingProgress(CommandContext& context) {
    const uint32_t device = context.deviceId();
    const uint8_t port = context.port();
    uint64_t numFrames = 0;
    bool inPretrigger = false;
    context.manager.recordingProgress(device, port, numFrames, inPretrigger);
    context.reply("numFrames", numFrames, "inPretrigger", inPretrigger);
}

}  // namespace tavu::commands
