// Live view on simulated recorders through the socket: a waiting grab holds up nothing else,
// a recording hands the port back, and frames that can't be shown are refused.
#include <future>

#include "RecorderFixture.h"
#include "client/FrameView.h"

namespace tavu::test {
namespace {

using nlohmann::json;

// Runs the call and tells whether it returned within the bound: long enough for a loaded
// machine, well short of the grab's time limit of 5 s that it must not wait for.
template <typename Call>
bool answersAtOnce(Call&& call) {
    const auto start = std::chrono::steady_clock::now();
    call();
    return std::chrono::steady_clock::now() - start < 2s;
}

using Live = RecorderFixture;

TEST_F(Live, AWaitingGrabHoldsUpNothingAndARecordingHandsThePortBack) {
    json unit = recorder("REC-A");
    unit["ports"].push_back({{"name", "REC-A-3"}, {"measuredFrameRate", 100.0}, {"bitDepth", 12}});
    unit["ports"].push_back({{"name", "REC-A-4"}, {"cameraDetected", false}});
    writeDescription({unit});
    startService(1);
    for (uint8_t port : {0, 2, 3}) {
        client().setPortConfig(0, port, {8, 4, 0, 0});
    }

    // A port without a camera: the grab waits for the whole time limit and gets nothing.
    const auto waiting = connect();
    waiting->startLive(0, 3);
    std::future<std::string> silent = std::async(std::launch::async, [&] {
        return serviceError([&] { waiting->liveFrame(0, 3); });
    });
    ASSERT_TRUE(service->waitUntilIdle());

    FrameGeometry geometry;
    std::string mapping;
    EXPECT_TRUE(answersAtOnce([&] { mapping = client().startLive(0, 0); }));
    EXPECT_TRUE(answersAtOnce([&] { geometry = client().liveFrame(0, 0); }));
    EXPECT_EQ(geometry.width, 8u);
    EXPECT_EQ(geometry.height, 4u);
    EXPECT_EQ(geometry.imageSize, 64u);
    const client::FrameView view(mapping);
    const uint16_t before = client::pixelAt(view.frame(64), 0);
    EXPECT_TRUE(isCameraFrame(view.frame(64), 8, 4, 0, before));
    EXPECT_TRUE(answersAtOnce([&] { EXPECT_EQ(client().portName(0, 3), "REC-A-4"); }));
    EXPECT_TRUE(answersAtOnce([&] { client().listFiles(0); }));
    EXPECT_TRUE(answersAtOnce([&] {
        EXPECT_EQ(serviceError([&] { client().stopLive(0, 3); }), "Live not started by this connection.");
    }));
    // 20 frames at 100 per second take the port from its live view for 0.2 s.
    EXPECT_TRUE(answersAtOnce([&] {
        client().startRecording(0, {1, 0, StopCondition::FrameCount, 20, false, 0});
    }));
    EXPECT_EQ(silent.wait_for(0s), std::future_status::timeout) << "the grab ended early";
    ASSERT_TRUE(eventually([&] { return client().isRecordingDone(0); }));
    client().stopRecording(0);

    // Acquisition starts afresh after the recording, counting its camera frames from 0 again.
    geometry = client().liveFrame(0, 0);
    const uint16_t after = client::pixelAt(view.frame(64), 0);
    EXPECT_LT(after, 10u) << "frame " << before << " before the recording";
    EXPECT_TRUE(isCameraFrame(view.frame(64), 8, 4, 0, after));

    client().startLive(0, 2);
    EXPECT_EQ(serviceError([&] { client().liveFrame(0, 2); }), "Bad frame size.");
    client().stopLive(0, 2);
    client().stopLive(0, 0);

    EXPECT_EQ(silent.get(), "Failed to grab frame.");
    waiting->stopLive(0, 3);
}

// A recording takes the acquisition of the ports it records. The live view comes back by itself
// at the next frame request, during the recording and after it, on the ports that were live only.
TEST_F(Live, ARecordingTakesThePortAndTheNextFrameRequestBringsItBack) {
    startWithRecorderA();
    client().setPortConfig(0, 0, {8, 4, 0, 0});
    client().setPortConfig(0, 1, {8, 4, 0, 0});
    const client::FrameView view(client().startLive(0, 0));
    const auto liveFrameNumber = [&] {
        client().liveFrame(0, 0);
        return client::pixelAt(view.frame(64), 0);
    };
    const auto grabbing = [&](size_t port) {
        return recorderState("REC-A").at("ports").at(port).at("grabbing").get<bool>();
    };
    const uint16_t first = liveFrameNumber();
    EXPECT_GT(liveFrameNumber(), first);

    client().startRecording(0, {3, 0, StopCondition::FrameCount, 50, false, 0});
    EXPECT_FALSE(grabbing(0));
    uint16_t during = 0;
    ASSERT_TRUE(eventually([&] { return (during = liveFrameNumber()) >= 20; }));
    EXPECT_TRUE(grabbing(0));
    ASSERT_TRUE(eventually([&] { return client().isRecordingDone(0); }));
    client().stopRecording(0);

    // Restarted after the stop as well: the camera's frames count from 0 again, and move on.
    const uint16_t after = liveFrameNumber();
    EXPECT_LT(after, during);
    EXPECT_GT(liveFrameNumber(), after);
    // The port that recorded without a live view was not started.
    EXPECT_FALSE(grabbing(1));
    EXPECT_EQ(serviceError([&] { client().liveFrame(0, 1); }), "Failed to grab frame.");
    client().stopLive(0, 0);
}

}  // namespace
}  // namespace tavu::test
