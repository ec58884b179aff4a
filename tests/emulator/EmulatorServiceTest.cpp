#include <gtest/gtest.h>

#include "EmulatorFixture.h"
#include "transport/SharedRegion.h"
#include "support/ServiceProcess.h"
#include "support/TestClient.h"

namespace tavu::test {
namespace {

using enum Command;

ObjectValue result(TestClient& client, Command ordinal, ObjectValue params) {
    return resultOf(client.exec(ordinal, std::move(params)));
}

ObjectValue onDevice() { return makeMap({{"deviceId", u(0)}}); }
ObjectValue onPort() { return makeMap({{"deviceId", u(0)}, {"port", u(0)}}); }

// The service with the emulator as device 0 and a data folder of its own. It ends when its
// last client leaves, cleaning up what that client held.
class EmulatorServiceTest : public ::testing::Test {
protected:
    EmulatorServiceTest() : service(home, {}, {{"TAVUSRV_ENABLE_EMULATOR", "1"}}) {
        EXPECT_TRUE(service.waitForSocket());
    }

    TestClient connect() {
        TestClient client(home.socketPath());
        client.handshake();
        return client;
    }

    static void prepare(TestClient& client) {
        client.exec(SetPortConfig, makeMap({{"deviceId", u(0)}, {"port", u(0)}, {"width", u(4)}, {"height", u(4)},
                                            {"pixelFormat", u(0)}, {"tapGeometry", u(0)}}));
        EXPECT_EQ(errorOf(client.exec(PairPort, makeMap({{"deviceId", u(0)},
                                                         {"port", u(0)},
                                                         {"identity", str("cam")},
                                                         {"info", ObjectValue::blobCopy(kBlock.data(), 3)},
                                                         {"numFramesPerPacket", u(1)}}))),
                  "");
    }

    TestHome home;
    ServiceProcess service;
};

TEST_F(EmulatorServiceTest, RecordingIsPlayedBackThroughTheMappedRegion) {
    std::string mapping;
    {
        TestClient client = connect();
        EXPECT_STREQ(result(client, DeviceName, onDevice()).mapAt("name").asString(), "Emulator");
        prepare(client);
        EXPECT_EQ(errorOf(client.exec(StartRecording, makeMap({{"deviceId", u(0)},
                                                               {"portMask", u(1)},
                                                               {"externalTrigger", u(0)},
                                                               {"type", u(1)},
                                                               {"count", u(2)},
                                                               {"usePretrigger", ObjectValue::boolean(false)},
                                                               {"pretriggerCount", u(0)}}))),
                  "");
        ASSERT_TRUE(eventually([&] { return result(client, IsRecordingDone, onDevice()).mapAt("done").asBool(); }));
        EXPECT_EQ(errorOf(client.exec(StopRecording, onDevice())), "");
        const ObjectValue files = result(client, ListFiles, onDevice()).mapAt("files");
        EXPECT_EQ(files.arrayAt(0).mapAt("numFrames").asPositive(), 2u);

        const ObjectValue opened =
            result(client, OpenFile, makeMap({{"deviceId", u(0)}, {"fileId", u(1)}, {"streamId", u(0)}}));
        mapping = opened.mapAt("mapping").asString();
        SharedRegion region;
        ASSERT_TRUE(region.open(mapping));
        client.exec(ReadFrame,
                    makeMap({{"deviceId", u(0)}, {"openFileId", opened.mapAt("openFileId")}, {"frame", u(1)}}));
        EXPECT_EQ(pixelAt(static_cast<const uint8_t*>(region.view()), 4), 20);

        EXPECT_EQ(errorOf(client.exec(StartRecovery, onDevice())), "Resource deadlock avoided");
        EXPECT_EQ(errorOf(client.exec(SerialOpen, makeMap({{"deviceId", u(0)}, {"port", u(3)}, {"baudRate", u(9600)},
                                                          {"parity", u(0)}, {"stopBits", u(1)}}))),
                  "not supported");
    }
    ASSERT_TRUE(service.waitForExit());
    EXPECT_FALSE(regionExists(mapping));  // the departed client's file was closed
}

TEST_F(EmulatorServiceTest, LiveViewOfADepartedClientIsStopped) {
    std::string mapping;
    {
        TestClient other = connect();
        {
            TestClient watcher = connect();
            prepare(watcher);
            mapping = result(watcher, StartLive, onPort()).mapAt("mapping").asString();
            EXPECT_EQ(result(other, LiveFrame, onPort()).mapAt("imageSize").asPositive(), 32u);
        }
        EXPECT_TRUE(eventually([&] { return !regionExists(mapping); }));
        mapping = result(other, StartLive, onPort()).mapAt("mapping").asString();
    }
    ASSERT_TRUE(service.waitForExit());
    EXPECT_FALSE(regionExists(mapping));
}

}  // namespace
}  // namespace tavu::test
