#pragma once
#include <chrono>
#include <cstdint>
#include <initializer_list>
#include <string>
#include <utility>
#include <vector>

#include "encoding/ObjectValue.h"
#include "wire/Commands.h"
#include "transport/LocalSocket.h"

namespace tavu::test {

// Builds a map value from key and value pairs, in the given order.
ObjectValue makeMap(std::initializer_list<std::pair<const char*, ObjectValue>> pairs);
inline ObjectValue u(uint64_t value) { return ObjectValue::positive(value); }
inline ObjectValue str(const char* text) { return ObjectValue::string(text); }

// A raw protocol client for tests: sends requests as the wire has them and decodes replies.
// Every read has a time limit, so that a service that fails to answer fails the test
// instead of hanging it.
class TestClient {
public:
    // Connects, retrying within a bound while the service is still setting up its socket.
    explicit TestClient(const std::string& socketPath,
                        std::chrono::milliseconds bound = std::chrono::seconds(10));

    bool connected() const { return socket_.isOpen(); }
    int nativeHandle() const { return socket_.nativeHandle(); }

    void sendBytes(const std::vector<uint8_t>& bytes);
    void send(const ObjectValue& request);
    ObjectValue receive();
    std::vector<uint8_t> receiveBytes(size_t count);

    // True when the service closes the connection within the bound without sending a byte.
    bool closedWithoutReply(std::chrono::milliseconds bound = std::chrono::seconds(5));

    ObjectValue verCheck(uint64_t version);
    void handshake();  // verCheck 0, asserted
    ObjectValue exec(uint64_t ordinal, ObjectValue params);
    ObjectValue exec(uint64_t ordinal);  // with no "params" key
    ObjectValue exec(Command command, ObjectValue params) {
        return exec(static_cast<uint64_t>(command), std::move(params));
    }

    void close() { socket_ = LocalSocket(); }

private:
    LocalSocket socket_;
};

// The text of an {"error": text} reply, or empty for any other reply.
std::string errorOf(const ObjectValue& reply);
// The "result" map of a reply; fails the test when there is none.
const ObjectValue& resultOf(const ObjectValue& reply);

// A value as text, for comparing and for failure messages: {deviceId: 2, name: "x", data: bin(01 02)}.
std::string describe(const ObjectValue& value);

}  // namespace tavu::test
