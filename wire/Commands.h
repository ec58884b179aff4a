#pragma once
#include <array>
#include <cstdint>

// Every command of the protocol, one row each, in wire order: its number, its name (that of its
// handler and of the client's messages) and the client's enumerator. The service's handler table,
// the client's ordinals and names, and the tests all come from this list.
// clang-format off
#define TAVU_COMMANDS(X)                                \
    X(0, createEventQueue, CreateEventQueue)            \
    X(1, destroyEventQueue, DestroyEventQueue)          \
    X(2, readEvent, ReadEvent)                          \
    X(3, tryReadEvent, TryReadEvent)                    \
    X(4, deviceCount, DeviceCount)                      \
    X(5, deviceName, DeviceName)                        \
    X(6, deviceConnected, DeviceConnected)              \
    X(7, hasIncompleteFile, HasIncompleteFile)          \
    X(8, discardIncompleteFile, DiscardIncompleteFile)  \
    X(9, startRecovery, StartRecovery)                  \
    X(10, cancelRecovery, CancelRecovery)               \
    X(11, recoveryStatus, RecoveryStatus)               \
    X(12, recoveryError, RecoveryError)                 \
    X(13, finishRecovery, FinishRecovery)               \
    X(14, serialOpen, SerialOpen)                       \
    X(15, serialGetBaudRate, SerialGetBaudRate)         \
    X(16, serialSetBaudRate, SerialSetBaudRate)         \
    X(17, serialRead, SerialRead)                       \
    X(18, serialWrite, SerialWrite)                     \
    X(19, serialClear, SerialClear)                     \
    X(20, serialClose, SerialClose)                     \
    X(21, registerRead, RegisterRead)                   \
    X(22, registerWrite, RegisterWrite)                 \
    X(23, isCxp, IsCxp)                                 \
    X(24, portCount, PortCount)                         \
    X(25, portName, PortName)                           \
    X(26, listFiles, ListFiles)                         \
    X(27, openFile, OpenFile)                           \
    X(28, fileInfo, FileInfo)                           \
    X(29, closeFile, CloseFile)                         \
    X(30, readFrame, ReadFrame)                         \
    X(31, removeFile, RemoveFile)                       \
    X(32, fileIdentity, FileIdentity)                   \
    X(33, setup, Setup)                                 \
    X(34, pairPort, PairPort)                           \
    X(35, pairedTo, PairedTo)                           \
    X(36, repairPort, RepairPort)                       \
    X(37, unpairPort, UnpairPort)                       \
    X(38, portIdentity, PortIdentity)                   \
    X(39, framesPerPacket, FramesPerPacket)             \
    X(40, getPortConfig, GetPortConfig)                 \
    X(41, setPortConfig, SetPortConfig)                 \
    X(42, startRecording, StartRecording)               \
    X(43, stopRecording, StopRecording)                 \
    X(44, softwareTrigger, SoftwareTrigger)             \
    X(45, isRecordingDone, IsRecordingDone)             \
    X(46, recordingFile, RecordingFile)                 \
    X(47, recordingProgress, RecordingProgress)         \
    X(48, renameFile, RenameFile)                       \
    X(49, setFileInfo, SetFileInfo)                     \
    X(50, notifyFilesChanged, NotifyFilesChanged)       \
    X(51, percentUsed, PercentUsed)                     \
    X(52, startLive, StartLive)                         \
    X(53, stopLive, StopLive)                           \
    X(54, liveFrame, LiveFrame)                         \
    X(55, lockGlobal, LockGlobal)                       \
    X(56, unlockGlobal, UnlockGlobal)                   \
    X(57, hardwareType, HardwareType)
// clang-format on

namespace tavu {

enum class Command : uint32_t {
#define TAVU_COMMAND_ENUMERATOR(ordinal, name, Name) Name = ordinal,
    TAVU_COMMANDS(TAVU_COMMAND_ENUMERATOR)
#undef TAVU_COMMAND_ENUMERATOR
};

inline constexpr auto CommandNames = std::to_array<const char*>({
#define TAVU_COMMAND_NAME(ordinal, name, Name) #name,
    TAVU_COMMANDS(TAVU_COMMAND_NAME)
#undef TAVU_COMMAND_NAME
});

inline constexpr uint32_t CommandCount = CommandNames.size();

// Rows stand in wire order with no gap, so a wire number indexes every table built from the list.
consteval bool commandsAreInWireOrder() {
    uint32_t next = 0;
    bool ordered = true;
#define TAVU_COMMAND_ORDER(ordinal, name, Name) ordered = ordered && (ordinal) == next++;
    TAVU_COMMANDS(TAVU_COMMAND_ORDER)
#undef TAVU_COMMAND_ORDER
    return ordered;
}
static_assert(commandsAreInWireOrder());

// The command's name as people read it in messages, e.g. "startRecording".
constexpr const char* commandName(Command command) {
    const auto index = static_cast<uint32_t>(command);
    return index < CommandCount ? CommandNames[index] : "unknown command";
}

}  // namespace tavu
