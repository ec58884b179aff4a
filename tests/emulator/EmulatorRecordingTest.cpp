#include <gtest/gtest.h>

#include <csignal>

#include "EmulatorFixture.h"
#include "records/FileTime.h"
#include "support/ServiceProcess.h"

namespace tavu::test {
namespace {

namespace fs = std::filesystem;

TEST_F(EmulatorTest, CountedRecordingWritesItsFramesAndPublishesTheFile) {
    TavuDeviceEmulator device;
    prepare(device, 4, 4);
    const uint64_t before = currentFileTime();
    device.startRecording({1, 0, StopCondition{1}, 10, true, 5});
    EXPECT_TRUE(device.hasIncompleteFile());
    const RecordingFile current = device.recordingFile(0);
    EXPECT_EQ(std::make_pair(current.fileId, current.streamId), std::make_pair(1u, 0u));
    ASSERT_TRUE(eventually([&] { return device.isRecordingDone(); }));
    // A recording that ended by itself still has to be stopped.
    EXPECT_FAILS_WITH(device.startRecording({1, 0, StopCondition{1}, 10, false, 0}), "Already recording");
    device.stopRecording();
    EXPECT_FAILS_WITH(device.stopRecording(), "Not recording");

    EXPECT_FALSE(device.hasIncompleteFile());
    EXPECT_EQ(fs::file_size(portFolder() / "1"), 10u * 32);
    EXPECT_EQ(progress(device), 10u);
    const FileRecord file = device.listFiles().at(0);
    EXPECT_EQ(std::tie(file.name, file.port, file.camera, file.info), std::make_tuple("1", "Emu", "cam", kBlock));
    EXPECT_EQ(std::vector<uint64_t>({file.fileId, file.streamId, file.width, file.height, file.numFrames, file.size,
                                     file.numDroppedFrames, file.startTime, file.endTime, file.duration}),
              std::vector<uint64_t>({1, 0, 4, 4, 10, 320, 0, 0, 0, 0}));
    EXPECT_GE(file.timestamp, before);
    EXPECT_LE(file.timestamp, currentFileTime());
}

// The limit is tested against the schedule after each write: frames at 0, 33, ... 1023 ms.
TEST_F(EmulatorTest, TimedRecordingOfOneSecondHasExactly32Frames) {
    TavuDeviceEmulator device;
    prepare(device, 4, 4);
    device.startRecording({1, 0, StopCondition{2}, 1'000'000, false, 0});
    ASSERT_TRUE(eventually([&] { return device.isRecordingDone(); }));
    device.stopRecording();
    EXPECT_EQ(device.listFiles().at(0).numFrames, 32u);
}

TEST_F(EmulatorTest, UnlimitedRecordingRunsUntilStoppedAndEveryRecordingHasAFrame) {
    TavuDeviceEmulator device;
    prepare(device, 4, 4);
    device.startRecording({1, 0, StopCondition{7}, 1, false, 0});
    ASSERT_TRUE(eventually([&] { return progress(device) >= 3; }));
    EXPECT_FALSE(device.isRecordingDone());
    device.stopRecording();
    EXPECT_EQ(device.listFiles().at(0).numFrames, progress(device));
    record(device, 0);
    EXPECT_EQ(device.listFiles().at(1).numFrames, 1u);
}

TEST_F(EmulatorTest, RecordingNeedsPairingConfigurationAndTheOnePort) {
    TavuDeviceEmulator device;
    EXPECT_FAILS_WITH(device.startRecording({2, 0, StopCondition{1}, 1, false, 0}), "Invalid port mask");
    device.setPortConfig(0, {4, 4, 0, 0});
    EXPECT_FAILS_WITH(device.startRecording({1, 0, StopCondition{1}, 1, false, 0}), "Not paired/configured.");
    device.pairPort(0, "cam", {}, 1);
    device.setPortConfig(0, {4, 0, 0, 0});
    EXPECT_FAILS_WITH(device.startRecording({1, 0, StopCondition{1}, 1, false, 0}), "Not paired/configured.");
    device.setPortConfig(0, {4, 4, 0, 0});
    device.startRecording({1, 2, StopCondition{1}, 1, false, 0});  // an external trigger is swallowed
    EXPECT_FAILS_WITH(device.stopRecording(), "Not recording");
    EXPECT_EQ(device.recordingFile(0).fileId, 0xFFFFFFFFu);
    EXPECT_FAILS_WITH(device.recordingFile(1), "Invalid port");
}

TEST_F(EmulatorTest, RecordingCutOffByAKilledProcessIsFoundAndDiscarded) {
    EXPECT_EXIT(
        {
            TavuDeviceEmulator device;
            prepare(device, 4, 4);
            record(device, 1);
            device.startRecording({1, 0, StopCondition{7}, 0, false, 0});
            eventually([&] { return progress(device) >= 2; });
            std::raise(SIGKILL);
        },
        testing::KilledBySignal(SIGKILL), "");
    TavuDeviceEmulator device;
    EXPECT_TRUE(device.hasIncompleteFile());
    EXPECT_EQ(fileNames(device), std::vector<std::string>{"1"});
    // Both hold the device lock when they call hasIncompleteFile, which takes it again.
    EXPECT_FAILS_WITH(device.startRecovery(), "Resource deadlock avoided");
    EXPECT_FAILS_WITH(device.recoveryStatus(), "Resource deadlock avoided");
    device.discardIncompleteFile();
    EXPECT_FALSE(device.hasIncompleteFile());
    record(device, 1);
    EXPECT_EQ(device.listFiles().back().fileId, 2u);  // the cut-off recording's entry didn't survive
}

TEST_F(EmulatorTest, FinishRecoveryFailsWithEofAndLeavesAnEmptyDescription) {
    TavuDeviceEmulator device;
    prepare(device, 4, 4);
    fs::create_directory(portFolder() / ".incomplete");
    EXPECT_FALSE(device.hasIncompleteFile());  // a folder of that name doesn't count
    EXPECT_FAILS_WITH(device.finishRecovery(), "eof");
    const fs::path description = portFolder() / "4294967295.meta";
    ASSERT_TRUE(fs::exists(description));
    EXPECT_EQ(fs::file_size(description), 0u);
    EXPECT_TRUE(device.listFiles().empty());
}

TEST_F(EmulatorTest, FinishRecoveryOnAnUnconfiguredDeviceEndsTheProcess) {
    TavuDeviceEmulator device;
    EXPECT_DEATH(device.finishRecovery(), "");
}

}  // namespace
}  // namespace tavu::test
