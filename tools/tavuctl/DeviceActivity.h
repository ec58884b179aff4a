#pragma once
#include <cstdint>
#include <optional>
#include <string>

#include "client/Client.h"

// What a device is busy with, as far as a client can tell. The two device kinds answer the same
// questions differently: the emulated recorder keeps its running recording in the same file that
// a cut-off one is left in, and a recorder's "done" is true when nothing records.
namespace tavu::tavuctl {

bool isEmulator(client::Client& client, uint32_t device);

// A recording that runs (on a recorder also one that ended by itself and waits for its stop).
bool recordingRuns(client::Client& client, uint32_t device);

// A recording cut off by a lost service, waiting for 'tavuctl recover'.
bool cutOffRecordingWaits(client::Client& client, uint32_t device);

// "device 0 is recording (port 0 Emu: 52 frames, file 3)"
std::string runningRecordingText(client::Client& client, uint32_t device);

// What to do about a cut-off recording: recover it, or on the emulated recorder, which can't
// repair one, discard it.
std::string cutOffAdvice(client::Client& client, uint32_t device);

// "tavuctl: note: device 0 has a cut-off recording waiting; ..." on standard error.
void noteCutOffRecording(client::Client& client, uint32_t device);

// Holds the service's advisory lock among clients while it lives, so that a check and the
// action that depends on it are not split by another tavuctl.
class GlobalLock {
public:
    explicit GlobalLock(client::Client& client);
    ~GlobalLock();
    GlobalLock(const GlobalLock&) = delete;
    GlobalLock& operator=(const GlobalLock&) = delete;

private:
    client::Client& client_;
};

}  // namespace tavu::tavuctl
