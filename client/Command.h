#pragma once
#include <cstdint>

namespace tavu::client {

// The service's commands by their wire number.
enum class Command : uint32_t {
    CreateEventQueue = 0,
    DestroyEventQueue = 1,
    ReadEvent = 2,
    TryReadEvent = 3,
    DeviceCount = 4,
    DeviceName = 5,
    DeviceConnected = 6,
    HasIncompleteFile = 7,
    DiscardIncompleteFile = 8,
    StartRecovery = 9,
    CancelRecovery = 10,
    RecoveryStatus = 11,
    RecoveryError = 12,
    FinishRecovery = 13,
    SerialOpen = 14,
    SerialGetBaudRate = 15,
    SerialSetBaudRate = 16,
    SerialRead = 17,
    SerialWrite = 18,
    SerialClear = 19,
    SerialClose = 20,
    RegisterRead = 21,
    RegisterWrite = 22,
    IsCxp = 23,
    PortCount = 24,
    PortName = 25,
    ListFiles = 26,
    OpenFile = 27,
    FileInfo = 28,
    CloseFile = 29,
    ReadFrame = 30,
    RemoveFile = 31,
    FileIdentity = 32,
    Setup = 33,
    PairPort = 34,
    PairedTo = 35,
    RepairPort = 36,
    UnpairPort = 37,
    PortIdentity = 38,
    FramesPerPacket = 39,
    GetPortConfig = 40,
    SetPortConfig = 41,
    StartRecording = 42,
    StopRecording = 43,
    SoftwareTrigger = 44,
    IsRecordingDone = 45,
    RecordingFile = 46,
    RecordingProgress = 47,
    RenameFile = 48,
    SetFileInfo = 49,
    NotifyFilesChanged = 50,
    PercentUsed = 51,
    StartLive = 52,
    StopLive = 53,
    LiveFrame = 54,
    LockGlobal = 55,
    UnlockGlobal = 56,
    HardwareType = 57,
};

inline constexpr uint32_t CommandCount = 58;

// The command's name as people read it in messages, e.g. "startRecording".
const char* commandName(Command command);

}  // namespace tavu::client
