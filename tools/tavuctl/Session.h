#pragma once
#include <cstdint>
#include <iosfwd>
#include <optional>
#include <string>

#include "client/Client.h"
#include "tools/tavuctl/Json.h"

namespace tavu::tavuctl {

struct GlobalOptions {
    bool json = false;
    bool noStart = false;
    bool quiet = false;
};

// What every subcommand shares: the global options, the connection (made on first use, so
// that --help never starts the service) and checks that turn a bad index into a message
// that says what exists.
class Session {
public:
    GlobalOptions options;

    client::Client& client();

    void requireDevice(uint32_t device);
    // Also checks the device.
    void requirePort(uint32_t device, unsigned port);
    // The catalogue entry; a usage failure that says where to look when there is none.
    FileRecord requireRecording(uint32_t device, uint32_t fileId, uint32_t streamId);
    // "port 0 (Emu) of device 0"
    std::string portLabel(uint32_t device, uint8_t port);

    // What main returns when the command ends without an exception.
    int exitCode = 0;

    bool json() const { return options.json; }
    // The command's result in --json mode.
    void emit(const Json& value) const;
    // Where progress and notices go: standard error.
    std::ostream& progressOut() const;
    int progressFd() const;

private:
    std::optional<client::Client> client_;
};

}  // namespace tavu::tavuctl
