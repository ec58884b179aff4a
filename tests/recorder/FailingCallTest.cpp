// Recorder library calls that fail once, in the middle of what the service does: the failure
// reaches the client with the library's text, and the next call works.
#include <functional>

#include "RecorderFixture.h"
#include "client/Playback.h"

namespace tavu::test {
namespace {

using nlohmann::json;

std::string simulatedFault(const std::string& operation) {
    return operation + " failed: a fault is simulated on recorder REC-A.";
}

using FailingCall = RecorderFixture;

TEST_F(FailingCall, EachFailureReachesTheClientAndTheNextCallWorks) {
    startWithRecorderA();
    // Frames of 64 KiB on the first port: the three blocks of 128 KiB less a header hold five
    // whole frames.
    client().setPortConfig(0, 0, {256, 128, 0, 0});
    client().setPortConfig(0, 1, {256, 64, 0, 0});
    // A recording cut off by a killed service, for the repair.
    client().startRecording(0, {2, 0, StopCondition::None, 0, false, 0});
    ASSERT_TRUE(eventually([&] { return client().recordingProgress(0, 1).numFrames >= 12; }));
    service->kill(SIGKILL);
    ASSERT_TRUE(service->waitForExit());
    startService(1);
    ASSERT_TRUE(client().hasIncompleteFile(0));
    const std::vector<FileRecord> ten = recordFrames(1, 10, 256, 128);
    ASSERT_EQ(ten.size(), 1u);

    const struct {
        const char* name;
        json fault;
        std::function<void()> walk;
    } cases[] = {
        {"metadata write at the stop", {{"operation", "DriveFile::writeMetadata"}, {"times", 1}}, [&] {
             client().startRecording(0, {1, 0, StopCondition::FrameCount, 3, false, 0});
             ASSERT_TRUE(eventually([&] { return client().isRecordingDone(0); }));
             const size_t listed = client().listFiles(0).size();
             EXPECT_EQ(serviceError([&] { client().stopRecording(0); }), simulatedFault("DriveFile::writeMetadata"));
             // The file was complete before its metadata failed: the recording stays listed.
             const std::vector<FileRecord> files = client().listFiles(0);
             ASSERT_EQ(files.size(), listed + 1);
             EXPECT_EQ(files.back().numFrames, 3u);
             EXPECT_EQ(files.back().fileId, client().recordingFile(0, 0).fileId);
             EXPECT_EQ(serviceError([&] { client().stopRecording(0); }), "");
         }},
        {"frame read in the middle of a playback",
         {{"operation", "FrameSequence::readFrames"}, {"after", 7}, {"times", 1}}, [&] {
             client::Playback playback(client(), 0, ten[0].fileId, ten[0].streamId);
             const uint16_t first = client::pixelAt(playback.read(0), 0);
             for (uint64_t frame = 1; frame < 10; ++frame) {
                 EXPECT_EQ(serviceError([&] { playback.read(frame); }),
                           frame == 7 ? simulatedFault("FrameSequence::readFrames") : "")
                     << "frame " << frame;
             }
             const uint16_t seventh = client::pixelAt(playback.read(7), 0);
             EXPECT_GE(seventh, first + 7u);
             EXPECT_TRUE(isCameraFrame(playback.read(7), 256, 128, 0, seventh));
         }},
        {"block write of a recording", {{"operation", "DriveFile::writeBlock"}, {"after", 3}, {"times", 1}}, [&] {
             // The recording ends by itself with what reached the drives, as on a full set.
             const std::vector<FileRecord> files = recordFrames(1, 50, 256, 128);
             ASSERT_EQ(files.size(), 1u);
             EXPECT_EQ(files[0].numFrames, 5u);
             EXPECT_EQ(metaBlock("REC-A", files[0].fileId), files);
             client::Playback playback(client(), 0, files[0].fileId, files[0].streamId);
             const uint16_t first = client::pixelAt(playback.read(0), 0), fifth = client::pixelAt(playback.read(4), 0);
             EXPECT_GE(fifth, first + 4u);
             EXPECT_TRUE(isCameraFrame(playback.read(4), 256, 128, 0, fifth));
             EXPECT_EQ(serviceError([&] { playback.read(5); }), "Failed to read file.");
         }},
        {"block read of a repair", {{"operation", "DriveFile::readBlock"}, {"after", 1}, {"times", 1}}, [&] {
             RecoveryStatus status = RecoveryStatus::Running;
             const auto ended = [&] { return (status = client().recoveryStatus(0)) != RecoveryStatus::Running; };
             client().startRecovery(0);
             ASSERT_TRUE(eventually(ended));
             EXPECT_EQ(status, RecoveryStatus::Failed);
             EXPECT_EQ(client().recoveryError(0), simulatedFault("DriveFile::readBlock"));
             EXPECT_TRUE(client().hasIncompleteFile(0));
             client().startRecovery(0);
             ASSERT_TRUE(eventually(ended));
             EXPECT_EQ(status, RecoveryStatus::Done);
             const size_t listed = client().listFiles(0).size();
             client().finishRecovery(0);
             EXPECT_FALSE(client().hasIncompleteFile(0));
             EXPECT_EQ(client().listFiles(0).size(), listed + 1);
         }},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        armFaults(recorder("REC-A"), json::array({c.fault}));
        c.walk();
    }
}

}  // namespace
}  // namespace tavu::test
