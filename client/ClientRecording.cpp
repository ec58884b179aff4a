// Recording, recovery of a cut-off recording, and live view.
#include "client/CallSupport.h"
#include "client/Client.h"

namespace tavu::client {

using detail::forDevice;
using detail::forPort;
using detail::Params;
using detail::Reply;

void Client::startRecording(uint32_t device, const RecordingRequest& request) {
    Params params = forDevice(device);
    params.number("portMask", request.portMask)
        .number("externalTrigger", request.externalTrigger)
        .number("type", static_cast<uint8_t>(request.type))
        .number("count", request.count)
        .flag("usePretrigger", request.usePretrigger)
        .number("pretriggerCount", request.pretriggerCount);
    connection_.call(Command::StartRecording, params.map());
}

void Client::stopRecording(uint32_t device) { connection_.call(Command::StopRecording, forDevice(device).map()); }

void Client::softwareTrigger(uint32_t device) {
    connection_.call(Command::SoftwareTrigger, forDevice(device).map());
}

bool Client::isRecordingDone(uint32_t device) {
    const ObjectValue result = connection_.call(Command::IsRecordingDone, forDevice(device).map());
    return Reply(Command::IsRecordingDone, result).flag("done");
}

RecordingFile Client::recordingFile(uint32_t device, uint8_t port) {
    const ObjectValue result = connection_.call(Command::RecordingFile, forPort(device, port).map());
    const Reply reply(Command::RecordingFile, result);
    return RecordingFile{static_cast<uint32_t>(reply.number("fileId", UINT32_MAX)),
                         static_cast<uint32_t>(reply.number("streamId", UINT32_MAX))};
}

RecordingProgress Client::recordingProgress(uint32_t device, uint8_t port) {
    const ObjectValue result = connection_.call(Command::RecordingProgress, forPort(device, port).map());
    const Reply reply(Command::RecordingProgress, result);
    return RecordingProgress{reply.number("numFrames"), reply.flag("inPretrigger")};
}

bool Client::hasIncompleteFile(uint32_t device) {
    const ObjectValue result = connection_.call(Command::HasIncompleteFile, forDevice(device).map());
    return Reply(Command::HasIncompleteFile, result).flag("hasIncompleteFile");
}

void Client::discardIncompleteFile(uint32_t device) {
    connection_.call(Command::DiscardIncompleteFile, forDevice(device).map());
}

void Client::startRecovery(uint32_t device) { connection_.call(Command::StartRecovery, forDevice(device).map()); }

void Client::cancelRecovery(uint32_t device) { connection_.call(Command::CancelRecovery, forDevice(device).map()); }

RecoveryStatus Client::recoveryStatus(uint32_t device) {
    const ObjectValue result = connection_.call(Command::RecoveryStatus, forDevice(device).map());
    return static_cast<RecoveryStatus>(Reply(Command::RecoveryStatus, result).number("status", UINT32_MAX));
}

std::string Client::recoveryError(uint32_t device) {
    const ObjectValue result = connection_.call(Command::RecoveryError, forDevice(device).map());
    return Reply(Command::RecoveryError, result).text("error");
}

void Client::finishRecovery(uint32_t device) { connection_.call(Command::FinishRecovery, forDevice(device).map()); }

std::string Client::startLive(uint32_t device, uint8_t port) {
    const ObjectValue result = connection_.call(Command::StartLive, forPort(device, port).map());
    return Reply(Command::StartLive, result).text("mapping");
}

void Client::stopLive(uint32_t device, uint8_t port) { connection_.call(Command::StopLive, forPort(device, port).map()); }

FrameGeometry Client::liveFrame(uint32_t device, uint8_t port) {
    const ObjectValue result = connection_.call(Command::LiveFrame, forPort(device, port).map());
    const Reply reply(Command::LiveFrame, result);
    return FrameGeometry{static_cast<uint16_t>(reply.number("width", UINT16_MAX)),
                         static_cast<uint16_t>(reply.number("height", UINT16_MAX)),
                         static_cast<uint32_t>(reply.number("imageSize", UINT32_MAX))};
}

}  // namespace tavu::client
