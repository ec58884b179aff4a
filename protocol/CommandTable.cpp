#include <array>

#include "protocol/Commands.h"

namespace tavu {

namespace {

// Indexed by ordinal; the size check below stops the build when an ordinal goes without a handler.
constexpr auto Commands = std::to_array<CommandHandler>({
    commands::createEventQueue,       // 0
    commands::destroyEventQueue,      // 1
    commands::readEvent,              // 2
    commands::tryReadEvent,           // 3
    commands::deviceCount,            // 4
    commands::deviceName,             // 5
    commands::deviceConnected,        // 6
    commands::hasIncompleteFile,      // 7
    commands::discardIncompleteFile,  // 8
    commands::startRecovery,          // 9
    commands::cancelRecovery,         // 10
    commands::recoveryStatus,         // 11
    commands::recoveryError,          // 12
    commands::finishRecovery,         // 13
    commands::serialOpen,             // 14
    commands::serialGetBaudRate,      // 15
    commands::serialSetBaudRate,      // 16
    commands::serialRead,             // 17
    commands::serialWrite,            // 18
    commands::serialClear,            // 19
    commands::serialClose,            // 20
    commands::registerRead,           // 21
    commands::registerWrite,          // 22
    commands::isCxp,                  // 23
    commands::portCount,              // 24
    commands::portName,               // 25
    commands::listFiles,              // 26
    commands::openFile,               // 27
    commands::fileInfo,               // 28
    commands::closeFile,              // 29
    commands::readFrame,              // 30
    commands::removeFile,             // 31
    commands::fileIdentity,           // 32
    commands::setup,                  // 33
    commands::pairPort,               // 34
    commands::pairedTo,               // 35
    commands::repairPort,             // 36
    commands::unpairPort,             // 37
    commands::portIdentity,           // 38
    commands::framesPerPacket,        // 39
    commands::getPortConfig,          // 40
    commands::setPortConfig,          // 41
    commands::startRecording,         // 42
    commands::stopRecording,          // 43
    commands::softwareTrigger,        // 44
    commands::isRecordingDone,        // 45
    commands::recordingFile,          // 46
    commands::recordingProgress,      // 47
    commands::renameFile,             // 48
    commands::setFileInfo,            // 49
    commands::notifyFilesChanged,     // 50
    commands::percentUsed,            // 51
    commands::startLive,              // 52
    commands::stopLive,               // 53
    commands::liveFrame,              // 54
    commands::lockGlobal,             // 55
    commands::unlockGlobal,           // 56
    commands::hardwareType,           // 57
});
static_assert(Commands.size() == CommandCount);

}  // namespace

CommandHandler commandFor(uint32_t ordinal) { return Commands[ordinal]; }

}  // namespace tavu
