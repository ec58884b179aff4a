#include <gtest/gtest.h>

#include <set>

#include "support/ServiceProcess.h"
#include "support/TestClient.h"

namespace tavu::test {
namespace {

// Every parameter any device command reads, with a value of the right type: extra keys are
// ignored, so one map serves every ordinal.
ObjectValue everyParameter() {
    const uint8_t bytes[] = {1, 2, 3};
    auto blob = [&] { return ObjectValue::blobCopy(bytes, sizeof(bytes)); };
    return makeMap({
        {"deviceId", u(0)}, {"port", u(0)}, {"baudRate", u(9600)}, {"parity", u(0)},
        {"stopBits", u(1)}, {"size", u(4)}, {"data", blob()}, {"addr", u(0x300C)},
        {"fileId", u(1)}, {"streamId", u(0)}, {"openFileId", u(0)}, {"frame", u(0)},
        {"name", str("n")}, {"notify", ObjectValue::boolean(true)}, {"width", u(4)},
        {"height", u(4)}, {"numImages", u(1)}, {"numDroppedFrames", u(0)}, {"duration", u(1)},
        {"identity", str("cam")}, {"info", blob()}, {"numFramesPerPacket", u(1)},
        {"pixelFormat", u(0)}, {"tapGeometry", u(0)}, {"portMask", u(1)},
        {"externalTrigger", u(0)}, {"type", u(1)}, {"count", u(1)},
        {"usePretrigger", ObjectValue::boolean(false)}, {"pretriggerCount", u(0)},
    });
}

TEST(NoDeviceServiceTest, EveryDeviceCommandRefusesAnUnknownDevice) {
    TestHome home;
    ServiceProcess service(home);
    ASSERT_TRUE(service.waitForSocket());
    TestClient client(home.socketPath());
    client.handshake();

    const std::set<uint64_t> notDeviceCommands = {0, 1, 2, 3, 4, 50, 55, 56};
    for (uint64_t ordinal = 0; ordinal < 58; ++ordinal) {
        if (notDeviceCommands.count(ordinal) != 0) {
            continue;
        }
        SCOPED_TRACE("ordinal " + std::to_string(ordinal));
        const std::string error = errorOf(client.exec(ordinal, everyParameter()));
        // Playback and live view are checked against the connection before any device.
        if (ordinal == 28 || ordinal == 29 || ordinal == 30) {
            EXPECT_EQ(error, "File not opened by this connection.");
        } else if (ordinal == 53) {
            EXPECT_EQ(error, "Live not started by this connection.");
        } else {
            EXPECT_EQ(error, "Invalid device index.");
        }
    }
    EXPECT_EQ(resultOf(client.exec(4, ObjectValue::map(0))).mapAt("count").asPositive(), 0u);
    // The one command that takes any device number.
    EXPECT_EQ(client.exec(50, everyParameter()).size(), 0u);
    // 42 tells its failure on standard error as well.
    EXPECT_TRUE(eventually([&] { return service.standardError() == "Invalid device index.\n"; }));
}

}  // namespace
}  // namespace tavu::test
