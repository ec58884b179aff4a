#pragma once
#include <chrono>
#include <filesystem>
#include <optional>
#include <string>
#include <vector>

#include "transport/BufferedSocket.h"
#include "wire/Commands.h"
#include "encoding/BufferStream.h"
#include "encoding/ObjectValue.h"

namespace tavu::client {

struct ConnectOptions {
    // Empty: where the service listens for this user ($XDG_RUNTIME_DIR/tavusrv, else
    // /tmp/tavusrv-<uid>/tavusrv).
    std::string socketPath;
    // Start tavusvc when nobody listens.
    bool startService = true;
    // Where to look for tavusvc; empty: the running executable's folder, then PATH.
    std::vector<std::filesystem::path> serviceFolders;
    // How long a service that was just started may take to listen.
    std::chrono::milliseconds startTimeout = std::chrono::seconds(5);
};

// One connection to the service, past the version check. Requests and replies alternate;
// a connection serves one caller at a time.
class Connection {
public:
    // Connects, starting the service if allowed and needed, and checks the protocol version.
    // Raises NoServiceError or ConnectionError.
    explicit Connection(const ConnectOptions& options = {});

    // Runs a command and returns the "result" map of its reply, or an empty map for a reply
    // without values. Raises ServiceError for an error reply and ConnectionError when the
    // connection fails; after the latter every call fails at once.
    ObjectValue call(Command command, const ObjectValue& params);
    // For the commands that take no parameters.
    ObjectValue call(Command command);

    const std::string& socketPath() const { return socketPath_; }

private:
    void connectOrStart(const ConnectOptions& options);
    // Connects and passes the version check; false when the connection closed before the reply.
    bool versionAccepted(const ConnectOptions& options);
    // The "result" map of the reply to the request in request_, as call returns it.
    ObjectValue result(Command command);
    ObjectValue exchange(const char* what);
    // Sends the request in request_ and reads its reply; nothing when the connection fails on
    // the way.
    std::optional<ObjectValue> transfer();
    [[noreturn]] void fail(const std::string& message);

    std::string socketPath_;
    BufferedSocket socket_;
    BufferStream request_;
    bool broken_ = false;
};

}  // namespace tavu::client
