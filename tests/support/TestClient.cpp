#include "support/TestClient.h"

#include <gtest/gtest.h>
#include <poll.h>
#include <sys/socket.h>

#include <cerrno>
#include <cstdio>
#include <stdexcept>
#include <thread>

#include "encoding/BufferStream.h"
#include "encoding/MessageReader.h"
#include "encoding/MessageWriter.h"

namespace tavu::test {

ObjectValue makeMap(std::initializer_list<std::pair<const char*, ObjectValue>> pairs) {
    ObjectValue map = ObjectValue::map(static_cast<uint32_t>(pairs.size()));
    for (const auto& [key, value] : pairs) {
        map.mapAppend(key, ObjectValue(value));
    }
    return map;
}

TestClient::TestClient(const std::string& socketPath, std::chrono::milliseconds bound) {
    const auto deadline = std::chrono::steady_clock::now() + bound;
    while (!socket_.connectPath(socketPath)) {
        if (std::chrono::steady_clock::now() >= deadline) {
            throw std::runtime_error("could not connect to " + socketPath);
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(5));
    }
    const timeval limit{10, 0};
    setsockopt(socket_.nativeHandle(), SOL_SOCKET, SO_RCVTIMEO, &limit, sizeof(limit));
}

void TestClient::sendBytes(const std::vector<uint8_t>& bytes) { socket_.write(bytes.data(), bytes.size()); }

void TestClient::send(const ObjectValue& request) {
    BufferStream buffer;
    MessageWriter(buffer).writeObject(request);
    socket_.write(buffer.data(), buffer.size());
}

ObjectValue TestClient::receive() {
    ObjectValue reply;
    MessageReader(socket_).readObject(reply);
    return reply;
}

std::vector<uint8_t> TestClient::receiveBytes(size_t count) {
    std::vector<uint8_t> bytes(count);
    bytes.resize(socket_.read(bytes.data(), count));
    return bytes;
}

bool TestClient::closedWithoutReply(std::chrono::milliseconds bound) {
    pollfd wait{socket_.nativeHandle(), POLLIN, 0};
    if (poll(&wait, 1, static_cast<int>(bound.count())) != 1) {
        return false;
    }
    // A service that hangs up with bytes of ours still unread resets the connection instead.
    uint8_t byte = 0;
    const ssize_t received = recv(socket_.nativeHandle(), &byte, 1, MSG_DONTWAIT);
    return received == 0 || (received < 0 && errno == ECONNRESET);
}

ObjectValue TestClient::verCheck(uint64_t version) {
    send(makeMap({{"act", str("verCheck")}, {"ver", u(version)}}));
    return receive();
}

void TestClient::handshake() {
    const ObjectValue reply = verCheck(0);
    ASSERT_EQ(resultOf(reply).mapAt("ver").asPositive(), 0u);
}

ObjectValue TestClient::exec(uint64_t ordinal, ObjectValue params) {
    send(makeMap({{"act", str("exec")}, {"ord", u(ordinal)}, {"params", std::move(params)}}));
    return receive();
}

ObjectValue TestClient::exec(uint64_t ordinal) {
    send(makeMap({{"act", str("exec")}, {"ord", u(ordinal)}}));
    return receive();
}

std::string errorOf(const ObjectValue& reply) {
    if (reply.type() == ObjectType::Map && reply.mapContains("error")) {
        return reply.mapAt("error").asString();
    }
    return "";
}

const ObjectValue& resultOf(const ObjectValue& reply) {
    if (reply.type() != ObjectType::Map || !reply.mapContains("result")) {
        ADD_FAILURE() << "reply without result: " << errorOf(reply);
        static const ObjectValue empty = ObjectValue::map(0);
        return empty;
    }
    return reply.mapAt("result");
}

std::string describe(const ObjectValue& value) {
    switch (value.type()) {
        case ObjectType::PositiveInteger:
            return std::to_string(value.asPositive());
        case ObjectType::NegativeInteger:
            return std::to_string(value.asNegative());
        case ObjectType::Bool:
            return value.asBool() ? "true" : "false";
        case ObjectType::String:
            return std::string("\"") + value.asString() + "\"";
        case ObjectType::Blob: {
            std::string text = "bin(";
            for (uint32_t i = 0; i < value.blobSize(); ++i) {
                char digits[4];
                std::snprintf(digits, sizeof digits, i == 0 ? "%02x" : " %02x", value.blobData()[i]);
                text += digits;
            }
            return text + ")";
        }
        case ObjectType::Map: {
            std::string text = "{";
            for (uint32_t i = 0; i < value.size(); ++i) {
                text += (i == 0 ? "" : ", ") + std::string(value.mapKeyAt(i)) + ": " + describe(value.mapValueAt(i));
            }
            return text + "}";
        }
        case ObjectType::Array: {
            std::string text = "[";
            for (uint32_t i = 0; i < value.size(); ++i) {
                text += (i == 0 ? "" : ", ") + describe(value.arrayAt(i));
            }
            return text + "]";
        }
        default:
            return "nil";
    }
}

}  // namespace tavu::test
