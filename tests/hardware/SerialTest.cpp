#include "Recorder.h"

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

class Serial : public testing::Test {
protected:
    Serial() {
        recorder.connect();
        ON_CALL(port(), hasSerial()).WillByDefault(Return(true));
        ON_CALL(port(), isCameraDetected()).WillByDefault(Return(true));
        ON_CALL(port(), serial()).WillByDefault(Return(channel));
        ON_CALL(*channel, isEnabled()).WillByDefault(Return(true));
    }

    Nice<MockPort>& port() { return *recorder.ports[1]; }

    Recorder recorder;
    Ptr<Nice<MockSerialPort>> channel = boost::make_shared<Nice<MockSerialPort>>();
};

TEST_F(Serial, OpeningSetsUpAndEnablesTheChannel) {
    {
        InSequence order;
        EXPECT_CALL(*channel, setBaudRate(115200));
        EXPECT_CALL(*channel, setParity(2));
        EXPECT_CALL(*channel, setStopBits(1));
        EXPECT_CALL(*channel, watermarkLimit()).WillOnce(Return(4096));
        EXPECT_CALL(*channel, setWatermark(256));
        EXPECT_CALL(*channel, setEnabled(true));
    }
    recorder.tavu->serialOpen(1, 115200, 2, 1);
    EXPECT_EQ(thrownText([&] { recorder.tavu->serialOpen(1, 9600, 0, 0); }), "Serial port already open.");
}

TEST_F(Serial, OpeningNeedsAChannelAndACamera) {
    ON_CALL(port(), isCameraDetected()).WillByDefault(Return(false));
    EXPECT_EQ(thrownText([&] { recorder.tavu->serialOpen(1, 9600, 0, 0); }), "camera not detected");
    ON_CALL(port(), hasSerial()).WillByDefault(Return(false));
    EXPECT_EQ(thrownText([&] { recorder.tavu->serialOpen(1, 9600, 0, 0); }), "serial not supported on this device");
    EXPECT_EQ(thrownText([&] { recorder.tavu->serialGetBaudRate(1); }), "Serial port not open.");
}

TEST_F(Serial, TransfersNeedAnEnabledChannelAndMoveAllOrNothing) {
    recorder.tavu->serialOpen(1, 9600, 0, 0);
    EXPECT_CALL(*channel, receive(_, 100, text(""))).WillOnce([](const Ptr<Common::Buffer>& buffer, uint32_t, const String&) {
        std::fill_n(buffer->data(), buffer->size(), 0xAB);
        return true;
    }).WillOnce(Return(false));
    uint8_t bytes[3] = {};
    EXPECT_EQ(recorder.tavu->serialRead(1, {bytes, 3}), 3u);
    EXPECT_EQ(bytes[2], 0xAB);
    EXPECT_EQ(thrownText([&] { recorder.tavu->serialRead(1, {bytes, 3}); }), "Serial port recieve failed.");

    ON_CALL(*channel, isEnabled()).WillByDefault(Return(false));
    EXPECT_EQ(thrownText([&] { recorder.tavu->serialWrite(1, {bytes, 3}); }), "Serial port not enabled.");
    // Setting the rate enables the channel again.
    InSequence order;
    EXPECT_CALL(*channel, setEnabled(false));
    EXPECT_CALL(*channel, setBaudRate(19200));
    EXPECT_CALL(*channel, setEnabled(true));
    recorder.tavu->serialSetBaudRate(1, 19200);
    recorder.tavu->serialClose(1);
    EXPECT_EQ(thrownText([&] { recorder.tavu->serialClear(1); }), "Serial port not open.");
}

TEST_F(Serial, ASlowTransferHoldsUpOnlyItsPort) {
    recorder.tavu->serialOpen(1, 9600, 0, 0);
    std::mutex mutex;
    std::condition_variable changed;
    bool receiving = false;
    bool release = false;
    ON_CALL(*channel, receive(_, _, _)).WillByDefault([&](const Ptr<Common::Buffer>&, uint32_t, const String&) {
        std::unique_lock lock(mutex);
        receiving = true;
        changed.notify_all();
        changed.wait(lock, [&] { return release; });
        return true;
    });
    uint8_t byte = 0;
    auto read = std::async(std::launch::async, [&] { return recorder.tavu->serialRead(1, {&byte, 1}); });
    {
        std::unique_lock lock(mutex);
        ASSERT_TRUE(changed.wait_for(lock, std::chrono::seconds(10), [&] { return receiving; }));
    }
    auto other = std::async(std::launch::async, [&] { return recorder.tavu->pairedTo(1); });
    EXPECT_EQ(other.wait_for(std::chrono::seconds(10)), std::future_status::ready);
    {
        std::lock_guard lock(mutex);
        release = true;
    }
    changed.notify_all();
    EXPECT_EQ(read.get(), 1u);
}

}  // namespace
}  // namespace tavu::test
