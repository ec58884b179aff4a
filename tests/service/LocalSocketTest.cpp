#include <gtest/gtest.h>

#include <cstdlib>
#include <future>
#include <stdexcept>
#include <thread>

#include "transport/LocalSocket.h"
#include "service/LocalSocketServer.h"
#include "support/ServiceProcess.h"

namespace tavu {
namespace {

using test::TestHome;

class LocalSocketTest : public ::testing::Test {
protected:
    void SetUp() override { setenv("XDG_RUNTIME_DIR", home.runtimeDir().c_str(), 1); }

    std::string acceptText(LocalSocketServer& server) {
        try {
            server.accept();
        } catch (const std::runtime_error& e) {
            return e.what();
        }
        return "accepted";
    }

    TestHome home;
};

TEST_F(LocalSocketTest, ConnectedPairMovesBytesBothWays) {
    LocalSocketServer server;
    ASSERT_TRUE(server.listen("sock", false));
    LocalSocket client;
    ASSERT_TRUE(client.connect("sock"));
    LocalSocket served = server.accept();

    const char hello[] = "hello";
    EXPECT_EQ(client.write(hello, 5), 5u);
    char got[5] = {};
    EXPECT_EQ(served.read(got, 5), 5u);
    EXPECT_EQ(std::string(got, 5), "hello");
    EXPECT_EQ(served.read(got, 0), 0u);

    // The peer going away shows as a short count, never as an exception.
    client = LocalSocket();
    EXPECT_EQ(served.read(got, 5), 0u);
    EXPECT_EQ(listLocalSockets("so"), std::vector<std::string>{"sock"});
}

TEST_F(LocalSocketTest, SecondListenerOnTheSameNameIsRefused) {
    LocalSocketServer first;
    ASSERT_TRUE(first.listen("sock", false));
    LocalSocketServer second;
    EXPECT_FALSE(second.listen("sock", false));
    // Once the first has stopped listening, the name is free again.
    first.abort();
    LocalSocketServer third;
    EXPECT_TRUE(third.listen("sock", false));
}

TEST_F(LocalSocketTest, AbortEndsWaitingAcceptAndLaterAccepts) {
    LocalSocketServer server;
    ASSERT_TRUE(server.listen("sock", false));
    auto waiting = std::async(std::launch::async, [&] { return acceptText(server); });
    // The accept may or may not be waiting yet; either way abort must end it.
    std::this_thread::yield();
    server.abort();
    server.abort();
    const std::string text = waiting.get();
    EXPECT_TRUE(text == "ConnectNamedPipe aborted." || text == "Pipe not open.") << text;
    EXPECT_EQ(acceptText(server), "Pipe not open.");
}

TEST_F(LocalSocketTest, AcceptWithoutListenIsRefused) {
    LocalSocketServer server;
    EXPECT_EQ(acceptText(server), "Pipe not open.");
    server.abort();
    EXPECT_EQ(acceptText(server), "Pipe not open.");
}

TEST_F(LocalSocketTest, ClientConnectingBeforeAcceptIsServed) {
    LocalSocketServer server;
    ASSERT_TRUE(server.listen("sock", false));
    LocalSocket client;
    ASSERT_TRUE(client.connect("sock"));
    LocalSocket served = server.accept();
    EXPECT_EQ(client.write("x", 1), 1u);
    char byte = 0;
    EXPECT_EQ(served.read(&byte, 1), 1u);
}

TEST_F(LocalSocketTest, CloseFromAnotherThreadEndsABlockedRead) {
    LocalSocketServer server;
    ASSERT_TRUE(server.listen("sock", false));
    LocalSocket client;
    ASSERT_TRUE(client.connect("sock"));
    LocalSocket served = server.accept();
    auto reading = std::async(std::launch::async, [&] {
        char buffer[8];
        return served.read(buffer, sizeof(buffer));
    });
    EXPECT_EQ(reading.wait_for(std::chrono::milliseconds(50)), std::future_status::timeout);
    served.close();
    served.close();
    EXPECT_EQ(reading.get(), 0u);
}

TEST_F(LocalSocketTest, ConnectWithNobodyListeningFails) {
    LocalSocket client;
    EXPECT_FALSE(client.connect("nobody"));
    EXPECT_FALSE(client.isOpen());
}

}  // namespace
}  // namespace tavu
