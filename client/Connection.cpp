#include "client/Connection.h"

#include <cstdio>
#include <thread>

#include "client/ClientErrors.h"
#include "client/ServiceLauncher.h"
#include "encoding/MessageReader.h"
#include "encoding/MessageWriter.h"
#include "transport/LocalSocket.h"

namespace tavu::client {

namespace {

constexpr uint64_t ProtocolVersion = 0;
constexpr auto ConnectRetry = std::chrono::milliseconds(10);
constexpr auto RelaunchInterval = std::chrono::milliseconds(500);
constexpr int HandshakeAttempts = 3;

// {"act": "exec", "ord": command, "params": ...}, written straight into the request's bytes: a
// tree built first and then copied out would cost more than the round trip's own work.
void writeEnvelope(MessageWriter& writer, Command command) {
    writer.writeMapHeader(3);
    writer.writeString("act");
    writer.writeString("exec");
    writer.writeString("ord");
    writer.writeUint(static_cast<uint32_t>(command));
    writer.writeString("params");
}

// {"result": {"ver": 0}}
bool acceptsOurVersion(const ObjectValue& reply) {
    const int32_t result = reply.mapIndexOf("result");
    if (result < 0) {
        return false;
    }
    const ObjectValue& values = reply.mapValueAt(static_cast<uint32_t>(result));
    const int32_t version = values.type() == ObjectType::Map ? values.mapIndexOf("ver") : -1;
    if (version < 0) {
        return false;
    }
    const ObjectValue& number = values.mapValueAt(static_cast<uint32_t>(version));
    return number.type() == ObjectType::PositiveInteger && number.asPositive() == ProtocolVersion;
}

std::string seconds(std::chrono::milliseconds span) {
    // Formatted in one piece: g++ 12 warns falsely (-Wrestrict) on "." + std::to_string(...).
    const auto tenths = span.count() / 100;
    char text[32];
    if (tenths % 10 != 0) {
        std::snprintf(text, sizeof(text), "%lld.%lld s", static_cast<long long>(tenths / 10),
                      static_cast<long long>(tenths % 10));
    } else {
        std::snprintf(text, sizeof(text), "%lld s", static_cast<long long>(tenths / 10));
    }
    return text;
}

std::filesystem::path launch(const ServiceLauncher& launcher, const std::string& nobody) {
    try {
        return launcher.start();
    } catch (const NoServiceError& error) {
        throw NoServiceError(nobody + ", and none could be started: " + error.what());
    }
}

}  // namespace

Connection::Connection(const ConnectOptions& options)
    : socketPath_(options.socketPath.empty() ? localSocketPath("tavusrv") : options.socketPath) {
    // A service that is ending after its last client closes connections that it hasn't served
    // yet; the next attempt then finds it gone and starts a new one.
    for (int attempt = 1; !versionAccepted(options); ++attempt) {
        if (attempt == HandshakeAttempts) {
            fail("the service at " + socketPath_ + " closed the connection during the version check");
        }
        socket_ = BufferedSocket();
    }
}

void Connection::connectOrStart(const ConnectOptions& options) {
    if (socket_.connectPath(socketPath_)) {
        return;
    }
    const std::string nobody = "no tavusvc service listens at " + socketPath_;
    if (!options.startService) {
        throw NoServiceError(nobody + ", and starting one was not allowed");
    }
    const ServiceLauncher launcher(options.serviceFolders);
    std::filesystem::path started = launch(launcher, nobody);
    // Connecting is the only test of readiness that doesn't disturb the service: a probe
    // that connected and left would be its last client, and it would end. A service that is
    // just ending still holds the lock that a new one needs, and the new one then leaves at
    // once; starting again now and then covers that.
    const auto begin = std::chrono::steady_clock::now();
    auto nextLaunch = begin + RelaunchInterval;
    while (!socket_.connectPath(socketPath_)) {
        const auto now = std::chrono::steady_clock::now();
        if (now >= begin + options.startTimeout) {
            throw NoServiceError(nobody + "; " + started.string() + " was started but did not listen there within " +
                                 seconds(options.startTimeout));
        }
        if (now >= nextLaunch) {
            started = launch(launcher, nobody);
            nextLaunch = now + RelaunchInterval;
        }
        std::this_thread::sleep_for(ConnectRetry);
    }
}

bool Connection::versionAccepted(const ConnectOptions& options) {
    connectOrStart(options);
    request_.clear();
    MessageWriter writer(request_);
    writer.writeMapHeader(2);
    writer.writeString("act");
    writer.writeString("verCheck");
    writer.writeString("ver");
    writer.writeUint(ProtocolVersion);
    const std::optional<ObjectValue> answer = transfer();
    if (!answer) {
        return false;
    }
    const ObjectValue& reply = *answer;
    if (reply.type() != ObjectType::Map) {
        fail("the service at " + socketPath_ + " answered the version check with something unexpected");
    }
    if (const int32_t error = reply.mapIndexOf("error");
        error >= 0 && reply.mapValueAt(static_cast<uint32_t>(error)).type() == ObjectType::String) {
        fail("the service at " + socketPath_ + " refused protocol version 0: " +
             reply.mapValueAt(static_cast<uint32_t>(error)).asString());
    }
    if (!acceptsOurVersion(reply)) {
        fail("the service at " + socketPath_ + " answered the version check with something unexpected");
    }
    return true;
}

ObjectValue Connection::call(Command command, const ObjectValue& params) {
    request_.clear();
    MessageWriter writer(request_);
    writeEnvelope(writer, command);
    writer.writeObject(params);
    return result(command);
}

ObjectValue Connection::call(Command command) {
    request_.clear();
    MessageWriter writer(request_);
    writeEnvelope(writer, command);
    writer.writeMapHeader(0);
    return result(command);
}

ObjectValue Connection::result(Command command) {
    ObjectValue reply = exchange(commandName(command));
    if (const int32_t error = reply.mapIndexOf("error"); error >= 0) {
        const ObjectValue& text = reply.mapValueAt(static_cast<uint32_t>(error));
        throw ServiceError(command, text.type() == ObjectType::String ? text.asString() : "(no text)");
    }
    if (const int32_t result = reply.mapIndexOf("result"); result >= 0) {
        return std::move(reply.mapValueAt(static_cast<uint32_t>(result)));
    }
    return ObjectValue::map(0);
}

ObjectValue Connection::exchange(const char* what) {
    if (broken_) {
        throw ConnectionError("the connection to the service was lost earlier");
    }
    std::optional<ObjectValue> reply = transfer();
    if (!reply) {
        fail(std::string("the connection to the service was lost during ") + what);
    }
    if (reply->type() != ObjectType::Map) {
        fail(std::string("the service answered ") + what + " with something that isn't a reply");
    }
    return std::move(*reply);
}

std::optional<ObjectValue> Connection::transfer() {
    // One write per request, so the service reads it in one piece.
    if (socket_.write(request_.data(), request_.size()) != request_.size()) {
        return std::nullopt;
    }
    ObjectValue reply;
    try {
        MessageReader(socket_).readObject(reply);
    } catch (const std::exception&) {
        return std::nullopt;
    }
    return reply;
}

void Connection::fail(const std::string& message) {
    broken_ = true;
    socket_.close();
    throw ConnectionError(message);
}

}  // namespace tavu::client
