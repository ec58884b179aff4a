#include "protocol/Commands.h"
#include "registry/DeviceManager.h"

// The request loop keeps no state of recordings or recoveries: any order rules are the
// device's, and a recording runs on when the client that started it has gone.
namespace tavu::commands {

void hasIncompleteFile(CommandContext& context) {
    const uint32_t device = context.deviceId();
    context.reply("hasIncompleteFile", context.manager.deviceAt(device).hasIncompleteFile());
}

void discardIncompleteFile(CommandContext& context) {
    const uint32_t device = context.deviceId();
    context.manager.deviceAt(device).discardIncompleteFile();
    context.reply();
}

void startRecovery(CommandContext& context) {
    const uint32_t device = context.deviceId();
    context.manager.deviceAt(device).startRecovery();
    context.reply();
}

void cancelRecovery(CommandContext& context) {
    const uint32_t device = context.deviceId();
    context.manager.deviceAt(device).cancelRecovery();
    context.reply();
}

void recoveryStatus(CommandContext& context) {
    const uint32_t device = context.deviceId();
    context.reply("status", static_cast<uint32_t>(context.manager.deviceAt(device).recoveryStatus()));
}

// The one success whose "result" holds a key called "error".
void recoveryError(CommandContext& context) {
    const uint32_t device = context.deviceId();
    context.reply("error", context.manager.deviceAt(device).recoveryError());
}

void finishRecovery(CommandContext& context) {
    const uint32_t device = context.deviceId();
    context.manager.deviceAt(device).finishRecovery();
    context.reply();
}

void startRecording(CommandContext& context) {
    const uint32_t device = context.deviceId();
    RecordingRequest request;
    request.portMask = context.u32("portMask");
    request.externalTrigger = context.u8("externalTrigger");
    request.type = StopCondition{context.u8("type")};
    request.count = context.u64("count");
    request.usePretrigger = context.boolean("usePretrigger");
    request.pretriggerCount = context.u64("pretriggerCount");
    context.manager.deviceAt(device).startRecording(request);
    // The port field carries the mask of the recording, not a port number.
    context.manager.broadcast(DeviceEvent{DeviceEvent::RecordingStarted, device, request.portMask});
    context.reply();
}

void stopRecording(CommandContext& context) {
    const uint32_t device = context.deviceId();
    context.manager.deviceAt(device).stopRecording();
    context.manager.broadcast(DeviceEvent{DeviceEvent::RecordingStopped, device, 0});
    context.reply();
}

void softwareTrigger(CommandContext& context) {
    const uint32_t device = context.deviceId();
    context.manager.deviceAt(device).softwareTrigger();
    context.reply();
}

void isRecordingDone(CommandContext& context) {
    const uint32_t device = context.deviceId();
    context.reply("done", context.manager.deviceAt(device).isRecordingDone());
}

void recordingFile(CommandContext& context) {
    const uint32_t device = context.deviceId();
    const uint8_t port = context.port();
    const RecordingFile file = context.manager.deviceAt(device).recordingFile(port);
    context.reply("fileId", file.fileId, "streamId", file.streamId);
}

void recordingProgress(CommandContext& context) {
    const uint32_t device = context.deviceId();
    const uint8_t port = context.port();
    const RecordingProgress progress = context.manager.deviceAt(device).recordingProgress(port);
    context.reply("numFrames", progress.numFrames, "inPretrigger", progress.inPretrigger);
}

}  // namespace tavu::commands
