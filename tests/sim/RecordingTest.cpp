#include "SimFixture.h"
#include "support/ServiceProcess.h"

#include <gmock/gmock.h>

#include <fstream>

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
    // The process dies while handles are out: they go, and the library with them.
    void dieAndComeBack(const nlohmann::json& description) {
        ports.clear();
        control.reset();
        record.reset();
        set.reset();
        device.reset();
        unload();
        writeDescription(description);
        open();
        set = device->storage(0)->driveSets()->open(1);
    }
    void setFlag(const char* name, bool value) { control->parameter(name)->set(Value::boolean(value)); }
    void setTime(const char* name, uint64_t value) { control->parameter(name)->set(Value::unsigned64(value)); }
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

TEST_F(Recordings, ATimeLimitEndsARecordingAndAStopKeepsWhatReachedTheDrive) {
    setFlag("Stop Time Enable", true);
    setTime("Stop Time Value", 100'000);
    record->addPort(ports[0], 0, 1, boost::none, "");
    record->start(0);
    ASSERT_TRUE(finishes(0));
    // 200 frames a second for 100 ms, or fewer where a busy machine thinned them.
    EXPECT_GE(status(0).frames, 5u);
    EXPECT_LE(status(0).frames, 20u);
    const uint32_t first = record->stopPort(ports[0], 0);

    setFlag("Stop Time Enable", false);
    const uint32_t stream = record->addPort(ports[0], 0, 1, boost::none, "");
    record->start(0);
    ASSERT_TRUE(eventually([&] { return status(0).frames >= 20; }));
    EXPECT_FALSE(status(0).isRecordingFinished());
    EXPECT_EQ(status(0).state, 3u);
    const uint32_t second = record->stopPort(ports[0], 0);
    EXPECT_NE(second, first);
    EXPECT_TRUE(status(0).isRecordingFinished());
    const uint64_t counted = status(0).frames;
    EXPECT_EQ(set->openFile(second)->streamById(stream)->frames(0, 0, false, false)->frameCount(), counted);
}

TEST_F(Recordings, ThePretriggerLoopFillsUntilTheSoftwareTriggerAndLeadsTheStream) {
    control->connectInput(device->triggerBank()->element(Quillon::TriggerBank::KindSoftwareSource, 0), 0, false);
    setFlag("Start Enable", true);
    setFlag("Pretrigger Enable", true);
    setTime("Pretrigger Loop Time Value", 50'000);  // 10 frames at 200 a second
    setFlag("Software Start Trigger", false);
    setFlag("Stop Frame Count Enable", true);
    control->parameter("Stop Frame Count Value")->set(Value::unsigned32(15));
    const uint32_t stream = record->addPort(ports[0], 0, 1, boost::none, "");
    record->start(0);
    ASSERT_TRUE(eventually([&] { return status(0).frames == 10; }));
    EXPECT_EQ(status(0).state, Quillon::Record::Status::StatePretrigger);

    setFlag("Software Start Trigger", true);
    ASSERT_TRUE(finishes(0));
    const uint32_t file = record->stopPort(ports[0], 0);
    const std::vector<uint64_t> frames = cameraFrames(*set->openFile(file)->streamById(stream), 0);
    ASSERT_EQ(frames.size(), 15u);
    EXPECT_EQ(frames, consecutive(frames[0], 15));
}

TEST_F(Recordings, EdgesOfTheExternalInputStartAndStop) {
    const auto external = device->triggerBank()->element(Quillon::TriggerBank::KindExternalInput, 0);
    control->connectInput(external, 0, false);  // rising edge
    control->connectInput(external, 1, true);   // falling edge
    setFlag("Start Enable", true);
    setFlag("Stop Enable", true);
    record->addPort(ports[1], 0, 2, boost::none, "");
    record->start(0);
    EXPECT_EQ(status(1).state, 1u);

    nlohmann::json description = nlohmann::json::parse(std::ifstream(root() / "recorders.json"));
    description["recorders"][0]["externalInput"] = true;
    writeDescription(description);
    ASSERT_TRUE(eventually([&] { return status(1).state == 3 && status(1).frames > 0; }));
    description["recorders"][0]["externalInput"] = false;
    writeDescription(description);
    ASSERT_TRUE(finishes(1));
    EXPECT_NE(record->stopPort(ports[1], 0), 0u);
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

class Recovery : public Recordings {
protected:
    // A recording of both ports that is cut off once each port filled blocks on the drive.
    uint32_t recordUntilTheProcessDies(nlohmann::json description) {
        record->addPort(ports[0], 0, 1, boost::none, "");
        record->addPort(ports[1], 0, 2, boost::none, "");
        record->start(0);
        EXPECT_TRUE(eventually([&] { return status(0).frames >= 40 && status(1).frames >= 20; }));
        dieAndComeBack(description);
        return set->incompleteFileId();
    }
    bool ends(Quillon::Recovery& job) {
        return eventually([&] { return job.isFinished(); });
    }
};

TEST_F(Recovery, ARepairedFileHoldsTheFramesThatReachedTheDrive) {
    const uint32_t file = recordUntilTheProcessDies(twoRecorders());
    ASSERT_NE(file, 0u);
    EXPECT_EQ(set->fileIds().size(), 1u);
    EXPECT_EQ(set->openFile(file)->streamByIndex(0)->frames(0, 0, false, false)->frameCount(), 0u);

    const auto job = set->recover(file);
    ASSERT_TRUE(ends(*job));
    EXPECT_TRUE(job->isSuccessful()) << job->errorText().c_str();
    EXPECT_FALSE(job->isCancelled());
    EXPECT_EQ(set->incompleteFileId(), 0u);
    const auto drive = set->openFile(file);
    ASSERT_EQ(drive->streamCount(), 2u);
    for (const uint32_t port : {0u, 1u}) {
        const auto stream = drive->streamByIndex(port);
        EXPECT_EQ(stream->portName().c_str(), std::string(port == 0 ? "A1" : "A2"));
        const std::vector<uint64_t> frames = cameraFrames(*stream, port);
        EXPECT_GE(frames.size(), 15u);
        EXPECT_EQ(frames, consecutive(0, frames.size()));
    }
    EXPECT_EQ(libraryError([&] { set->recover(file); }), "File 1 of drive set 1 needs no recovery.");
}

TEST_F(Recovery, AJobCanBeCancelledAndFailsOnADamagedFile) {
    nlohmann::json slow = twoRecorders();
    slow["recorders"][0]["recoveryMillisecondsPerBlock"] = 60'000;
    const uint32_t file = recordUntilTheProcessDies(slow);
    ASSERT_NE(file, 0u);
    const auto cancelled = set->recover(file);
    EXPECT_FALSE(cancelled->isFinished());
    cancelled->cancel();
    ASSERT_TRUE(ends(*cancelled));
    EXPECT_TRUE(cancelled->isCancelled());
    EXPECT_FALSE(cancelled->isSuccessful());
    EXPECT_EQ(set->incompleteFileId(), file);

    std::fstream(root() / "REC-A" / "set-1" / "file-1.data", std::ios::in | std::ios::out | std::ios::binary)
        << "DAMAGED!";
    const auto failed = set->recover(file);
    ASSERT_TRUE(ends(*failed));
    EXPECT_FALSE(failed->isSuccessful());
    EXPECT_FALSE(failed->isCancelled());
    EXPECT_EQ(std::string(failed->errorText().c_str()), "File 1 is damaged: block 0 has no valid header.");
    EXPECT_EQ(set->incompleteFileId(), file);
}

}  // namespace
}  // namespace tavu::test
