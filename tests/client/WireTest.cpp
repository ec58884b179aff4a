// The client against a fake service, for what the real one never does to this client: refuse its
// version, send malformed replies, vanish mid-call. The typed calls themselves run against
// the real service in the other client and tavuctl tests.
#include <gtest/gtest.h>

#include "tests/client/FakeService.h"
#include "client/Client.h"
#include "client/ClientErrors.h"
#include "tests/support/ServiceProcess.h"
#include "tests/support/TestClient.h"

namespace tavu::test {
namespace {

using client::Client;

class WireTest : public ::testing::Test {
protected:
    std::string socketPath() const { return (home.runtimeDir() / "fake").string(); }
    client::ConnectOptions options() const {
        client::ConnectOptions connect;
        connect.socketPath = socketPath();
        connect.startService = false;
        return connect;
    }

    TestHome home;
};

TEST_F(WireTest, RefusedVersionIsAConnectionError) {
    FakeService service(socketPath(), false);
    try {
        Client client(options());
        FAIL() << "connected";
    } catch (const client::ConnectionError& error) {
        EXPECT_NE(std::string(error.what()).find("Unsupported version."), std::string::npos) << error.what();
    }
}

TEST_F(WireTest, MalformedRepliesAreConnectionErrorsNamingTheCommand) {
    const std::vector<std::pair<const char*, ObjectValue>> replies = {
        {"missing key", makeMap({{"result", makeMap({{"cnt", u(1)}})}})},
        {"wrong type", makeMap({{"result", makeMap({{"count", str("1")}})}})},
        {"beyond the wire width", makeMap({{"result", makeMap({{"count", u(1ull << 32)}})}})},
        {"not a map", str("count")},
    };
    for (const auto& [problem, reply] : replies) {
        SCOPED_TRACE(problem);
        FakeService service(socketPath());
        Client client(options());
        service.queueReply(reply);
        try {
            client.deviceCount();
            FAIL() << "accepted";
        } catch (const client::ConnectionError& error) {
            EXPECT_NE(std::string(error.what()).find("deviceCount"), std::string::npos) << error.what();
        }
    }
}

TEST_F(WireTest, LostConnectionFailsThisCallAndEveryLaterOne) {
    FakeService service(socketPath());
    Client client(options());
    service.queueReply(std::nullopt);
    EXPECT_THROW(client.stopRecording(0), client::ConnectionError);
    EXPECT_THROW(client.deviceCount(), client::ConnectionError);
}

}  // namespace
}  // namespace tavu::test
