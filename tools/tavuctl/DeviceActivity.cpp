#include "tools/tavuctl/DeviceActivity.h"

#include <iostream>

#include "client/ClientErrors.h"

namespace tavu::tavuctl {

namespace {

// The emulator's recording file id before it recorded anything in this service's life.
constexpr uint32_t NoFileYet = 0xFFFFFFFF;

// A disconnected or busy device refuses these questions; it then counts as doing nothing.
template <typename Query>
bool askOrFalse(Query&& query) {
    try {
        return query();
    } catch (const client::ServiceError&) {
        return false;
    }
}

}  // namespace

bool isEmulator(client::Client& client, uint32_t device) {
    return askOrFalse([&] { return client.hardwareType(device) == HardwareType::Emulator; });
}

// The emulator writes a running recording to the file that a cut-off one is left in. That file
// is a cut-off recording when this service never recorded, or when the recording ended and its
// stop failed (a recording that ended by itself looks the same for the moment until its stop).
bool emulatorFileIsCutOff(client::Client& client, uint32_t device) {
    return client.recordingFile(device, 0).fileId == NoFileYet || client.isRecordingDone(device);
}

bool recordingRuns(client::Client& client, uint32_t device) {
    return askOrFalse([&] {
        if (isEmulator(client, device)) {
            return client.hasIncompleteFile(device) && !emulatorFileIsCutOff(client, device);
        }
        return !client.isRecordingDone(device);
    });
}

bool cutOffRecordingWaits(client::Client& client, uint32_t device) {
    return askOrFalse([&] {
        if (!client.hasIncompleteFile(device)) {
            return false;
        }
        return !isEmulator(client, device) || emulatorFileIsCutOff(client, device);
    });
}

std::string runningRecordingText(client::Client& client, uint32_t device) {
    std::string ports;
    try {
        const uint8_t count = client.portCount(device);
        for (uint8_t port = 0; port < count; ++port) {
            const RecordingProgress progress = client.recordingProgress(device, port);
            if (progress.numFrames == 0 && !progress.inPretrigger) {
                continue;
            }
            ports += (ports.empty() ? "" : ", ") + std::string("port ") + std::to_string(port) + " " +
                     client.portName(device, port) + ": " + std::to_string(progress.numFrames) + " frames" +
                     (progress.inPretrigger ? " in the pre-trigger loop" : "");
        }
        if (isEmulator(client, device)) {
            ports += ", file " + std::to_string(client.recordingFile(device, 0).fileId);
        }
    } catch (const client::ServiceError&) {
        // The device said less than hoped; its number still names the recording.
    }
    return "device " + std::to_string(device) + " is recording" + (ports.empty() ? "" : " (" + ports + ")");
}

std::string cutOffAdvice(client::Client& client, uint32_t device) {
    const std::string dev = std::to_string(device);
    if (isEmulator(client, device)) {
        return "the emulated recorder cannot repair it; 'tavuctl recover " + dev + " --discard' throws it away";
    }
    return "'tavuctl recover " + dev + "' salvages it, 'tavuctl recover " + dev + " --discard' throws it away";
}

void noteCutOffRecording(client::Client& client, uint32_t device) {
    std::cerr << "tavuctl: note: device " << device << " has a cut-off recording waiting; "
              << cutOffAdvice(client, device) << "\n";
}

GlobalLock::GlobalLock(client::Client& client) : client_(client) { client_.lockGlobal(); }

GlobalLock::~GlobalLock() {
    try {
        client_.unlockGlobal();
    } catch (const client::ClientError&) {
        // The service gives the lock back when the connection ends.
    }
}

}  // namespace tavu::tavuctl
