#include "protocol/RequestLoop.h"

#include <cstdio>
#include <cstring>
#include <optional>
#include <stdexcept>
#include <string>

#include "encoding/BufferStream.h"
#include "encoding/MessageReader.h"
#include "library/ErrorText.h"
#include "protocol/CommandContext.h"

namespace tavu {

namespace {

constexpr uint64_t ProtocolVersion = 0;
constexpr uint64_t StartRecordingOrdinal = 42;

// A reply is assembled whole and leaves in one write.
class Replier {
public:
    explicit Replier(Stream& stream) : stream_(stream), writer_(buffer_) {}

    MessageWriter& begin() {
        buffer_.clear();
        return writer_;
    }
    void send() {
        if (buffer_.size() > 0) {
            stream_.write(buffer_.data(), buffer_.size());
        }
    }

    // The reply goes out before the log line.
    void error(const char* text) {
        sendError(begin(), text);
        send();
        std::printf("ResponseError: %s\n", text);
    }

private:
    Stream& stream_;
    BufferStream buffer_;
    MessageWriter writer_;
};

void runCommand(CommandContext context, uint64_t ordinal, Replier& replier) {
    std::optional<std::string> failure;
    try {
        commandFor(static_cast<uint32_t>(ordinal))(context);
    } catch (...) {
        // An exception without a text goes on out of the loop and ends the connection.
        failure = currentExceptionText();
    }
    if (!failure) {
        replier.send();
        return;
    }
    if (ordinal == StartRecordingOrdinal) {
        std::fprintf(stderr, "%s\n", failure->c_str());
    }
    replier.error(failure->c_str());
}

}  // namespace

void sendResult(MessageWriter& writer, uint32_t count) {
    if (count == 0) {
        writer.writeMapHeader(0);
        return;
    }
    writer.writeMapHeader(1);
    writer.writeString("result");
    writer.writeMapHeader(count);
}

void sendError(MessageWriter& writer, const char* text) {
    writer.writeMapHeader(1);
    writer.writeString("error");
    writer.writeString(text);
}

void runRequestLoop(Stream& stream, ClientHoldings& holdings, DeviceManager& manager, Clients& clients) {
    MessageReader reader(stream);
    Replier replier(stream);
    bool handshakeDone = false;
    for (;;) {
        ObjectValue request;
        reader.readObject(request);
        if (request.type() != ObjectType::Map) {
            throw std::runtime_error("Expected map when reading top level object.");
        }
        const char* action = request.mapAt("act").asString();
        if (std::strcmp(action, "verCheck") == 0) {
            if (request.mapAt("ver").asPositive() == ProtocolVersion) {
                MessageWriter& writer = replier.begin();
                sendResult(writer, 1);
                writer.writeString("ver");
                writer.writeUint(ProtocolVersion);
                replier.send();
                handshakeDone = true;
            } else {
                replier.error("Unsupported version.");
            }
            continue;
        }
        if (std::strcmp(action, "exec") != 0) {
            throw std::runtime_error("Unrecognized action.");
        }
        if (!handshakeDone) {
            throw std::runtime_error("First command must be version check.");
        }
        const uint64_t ordinal = request.mapAt("ord").asPositive();
        if (ordinal >= CommandCount) {
            replier.error("Unrecognized function.");
            continue;
        }
        runCommand(CommandContext{holdings, clients, manager, request, replier.begin(), stream}, ordinal, replier);
    }
}

}  // namespace tavu
