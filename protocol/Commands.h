#pragma once
#include "protocol/CommandContext.h"

// One handler per ordinal. Each reads its parameters in order, makes its device calls, and
// only then writes its reply, so that a failure never follows a partly written reply.
namespace tavu::commands {

// Event queues and notifications.
void createEventQueue(CommandContext& context);    // 0
void destroyEventQueue(CommandContext& context);   // 1
void readEvent(CommandContext& context);           // 2
void tryReadEvent(CommandContext& context);        // 3
void notifyFilesChanged(CommandContext& context);  // 50

// Device enquiries and the global lock.
void deviceCount(CommandContext& context);      // 4
void deviceName(CommandContext& context);       // 5
void deviceConnected(CommandContext& context);  // 6
void isCxp(CommandContext& context);            // 23
void portCount(CommandContext& context);        // 24
void portName(CommandContext& context);         // 25
void percentUsed(CommandContext& context);      // 51
void lockGlobal(CommandContext& context);       // 55
void unlockGlobal(CommandContext& context);     // 56
void hardwareType(CommandContext& context);     // 57

// Recovery of an incomplete recording.
void hasIncompleteFile(CommandContext& context);      // 7
void discardIncompleteFile(CommandContext& context);  // 8
void startRecovery(CommandContext& context);          // 9
void cancelRecovery(CommandContext& context);         // 10
void recoveryStatus(CommandContext& context);         // 11
void recoveryError(CommandContext& context);          // 12
void finishRecovery(CommandContext& context);         // 13

// Serial and register passthrough.
void serialOpen(CommandContext& context);         // 14
void serialGetBaudRate(CommandContext& context);  // 15
void serialSetBaudRate(CommandContext& context);  // 16
void serialRead(CommandContext& context);         // 17
void serialWrite(CommandContext& context);        // 18
void serialClear(CommandContext& context);        // 19
void serialClose(CommandContext& context);        // 20
void registerRead(CommandContext& context);       // 21
void registerWrite(CommandContext& context);      // 22

// Files and playback.
void listFiles(CommandContext& context);     // 26
void openFile(CommandContext& context);      // 27
void fileInfo(CommandContext& context);      // 28
void closeFile(CommandContext& context);     // 29
void readFrame(CommandContext& context);     // 30
void removeFile(CommandContext& context);    // 31
void fileIdentity(CommandContext& context);  // 32
void renameFile(CommandContext& context);    // 48
void setFileInfo(CommandContext& context);   // 49

// Pairing and port configuration.
void setup(CommandContext& context);            // 33
void pairPort(CommandContext& context);         // 34
void pairedTo(CommandContext& context);         // 35
void repairPort(CommandContext& context);       // 36
void unpairPort(CommandContext& context);       // 37
void portIdentity(CommandContext& context);     // 38
void framesPerPacket(CommandContext& context);  // 39
void getPortConfig(CommandContext& context);    // 40
void setPortConfig(CommandContext& context);    // 41

// Recording.
void startRecording(CommandContext& context);     // 42
void stopRecording(CommandContext& context);      // 43
void softwareTrigger(CommandContext& context);    // 44
void isRecordingDone(CommandContext& context);    // 45
void recordingFile(CommandContext& context);      // 46
void recordingProgress(CommandContext& context);  // 47

// Live view.
void startLive(CommandContext& context);  // 52
void stopLive(CommandContext& context);   // 53
void liveFrame(CommandContext& context);  // 54

}  // namespace tavu::commands
