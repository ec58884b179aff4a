#include "Recorder.h"
#include "service/SharedRegion.h"

#include <gtest/gtest.h>

#include <chrono>
#include <condition_variable>
#include <future>
#include <mutex>

namespace tavu::test {
namespace {

using testing::_;
using testing::InSequence;
using testing::Return;

constexpr auto kBound = std::chrono::seconds(10);

Ptr<Common::Frame> frameOf(uint32_t width, uint32_t height, uint32_t bitDepth, uint8_t fill) {
    auto buffer = boost::make_shared<Common::Buffer>(uint64_t{width} * height * 2);
    std::fill_n(buffer->data(), buffer->size(), fill);
    return boost::make_shared<Common::Frame>(boost::make_shared<Common::DataType>(width, height, bitDepth), buffer);
}

auto grabOptions() {
    return testing::AllOf(testing::Field(&Quillon::GrabOptions::flag, true),
                          testing::Field(&Quillon::GrabOptions::value, 4u));
}

class Live : public testing::Test {
protected:
    Live() {
        recorder.connect();
        recorder.tavu->setPortConfig(0, 4, 2, 0, 0);
        ON_CALL(port(), hasBitDepthSetting()).WillByDefault(Return(true));
    }

    Nice<MockPort>& port() { return *recorder.ports[0]; }

    void frameWillBe(const Ptr<Common::Frame>& frame) {
        ON_CALL(port(), grab(_, 5000, true, false, true, false, true))
            .WillByDefault([frame](Ptr<Common::Frame>& out, auto...) { out = frame; });
    }

    std::tuple<uint16_t, uint16_t, uint32_t> liveFrame() {
        uint16_t width = 0;
        uint16_t height = 0;
        uint32_t imageSize = 0;
        recorder.tavu->liveFrame(0, width, height, imageSize);
        return {width, height, imageSize};
    }

    Recorder recorder;
};

TEST_F(Live, AWaitingGrabHoldsUpNoOtherCommand) {
    recorder.tavu->startLive(0);
    std::mutex mutex;
    std::condition_variable changed;
    bool grabbing = false;
    bool release = false;
    ON_CALL(port(), grab(_, _, _, _, _, _, _)).WillByDefault([&](Ptr<Common::Frame>& out, auto...) {
        std::unique_lock lock(mutex);
        grabbing = true;
        changed.notify_all();
        changed.wait(lock, [&] { return release; });
        out = frameOf(4, 2, 16, 7);
    });
    auto first = std::async(std::launch::async, [&] { return liveFrame(); });
    {
        std::unique_lock lock(mutex);
        ASSERT_TRUE(changed.wait_for(lock, kBound, [&] { return grabbing; }));
    }
    // A second frame request of the same port waits its turn without the device mutex.
    auto second = std::async(std::launch::async, [&] { return liveFrame(); });
    auto other = std::async(std::launch::async, [&] { return recorder.tavu->portName(1); });
    EXPECT_EQ(other.wait_for(kBound), std::future_status::ready);
    {
        std::lock_guard lock(mutex);
        release = true;
    }
    changed.notify_all();
    EXPECT_EQ(first.get(), std::make_tuple(4, 2, 16u));
    EXPECT_EQ(second.get(), std::make_tuple(4, 2, 16u));
}

TEST_F(Live, ARecordingRestartsTheLiveViewAtTheNextFrame) {
    recorder.tavu->startLive(0);
    ON_CALL(port(), isGrabbing()).WillByDefault(Return(true));
    {
        InSequence order;
        EXPECT_CALL(*recorder.record, start(0));
        EXPECT_CALL(port(), interruptGrab());
    }
    recorder.tavu->startRecording(0b1, 0, 0, 0, false, 0);

    frameWillBe(frameOf(4, 2, 16, 1));
    {
        InSequence order;
        EXPECT_CALL(port(), stopGrab());
        EXPECT_CALL(port(), setBitDepth(16));
        EXPECT_CALL(port(), startGrab(grabOptions(), 0));
        EXPECT_CALL(port(), grab(_, _, _, _, _, _, _));
    }
    liveFrame();
}

TEST_F(Live, AFrameIsCheckedAndCutToTheRegion) {
    EXPECT_CALL(port(), setBitDepth(16));
    EXPECT_CALL(port(), startGrab(grabOptions(), 0));
    const std::string mapping = recorder.tavu->startLive(0);

    frameWillBe(frameOf(8, 4, 12, 1));
    uint16_t width = 0;
    uint16_t height = 0;
    uint32_t imageSize = 0;
    EXPECT_EQ(thrownText([&] { recorder.tavu->liveFrame(0, width, height, imageSize); }), "Bad frame size.");
    EXPECT_EQ(std::tie(width, height, imageSize), std::make_tuple(8, 4, 64u));

    // Larger than the configured geometry: the region takes what it holds, and the true size is told.
    frameWillBe(frameOf(8, 4, 16, 9));
    EXPECT_EQ(liveFrame(), std::make_tuple(8, 4, 64u));
    SharedRegion region;
    ASSERT_TRUE(region.open(mapping));
    EXPECT_EQ(static_cast<const uint8_t*>(region.view())[15], 9);
}

}  // namespace
}  // namespace tavu::test
