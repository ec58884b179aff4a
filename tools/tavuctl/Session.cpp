#include "tools/tavuctl/Session.h"

#include <unistd.h>

#include <iostream>

#include "tools/tavuctl/Failure.h"

namespace tavu::tavuctl {

namespace {

std::string plural(uint64_t count, const std::string& word) {
    return std::to_string(count) + " " + word + (count == 1 ? "" : "s");
}

// "(0)", "(0-3)"
std::string indexRange(uint64_t count) {
    return count == 1 ? "(0)" : "(0-" + std::to_string(count - 1) + ")";
}

}  // namespace

client::Client& Session::client() {
    if (!client_) {
        client::ConnectOptions connect;
        connect.startService = !options.noStart;
        client_.emplace(connect);
    }
    return *client_;
}

void Session::requireDevice(uint32_t device) {
    const uint32_t count = client().deviceCount();
    if (count == 0) {
        throw Failure(exitcode::Usage,
                      "there is no device " + std::to_string(device) +
                          ": the service has no devices. Connect a recorder, or start the service with "
                          "TAVUSRV_ENABLE_EMULATOR=1 for an emulated one");
    }
    if (device >= count) {
        throw Failure(exitcode::Usage, "there is no device " + std::to_string(device) + ": the service has " +
                                           plural(count, "device") + " " + indexRange(count) +
                                           "; 'tavuctl devices' lists them");
    }
}

void Session::requirePort(uint32_t device, unsigned port) {
    requireDevice(device);
    const uint8_t count = client().portCount(device);
    if (count == 0) {
        throw Failure(exitcode::Usage, "device " + std::to_string(device) + " has no ports at the moment (is it connected?)");
    }
    if (port >= count) {
        throw Failure(exitcode::Usage, "there is no port " + std::to_string(port) + " on device " +
                                           std::to_string(device) + ": it has " + plural(count, "port") + " " +
                                           indexRange(count) + "; 'tavuctl ports " + std::to_string(device) +
                                           "' lists them");
    }
}

FileRecord Session::requireRecording(uint32_t device, uint32_t fileId, uint32_t streamId) {
    requireDevice(device);
    const std::string dev = std::to_string(device);
    for (const FileRecord& record : client().listFiles(device)) {
        if (record.fileId == fileId && record.streamId == streamId) {
            return record;
        }
    }
    throw Failure(exitcode::Usage, "there is no recording " + std::to_string(fileId) + "/" + std::to_string(streamId) +
                                       " of device " + dev + "; 'tavuctl files " + dev + "' lists the recordings");
}

std::string Session::portLabel(uint32_t device, uint8_t port) {
    std::string name;
    try {
        name = " (" + client().portName(device, port) + ")";
    } catch (const client::ServiceError&) {
        // The number alone still says which port.
    }
    return "port " + std::to_string(port) + name + " of device " + std::to_string(device);
}

void Session::emit(const Json& value) const { std::cout << value.dump(2) << std::endl; }

// Standard output carries results alone, so that a pipe or a file gets clean data.
std::ostream& Session::progressOut() const { return std::cerr; }

int Session::progressFd() const { return STDERR_FILENO; }

}  // namespace tavu::tavuctl
