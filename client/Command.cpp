#include "client/Command.h"

#include <array>

namespace tavu::client {

namespace {

constexpr auto Names = std::to_array<const char*>({
    "createEventQueue", "destroyEventQueue", "readEvent", "tryReadEvent", "deviceCount",
    "deviceName", "deviceConnected", "hasIncompleteFile", "discardIncompleteFile", "startRecovery",
    "cancelRecovery", "recoveryStatus", "recoveryError", "finishRecovery", "serialOpen",
    "serialGetBaudRate", "serialSetBaudRate", "serialRead", "serialWrite", "serialClear",
    "serialClose", "registerRead", "registerWrite", "isCxp", "portCount",
    "portName", "listFiles", "openFile", "fileInfo", "closeFile",
    "readFrame", "removeFile", "fileIdentity", "setup", "pairPort",
    "pairedTo", "repairPort", "unpairPort", "portIdentity", "framesPerPacket",
    "getPortConfig", "setPortConfig", "startRecording", "stopRecording", "softwareTrigger",
    "isRecordingDone", "recordingFile", "recordingProgress", "renameFile", "setFileInfo",
    "notifyFilesChanged", "percentUsed", "startLive", "stopLive", "liveFrame",
    "lockGlobal", "unlockGlobal", "hardwareType",
});
static_assert(Names.size() == CommandCount);

}  // namespace

const char* commandName(Command command) {
    const auto index = static_cast<uint32_t>(command);
    return index < Names.size() ? Names[index] : "unknown command";
}

}  // namespace tavu::client
