#include "tests/client/FakeService.h"

#include <poll.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <cstdio>
#include <cstring>
#include <stdexcept>

#include "encoding/BufferStream.h"
#include "encoding/MessageReader.h"
#include "encoding/MessageWriter.h"

namespace tavu::test {

namespace {

// Reads one whole request, however many receives it takes; nothing when the client left.
std::optional<ObjectValue> receive(int client) {
    std::vector<uint8_t> bytes;
    for (;;) {
        uint8_t chunk[4096];
        const ssize_t got = ::recv(client, chunk, sizeof chunk, 0);
        if (got <= 0) {
            return std::nullopt;
        }
        bytes.insert(bytes.end(), chunk, chunk + got);
        BufferStream stream;
        stream.write(bytes.data(), bytes.size());
        try {
            ObjectValue request;
            MessageReader(stream).readObject(request);
            return request;
        } catch (const std::exception&) {
            // Not complete yet.
        }
    }
}

void send(int client, const ObjectValue& reply) {
    BufferStream stream;
    MessageWriter(stream).writeObject(reply);
    [[maybe_unused]] const ssize_t sent = ::send(client, stream.data(), stream.size(), MSG_NOSIGNAL);
}

ObjectValue pairOf(const char* key, ObjectValue value) {
    ObjectValue map = ObjectValue::map(1);
    map.mapAppend(key, std::move(value));
    return map;
}

}  // namespace

FakeService::FakeService(std::string path, bool acceptVersion) : path_(std::move(path)), acceptVersion_(acceptVersion) {
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    std::strncpy(address.sun_path, path_.c_str(), sizeof(address.sun_path) - 1);
    listener_ = ::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
    if (listener_ < 0 || ::bind(listener_, reinterpret_cast<sockaddr*>(&address), sizeof address) != 0 ||
        ::listen(listener_, 4) != 0) {
        throw std::runtime_error("FakeService cannot listen at " + path_);
    }
    thread_ = std::jthread([this] { serve(); });
}

FakeService::~FakeService() {
    ::shutdown(listener_, SHUT_RDWR);
    thread_.join();
    ::close(listener_);
    ::unlink(path_.c_str());
}

void FakeService::queueReply(std::optional<ObjectValue> reply) {
    std::lock_guard lock(mutex_);
    replies_.push_back(std::move(reply));
}

std::vector<std::string> FakeService::requests() const {
    std::lock_guard lock(mutex_);
    return requests_;
}

void FakeService::serve() {
    const int client = ::accept4(listener_, nullptr, nullptr, SOCK_CLOEXEC);
    if (client < 0) {
        return;
    }
    while (const std::optional<ObjectValue> request = receive(client)) {
        {
            std::lock_guard lock(mutex_);
            requests_.push_back(describe(*request));
        }
        if (!answer(client, *request)) {
            break;
        }
    }
    ::close(client);
}

bool FakeService::answer(int client, const ObjectValue& request) {
    if (std::string(request.mapAt("act").asString()) == "verCheck") {
        send(client, acceptVersion_ ? pairOf("result", pairOf("ver", ObjectValue::positive(0)))
                                    : pairOf("error", ObjectValue::string("Unsupported version.")));
        return true;
    }
    std::optional<ObjectValue> reply = ObjectValue::map(0);
    {
        std::lock_guard lock(mutex_);
        if (!replies_.empty()) {
            reply = std::move(replies_.front());
            replies_.pop_front();
        }
    }
    if (reply) {
        send(client, *reply);
    }
    return reply.has_value();
}

}  // namespace tavu::test
