#include "SimFixture.h"
#include "support/ServiceProcess.h"

#include <gmock/gmock.h>

#include <numeric>

namespace tavu::test {
namespace {

using testing::ElementsAre;
using Value = Quillon::ParameterValue;

constexpr uint32_t Width = 32;
constexpr uint32_t Height = 16;

// REC-A with cameras of 200 and 100 frames a second on its two ports, both described with
// frames of 32 x 16 and attached to one drive set: blocks of 16 KiB hold 15 frames and a bit.
class Recordings : public SimFixture {
protected:
    void SetUp() override {
        nlohmann::json description = twoRecorders();
        description["recorders"][0]["ports"][0]["measuredFrameRate"] = 200.0;
        description["recorders"][0]["ports"][1]["measuredFrameRate"] = 100.0;
        description["recorders"][0]["ports"][1]["cameraAsleep"] = false;
        writeDescription(description);
        open();
        set = createDriveSetOfAllDrives(*device);
        for (const auto& port : ports) {
            describeFrames(*port, Width, Height);
            record->attachDriveSet(set, port);
        }
    }
    void open() {
        device = recorderA();
        record = device->record();
        control = device->triggerBank()->element(Quillon::TriggerBank::KindRecordControl, 0);
        ports = {device->port(0), device->port(1)};
    }
    void setFlag(const char* name, bool value) { control->parameter(name)->set(Value::boolean(value)); }
    Quillon::Record::Status status(uint32_t port) { return *record->status(ports[port]); }
    bool finishes(uint32_t port) {
        return eventually([&] { return status(port).isRecordingFinished(); });
    }
    // The camera frame numbers of a stream, each frame checked pixel by pixel against the ramp.
    std::vector<uint64_t> cameraFrames(Quillon::RecordedStream& stream, uint32_t port) {
        const auto frames = stream.frames(0, 0, false, false);
        std::vector<uint64_t> numbers;
        for (uint64_t index = 0; index < frames->frameCount();) {
            boost::shared_ptr<Common::Frame> frame;
            frames->readFrames(frame, index, 1);
            if (!frame) {
                ADD_FAILURE() << "no frame " << index;
                break;
            }
            const std::vector<uint16_t> pixels = pixelsOf(*frame);
            const uint64_t number = static_cast<uint16_t>(pixels.at(0) - 4096 * port);
            EXPECT_EQ(pixels, ramp(port, number, Width, Height)) << "frame " << index;
            numbers.push_back(number);
        }
        return numbers;
    }
    static std::vector<uint64_t> consecutive(uint64_t first, uint64_t count) {
        std::vector<uint64_t> numbers(count);
        std::iota(numbers.begin(), numbers.end(), first);
        return numbers;
    }

    boost::shared_ptr<Quillon::Device> device;
    boost::shared_ptr<Quillon::Record> record;
    boost::shared_ptr<Quillon::TriggerElement> control;
    std::vector<boost::shared_ptr<Quillon::Port>> ports;
    boost::shared_ptr<Quillon::DriveSet> set;
};

TEST_F(Recordings, TwoPortsStopAfterAFrameCountAndShareOneFileOfTwoStreams) {
    setFlag("Stop Frame Count Enable", true);
    control->parameter("Stop Frame Count Value")->set(Value::unsigned32(5));
    const uint32_t streamA = record->addPort(ports[0], 42, 1, boost::none, "");
    const uint32_t streamB = record->addPort(ports[1], 42, 2, boost::none, "");
    EXPECT_NE(streamA, streamB);
    record->start(0);
    ASSERT_TRUE(finishes(0) && finishes(1));
    EXPECT_EQ(status(0).frames, 5u);
    const uint32_t file = record->stopPort(ports[0], 0);
    EXPECT_EQ(record->stopPort(ports[1], 0), file);
    EXPECT_EQ(record->stopPort(ports[1], 0), 0u);

    EXPECT_EQ(set->fileIds().size(), 1u);
    EXPECT_EQ(set->fileIds()[0], file);
    EXPECT_EQ(set->incompleteFileId(), 0u);
    EXPECT_GT(set->capacityInfo(true)->usedBytes(), 0u);
    const auto drive = set->openFile(file);
    ASSERT_EQ(drive->streamCount(), 2u);
    EXPECT_EQ(drive->streamIdByIndex(0), streamA);
    EXPECT_EQ(drive->streamByIndex(1)->portName().c_str(), std::string("A2"));
    for (const uint32_t port : {0u, 1u}) {
        const auto stream = drive->streamById(port == 0 ? streamA : streamB);
        const auto type = stream->frames(0, 0, false, false)->dataType();
        EXPECT_EQ(type->width(), Width);
        EXPECT_EQ(type->height(), Height);
        EXPECT_EQ(type->bitDepth(), 16u);
        EXPECT_EQ(cameraFrames(*stream, port), consecutive(0, 5));
    }
    // Several frames at once, and nothing past the end.
    const auto frames = drive->streamById(streamA)->frames(0, 0, false, false);
    boost::shared_ptr<Common::Frame> frame;
    uint64_t index = 3;
    frames->readFrames(frame, index, 4);
    ASSERT_TRUE(frame);
    EXPECT_EQ(index, 5u);
    EXPECT_EQ(frame->buffer()->size(), 2u * Width * Height * 2);
    frames->readFrames(frame, index, 1);
    EXPECT_FALSE(frame);
}

TEST_F(Recordings, AStartNeedsAddedPortsThatAreAttachedAndNotRecording) {
    EXPECT_EQ(libraryError([&] { record->start(0); }), "Recorder REC-A has no port added to record.");
    record->detachPort(ports[1]);
    record->addPort(ports[1], 0, 2, boost::none, "");
    EXPECT_EQ(libraryError([&] { record->start(0); }), "Port A2 is not attached to a drive set.");
    record->attachDriveSet(set, ports[1]);
    record->start(0);
    record->addPort(ports[1], 0, 2, boost::none, "");
    EXPECT_EQ(libraryError([&] { record->start(0); }), "Port A2 is still recording.");
    EXPECT_EQ(libraryError([&] { device->storage(0)->driveSets()->remove(1); }),
              "Drive set 1 is being recorded to.");
    EXPECT_NE(record->stopPort(ports[1], 0), 0u);
}

}  // namespace
}  // namespace tavu::test
