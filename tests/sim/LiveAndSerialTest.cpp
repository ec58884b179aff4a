#include "SimFixture.h"
#include "support/ServiceProcess.h"

#include <gmock/gmock.h>

#include <atomic>
#include <chrono>
#include <thread>

namespace tavu::test {
namespace {

using namespace std::chrono_literals;
using Clock = std::chrono::steady_clock;

constexpr uint32_t Width = 8;
constexpr uint32_t Height = 4;

// REC-A with a 12-bit camera on A1 (bit depth setting, serial channel), an 8-bit one on A2
// (packing setting) and no camera on A3.
class LivePorts : public SimFixture {
protected:
    void SetUp() override {
        nlohmann::json description = twoRecorders();
        auto& ports = description["recorders"][0]["ports"];
        ports[0]["bitDepth"] = 12;
        ports[0]["hasSerial"] = true;
        ports[1]["bitDepth"] = 8;
        ports[1]["cameraAsleep"] = false;
        ports.push_back({{"name", "A3"}, {"cameraDetected", false}});
        writeDescription(description);
        for (uint32_t index = 0; index < 3; ++index) {
            this->ports.push_back(recorderA()->port(index));
            describeFrames(*this->ports.back(), Width, Height);
        }
    }
    boost::shared_ptr<Common::Frame> grab(uint32_t port, uint32_t timeout = 1000) {
        boost::shared_ptr<Common::Frame> frame;
        ports[port]->grab(frame, timeout, true, false, true, false, true);
        return frame;
    }
    std::string receive(Quillon::SerialPort& serial, uint64_t size) {
        const auto bytes = buffer(size);
        if (!serial.receive(bytes, 100, "")) {
            return "(nothing)";
        }
        return std::string(bytes->data(), bytes->data() + size);
    }

    std::vector<boost::shared_ptr<Quillon::Port>> ports;
};

TEST_F(LivePorts, GrabsDeliverTheRampAtTheDepthThatThePortIsSetTo) {
    EXPECT_FALSE(grab(0)) << "not grabbing";
    ports[0]->startGrab(Quillon::GrabOptions{true, 4}, 0);
    auto frame = grab(0);
    ASSERT_TRUE(frame);
    EXPECT_EQ(frame->dataType()->bitDepth(), 12u);
    std::vector<uint16_t> pixels = pixelsOf(*frame);
    std::vector<uint16_t> expected = ramp(0, pixels[0], Width, Height);
    for (uint16_t& value : expected) {
        value &= 0xFFF;
    }
    EXPECT_EQ(pixels, expected);

    ports[0]->setBitDepth(16);
    frame = grab(0);
    ASSERT_TRUE(frame);
    EXPECT_EQ(frame->dataType()->bitDepth(), 16u);
    EXPECT_EQ(frame->dataType()->width(), Width);
    pixels = pixelsOf(*frame);
    EXPECT_EQ(pixels, ramp(0, pixels[0], Width, Height));
    EXPECT_GT(pixels[0], expected[0]) << "a later frame";

    ports[1]->startGrab(Quillon::GrabOptions{true, 4}, 0);
    frame = grab(1);
    ASSERT_TRUE(frame);
    EXPECT_EQ(frame->dataType()->bitDepth(), 8u);
    EXPECT_EQ(frame->buffer()->size(), Width * Height);
    ports[1]->setPacking(0);
    EXPECT_EQ(grab(1)->dataType()->bitDepth(), 16u);
}

TEST_F(LivePorts, AGrabWithoutFramesTimesOutAndAnInterruptEndsItAtOnce) {
    ports[2]->startGrab(Quillon::GrabOptions{true, 4}, 0);
    const auto before = Clock::now();
    EXPECT_FALSE(grab(2, 100));
    EXPECT_GE(Clock::now() - before, 100ms);

    std::atomic<bool> ended = false;
    boost::shared_ptr<Common::Frame> frame;
    std::thread waiting([&] {
        ports[2]->grab(frame, 60'000, true, false, true, false, true);
        ended = true;
    });
    // An interrupt ends only a grab that waits already: repeat it until the grab has ended.
    EXPECT_TRUE(eventually([&] {
        ports[2]->interruptGrab();
        return ended.load();
    }));
    waiting.join();
    EXPECT_FALSE(frame);
}

TEST_F(LivePorts, TheSerialChannelAnswersLinesAndKeepsItsSettings) {
    EXPECT_EQ(libraryError([&] { ports[1]->serial(); }), "Port A2 has no serial channel.");
    const auto serial = ports[0]->serial();
    EXPECT_EQ(libraryError([&] { serial->send(buffer(1)); }), "The serial channel of port A1 is not enabled.");
    serial->setBaudRate(115200);
    serial->setParity(2);
    serial->setStopBits(2);
    serial->setWatermark(serial->watermarkLimit() / 16);
    serial->setEnabled(true);
    EXPECT_EQ(readState("REC-A")["ports"][0]["serial"],
              nlohmann::json::parse(
                  R"({"enabled": true, "baudRate": 115200, "parity": 2, "stopBits": 2, "watermark": 256})"));
    EXPECT_EQ(libraryError([&] { serial->setParity(3); }),
              "The serial channel of port A1 takes parity 0 (none), 1 (odd) or 2 (even), not 3.");

    const auto send = [&](const std::string& text) { serial->send(library().createBuffer(text.data(), text.size())); };
    send("ID?\r");
    EXPECT_EQ(receive(*serial, 10), "SIMCAM A1\r");
    send("hello");
    const auto before = Clock::now();
    EXPECT_EQ(receive(*serial, 5), "(nothing)") << "a line goes back whole";
    EXPECT_GE(Clock::now() - before, 100ms);
    send("\r");
    EXPECT_EQ(receive(*serial, 6), "hello\r");
}

}  // namespace
}  // namespace tavu::test
