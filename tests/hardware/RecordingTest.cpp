#include "Recorder.h"
#include "records/MetaRecord.h"

#include <gtest/gtest.h>

namespace tavu::test {
namespace {

using testing::_;
using testing::InSequence;
using testing::Return;
using Settings = std::vector<std::pair<std::string, ParameterValue>>;

ParameterValue on(bool value) { return ParameterValue::boolean(value); }

Ptr<Quillon::Record::Status> status(uint64_t frames, uint32_t state = 0, bool finished = false) {
    auto result = boost::make_shared<Quillon::Record::Status>();
    result->frames = frames;
    result->state = state;
    result->finished = finished;
    return result;
}

class Recording : public testing::Test {
protected:
    Recording() {
        recorder.connect();
        recorder.tavu->setPortConfig(0, {64, 48, 0, 0});
        recorder.tavu->setPortConfig(1, {32, 16, 0, 0});
    }

    Ptr<Quillon::Port> port(uint32_t index) { return recorder.ports[index]; }

    Recorder recorder;
};

TEST_F(Recording, TheMaskIsCheckedBeforeTheKindOfDevice) {
    ON_CALL(*recorder.device, kind()).WillByDefault(Return(Quillon::Device::KindVirtual));
    EXPECT_EQ(thrownText([&] { recorder.tavu->startRecording({0, 0, StopCondition{0}, 0, false, 0}); }),
              "At least one port must be enabled for record.");
    EXPECT_EQ(thrownText([&] { recorder.tavu->startRecording({0b101, 0, StopCondition{0}, 0, false, 0}); }), "Invalid port mask.");
    EXPECT_EQ(thrownText([&] { recorder.tavu->startRecording({0b10, 0, StopCondition{0}, 0, false, 0}); }),
              "Virtual devices cannot record.");
    ON_CALL(*recorder.device, kind()).WillByDefault(Return(0));
    recorder.setDriveSets({});
    EXPECT_EQ(thrownText([&] { recorder.tavu->startRecording({0b10, 0, StopCondition{0}, 0, false, 0}); }), "No drive set.");
}

TEST_F(Recording, APretriggerWaitsForTheSoftwareSource) {
    {
        InSequence order;
        EXPECT_CALL(*recorder.record, addPort(port(0), TestLibrary::Now, 1, testing::Eq(boost::none), text("")))
            .WillOnce(Return(41));
        EXPECT_CALL(*recorder.recordControl, connectInput(Ptr<Quillon::TriggerElement>(recorder.softwareSource), 0, false));
        EXPECT_CALL(*recorder.record, start(0));
    }
    recorder.tavu->startRecording({0b01, 0, StopCondition{0}, 999, true, 77});
    EXPECT_EQ(recorder.recordControl->settings,
              (Settings{{"Start Enable", on(true)},
                        {"Stop Enable", on(false)},
                        {"Pretrigger Enable", on(true)},
                        {"Pretrigger Loop Time Value", ParameterValue::unsigned64(77)},
                        {"Software Start Trigger", on(false)},
                        {"Stop Frame Count Enable", on(false)},
                        {"Stop Time Enable", on(false)}}));
    const RecordingFile file = recorder.tavu->recordingFile(0);
    EXPECT_EQ(std::tie(file.fileId, file.streamId), std::make_tuple(0u, 41u));

    EXPECT_CALL(*recorder.record, status(port(0))).WillOnce(Return(status(5, 2)));
    const RecordingProgress progress = recorder.tavu->recordingProgress(0);
    EXPECT_EQ(progress.numFrames, 5u);
    EXPECT_TRUE(progress.inPretrigger);

    recorder.recordControl->settings.clear();
    recorder.tavu->softwareTrigger();
    EXPECT_EQ(recorder.recordControl->settings, (Settings{{"Software Start Trigger", on(true)}}));
}

TEST_F(Recording, TheExternalInputStartsAndStopsWithItsVariants) {
    const Ptr<Quillon::TriggerElement> external = recorder.externalInput;
    EXPECT_CALL(*recorder.recordControl, connectInput(external, 0, true));
    EXPECT_CALL(*recorder.recordControl, connectInput(external, 1, false));
    // A frame count is cut to 32 bits: 2^32 + 5 means 5.
    recorder.tavu->startRecording({0b11, 0x13, StopCondition{1}, (uint64_t{1} << 32) + 5, false, 9});
    EXPECT_EQ(recorder.recordControl->settings,
              (Settings{{"Start Enable", on(true)},
                        {"Stop Enable", on(true)},
                        {"Pretrigger Enable", on(false)},
                        {"Pretrigger Loop Time Value", ParameterValue::unsigned64(9)},
                        {"Stop Time Enable", on(false)},
                        {"Stop Frame Count Enable", on(true)},
                        {"Stop Frame Count Value", ParameterValue::unsigned32(5)}}));
}

TEST_F(Recording, WithoutTriggersTheRecordingStartsAtOnce) {
    EXPECT_CALL(*recorder.recordControl, connectInput(_, _, _)).Times(0);
    recorder.tavu->startRecording({0b01, 0, StopCondition{2}, 1234, false, 5});
    EXPECT_EQ(recorder.recordControl->settings,
              (Settings{{"Start Enable", on(false)},
                        {"Stop Enable", on(false)},
                        {"Pretrigger Enable", on(false)},
                        {"Stop Frame Count Enable", on(false)},
                        {"Stop Time Enable", on(true)},
                        {"Stop Time Value", ParameterValue::unsigned64(1234)}}));

    // A variant bit alone still takes the external branch, and leaves the software trigger be.
    recorder.recordControl->settings.clear();
    recorder.tavu->startRecording({0b01, 0x10, StopCondition{3}, 1234, true, 5});
    EXPECT_EQ(recorder.recordControl->settings,
              (Settings{{"Start Enable", on(false)},
                        {"Stop Enable", on(false)},
                        {"Pretrigger Enable", on(true)},
                        {"Pretrigger Loop Time Value", ParameterValue::unsigned64(5)},
                        {"Stop Frame Count Enable", on(false)},
                        {"Stop Time Enable", on(false)}}));
}

class Stop : public Recording {
protected:
    static constexpr uint32_t FileId = 55;

    Stop() {
        ON_CALL(*recorder.record, addPort(port(0), _, _, _, _)).WillByDefault(Return(41));
        ON_CALL(*recorder.record, addPort(port(1), _, _, _, _)).WillByDefault(Return(42));
        ON_CALL(*recorder.record, stopPort(_, 0)).WillByDefault(Return(FileId));
        ON_CALL(*recorder.driveSet, openFile(FileId)).WillByDefault(Return(file));
        ON_CALL(*file, metadataCapacity()).WillByDefault(Return(2048));
        ON_CALL(*file, writeMetadata(_)).WillByDefault([this](const Ptr<Common::Buffer>& buffer) {
            readMetaList(written, buffer->data(), buffer->size());
        });
        streamWithFrames(41, 10);
        streamWithFrames(42, 0);
    }

    void streamWithFrames(uint32_t streamId, uint64_t frames) {
        auto sequence = boost::make_shared<Nice<MockFrameSequence>>();
        ON_CALL(*sequence, frameCount()).WillByDefault(Return(frames));
        auto stream = boost::make_shared<Nice<MockRecordedStream>>();
        ON_CALL(*stream, frames(0, 0, false, false)).WillByDefault(Return(sequence));
        ON_CALL(*file, streamById(streamId)).WillByDefault(Return(stream));
    }

    Ptr<Nice<MockDriveFile>> file = boost::make_shared<Nice<MockDriveFile>>();
    std::vector<FileRecord> written;
};

TEST_F(Stop, WritesOneMetaBlockPerFileWithTheStreamsThatHaveFrames) {
    const std::vector<uint8_t> block(20000, 3);
    recorder.tavu->pairPort(0, "camera", {block.data(), static_cast<uint32_t>(block.size())}, 4);
    recorder.tavu->startRecording({0b11, 0, StopCondition{0}, 0, false, 0});
    EXPECT_CALL(*file, writeMetadata(_));
    recorder.tavu->stopRecording();

    ASSERT_EQ(written.size(), 1u);
    const FileRecord& entry = written[0];
    EXPECT_EQ(entry.name, "55-41");
    EXPECT_EQ(entry.port, "Cam0");
    EXPECT_EQ(entry.camera, "camera");
    EXPECT_EQ(std::tie(entry.fileId, entry.streamId, entry.width, entry.height, entry.numFrames),
              std::make_tuple(55u, 41u, 64, 48, 10u));
    EXPECT_EQ(entry.size, 64u * 48 * 10 * 2);
    // Too large for the metadata: the block went into the stream's info file.
    EXPECT_TRUE(entry.info.empty());
    EXPECT_TRUE(recorder.store.has("55-41.info"));
    EXPECT_EQ(recorder.tavu->listFiles(), written);

    const RecordingFile file = recorder.tavu->recordingFile(1);
    EXPECT_EQ(std::tie(file.fileId, file.streamId), std::make_tuple(55u, 42u));
    // Done: progress comes from memory.
    EXPECT_CALL(*recorder.record, status(_)).Times(0);
    const RecordingProgress progress = recorder.tavu->recordingProgress(1);
    EXPECT_EQ(progress.numFrames, 0u);
    EXPECT_FALSE(progress.inPretrigger);
    EXPECT_TRUE(recorder.tavu->isRecordingDone());
}

TEST_F(Stop, PortsSharingAFileShareItsMetaBlockInPortOrder) {
    streamWithFrames(42, 3);
    recorder.tavu->startRecording({0b11, 0, StopCondition{0}, 0, false, 0});
    EXPECT_CALL(*file, writeMetadata(_));
    recorder.tavu->stopRecording();
    ASSERT_EQ(written.size(), 2u);
    EXPECT_EQ(std::tie(written[0].name, written[0].port), std::make_tuple("55-41", "Cam0"));
    EXPECT_EQ(std::tie(written[1].name, written[1].port), std::make_tuple("55-42", "Cam1"));
}

TEST_F(Stop, APortWithoutAFileStaysFlagged) {
    ON_CALL(*recorder.record, stopPort(port(1), 0)).WillByDefault(Return(0));
    recorder.tavu->startRecording({0b11, 0, StopCondition{0}, 0, false, 0});
    recorder.tavu->stopRecording();
    ASSERT_EQ(written.size(), 1u);
    EXPECT_EQ(written[0].streamId, 41u);

    // The recording is over, yet the library is still asked about that port, and a further stop
    // stops it alone.
    EXPECT_CALL(*recorder.record, status(port(0))).Times(0);
    EXPECT_CALL(*recorder.record, status(port(1))).WillOnce(Return(status(0)));
    EXPECT_FALSE(recorder.tavu->isRecordingDone());
    EXPECT_CALL(*recorder.record, stopPort(port(0), _)).Times(0);
    EXPECT_CALL(*recorder.record, stopPort(port(1), 0));
    recorder.tavu->stopRecording();
}

class Recovery : public Stop {
protected:
    static constexpr uint32_t IncompleteId = 9;

    Recovery() {
        ON_CALL(*recorder.driveSet, incompleteFileId()).WillByDefault(Return(IncompleteId));
        ON_CALL(*recorder.driveSet, recover(IncompleteId)).WillByDefault(Return(job));
        ON_CALL(*recorder.driveSet, openFile(IncompleteId)).WillByDefault(Return(file));
    }

    Ptr<Nice<MockRecovery>> job = boost::make_shared<Nice<MockRecovery>>();
};

TEST_F(Recovery, StatusFollowsTheJobUntilAPollSeesItsEnd) {
    EXPECT_EQ(thrownText([&] { recorder.tavu->cancelRecovery(); }), "Recovery not in progress.");
    recorder.tavu->startRecovery();
    EXPECT_EQ(recorder.tavu->recoveryStatus(), RecoveryStatus{1});
    ON_CALL(*job, isFinished()).WillByDefault(Return(true));
    ON_CALL(*job, errorText()).WillByDefault(Return(String("bad sector")));
    // Ended, but not yet seen by a poll.
    EXPECT_EQ(thrownText([&] { recorder.tavu->startRecovery(); }), "Recovery already in progress.");
    EXPECT_EQ(recorder.tavu->recoveryStatus(), RecoveryStatus{2});
    EXPECT_EQ(recorder.tavu->recoveryError(), "bad sector");
    EXPECT_EQ(recorder.tavu->recoveryStatus(), RecoveryStatus{2});

    recorder.tavu->startRecovery();
    EXPECT_CALL(*job, cancel());
    recorder.tavu->cancelRecovery();
    ON_CALL(*job, isCancelled()).WillByDefault(Return(true));
    EXPECT_EQ(recorder.tavu->recoveryStatus(), RecoveryStatus{4});
    // Kept across jobs.
    EXPECT_EQ(recorder.tavu->recoveryError(), "bad sector");

    recorder.tavu->startRecovery();
    ON_CALL(*job, isCancelled()).WillByDefault(Return(false));
    ON_CALL(*job, isSuccessful()).WillByDefault(Return(true));
    EXPECT_EQ(recorder.tavu->recoveryStatus(), RecoveryStatus{3});
    EXPECT_EQ(recorder.tavu->recoveryStatus(), RecoveryStatus{3});
    // Until the next connection.
    recorder.tavu->markDisconnected();
    recorder.tavu->reconnect();
    EXPECT_EQ(recorder.tavu->recoveryStatus(), RecoveryStatus{0});
}

TEST_F(Recovery, FinishingCataloguesTheStreamsOfKnownPorts) {
    EXPECT_EQ(thrownText([&] { recorder.tavu->finishRecovery(); }), "no incomplete file.");
    recorder.tavu->startRecovery();
    auto stream = [&](uint32_t index, uint32_t streamId, const char* portName) {
        auto recorded = boost::make_shared<Nice<MockRecordedStream>>();
        auto sequence = boost::make_shared<Nice<MockFrameSequence>>();
        ON_CALL(*sequence, frameCount()).WillByDefault(Return(7));
        ON_CALL(*recorded, frames(0, 0, false, false)).WillByDefault(Return(sequence));
        ON_CALL(*recorded, portName()).WillByDefault(Return(String(portName)));
        ON_CALL(*file, streamByIndex(index)).WillByDefault(Return(recorded));
        ON_CALL(*file, streamIdByIndex(index)).WillByDefault(Return(streamId));
    };
    stream(0, 4, "Gone");
    stream(1, 5, "Cam1");
    ON_CALL(*file, streamCount()).WillByDefault(Return(2));
    recorder.tavu->pairPort(1, "camera", {}, 1);
    recorder.tavu->finishRecovery();

    ASSERT_EQ(written.size(), 1u);
    EXPECT_EQ(written[0].name, "9-5");
    EXPECT_EQ(written[0].port, "Cam1");
    EXPECT_EQ(written[0].camera, "");
    EXPECT_EQ(std::tie(written[0].width, written[0].height, written[0].numFrames), std::make_tuple(32, 16, 7u));
    EXPECT_EQ(recorder.tavu->listFiles(), written);
}

}  // namespace
}  // namespace tavu::test
