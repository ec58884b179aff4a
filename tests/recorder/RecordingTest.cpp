// Recordings on simulated recorders through the socket: how ports land in drive files, the
// stop conditions and start triggers, and what the drive's metadata and the catalogue hold after.
#include <fstream>

#include "RecorderFixture.h"
#include "client/FrameView.h"
#include "client/Playback.h"

namespace tavu::test {
namespace {

using nlohmann::json;

using Recording = RecorderFixture;

TEST_F(Recording, TwoPortsShareOneFileWhoseMetaBlockListsThemInPortOrder) {
    startWithRecorderA();
    const uint32_t queue = client().createEventQueue();
    // The geometry ties the ports to the drive set, where the pairing is kept.
    client().setPortConfig(0, 0, {32, 8, 0, 0});
    client().setPortConfig(0, 1, {16, 4, 0, 0});
    client().pairPort(0, 0, "cam-a", std::vector<uint8_t>{1, 2, 3}, 1);
    EXPECT_EQ(nextEvent(queue), (DeviceEvent{DeviceEvent::PairingChanged, 0, 0}));

    // A frame count is cut to 32 bits on its way to the recorder.
    client().startRecording(0, {3, 0, StopCondition::FrameCount, (uint64_t{1} << 32) + 12, false, 0});
    EXPECT_EQ(nextEvent(queue), (DeviceEvent{DeviceEvent::RecordingStarted, 0, 3}));
    // Before the stop the ports hold the new streams beside no file yet.
    const RecordingFile first = client().recordingFile(0, 0), second = client().recordingFile(0, 1);
    EXPECT_EQ(first.fileId, 0u);
    EXPECT_NE(first.streamId, second.streamId);
    ASSERT_TRUE(eventually([&] { return client().isRecordingDone(0); }));
    EXPECT_EQ(client().recordingProgress(0, 1).numFrames, 12u);
    client().stopRecording(0);
    EXPECT_EQ(nextEvent(queue), (DeviceEvent{DeviceEvent::RecordingStopped, 0, 0}));

    const std::vector<FileRecord> files = client().listFiles(0);
    ASSERT_EQ(files.size(), 2u);
    const uint32_t fileId = client().recordingFile(0, 0).fileId;
    ASSERT_NE(fileId, 0u);
    EXPECT_EQ(client().recordingFile(0, 1).fileId, fileId);
    // The identity block stands in the drive's metadata; the list on the wire leaves it out.
    std::vector<FileRecord> stored = metaBlock("REC-A", fileId);
    ASSERT_EQ(stored.size(), 2u);
    EXPECT_EQ(stored[0].info, (std::vector<uint8_t>{1, 2, 3}));
    EXPECT_EQ(client().fileIdentity(0, fileId, first.streamId), (std::vector<uint8_t>{1, 2, 3}));
    stored[0].info.clear();
    EXPECT_EQ(stored, files);
    const uint32_t streamIds[] = {first.streamId, second.streamId};
    for (uint8_t port = 0; port < 2; ++port) {
        SCOPED_TRACE(port);
        const FileRecord& file = files[port];
        EXPECT_EQ(file.fileId, fileId);
        EXPECT_EQ(file.streamId, streamIds[port]);
        EXPECT_EQ(file.name, std::to_string(fileId) + "-" + std::to_string(streamIds[port]));
        EXPECT_EQ(file.port, client().portName(0, port));
        EXPECT_EQ(file.numFrames, 12u);
        EXPECT_EQ(file.numDroppedFrames, 0u);
        EXPECT_NE(file.timestamp, 0u);
        EXPECT_EQ(client().recordingProgress(0, port).numFrames, 12u);
        EXPECT_FALSE(client().recordingProgress(0, port).inPretrigger);
    }
    EXPECT_EQ(files[0].camera, "cam-a");
    EXPECT_EQ(files[0].size, 32u * 8 * 2 * 12);
    EXPECT_EQ(files[1].camera, "");
    EXPECT_EQ(files[1].width, 16u);
    EXPECT_EQ(files[1].size, 16u * 4 * 2 * 12);
    EXPECT_EQ(files[0].timestamp, files[1].timestamp);
    EXPECT_FALSE(client().tryReadEvent(queue).has_value());
}

TEST_F(Recording, ATimeLimitEndsEveryPortAndASilentOneLeavesNoEntry) {
    json three = recorder("REC-A");
    three["ports"][1]["cameraAsleep"] = true;
    three["ports"].push_back({{"name", "REC-A-3"}, {"cameraDetected", false}});
    writeDescription({three});
    startService(1);
    for (uint8_t port = 0; port < 3; ++port) {
        client().setPortConfig(0, port, {8, 4, 0, 0});
    }
    // 0.305 s: frames 0 to 30 of the camera at 100 per second, 0 to 15 of the one at 50.
    client().startRecording(0, {7, 0, StopCondition::Time, 305000, false, 0});
    ASSERT_TRUE(eventually([&] { return client().isRecordingDone(0); }));
    client().stopRecording(0);

    // The ports of one recorder record to its one drive set, so all three streams share a file.
    const std::vector<FileRecord> files = client().listFiles(0);
    ASSERT_EQ(files.size(), 2u);
    EXPECT_EQ(files[0].numFrames, 31u);
    EXPECT_EQ(files[1].numFrames, 16u);
    const uint32_t fileId = files[0].fileId;
    EXPECT_EQ(files[1].fileId, fileId);
    EXPECT_EQ(client().recordingFile(0, 2).fileId, fileId);
    EXPECT_EQ(client().recordingProgress(0, 2).numFrames, 0u);
    EXPECT_EQ(metaBlock("REC-A", fileId), files);
    const json streams = json::parse(std::ifstream(driveSetFolder("REC-A") / ("file-" + std::to_string(fileId) + ".streams")));
    // The silent port's stream stays in the file, without frames.
    ASSERT_EQ(streams.size(), 3u) << streams.dump();
    EXPECT_EQ(streams[2].at("port"), "REC-A-3");
    EXPECT_EQ(streams[2].at("frames"), 0);
}

TEST_F(Recording, APretriggerLoopWaitsForTheSoftwareTriggerAndLeadsTheStream) {
    startWithRecorderA();
    client().setPortConfig(0, 0, {8, 2, 0, 0});
    // A loop of 0.1 s holds 10 frames at 100 per second.
    client().startRecording(0, {1, 0, StopCondition::FrameCount, 25, true, 100000});
    ASSERT_TRUE(eventually([&] {
        const RecordingProgress progress = client().recordingProgress(0, 0);
        return progress.inPretrigger && progress.numFrames >= 10;
    }));
    EXPECT_FALSE(client().isRecordingDone(0));
    EXPECT_LE(client().recordingProgress(0, 0).numFrames, 11u);
    client().softwareTrigger(0);
    ASSERT_TRUE(eventually([&] { return client().isRecordingDone(0); }));
    EXPECT_FALSE(client().recordingProgress(0, 0).inPretrigger);
    client().stopRecording(0);

    const std::vector<FileRecord> files = client().listFiles(0);
    ASSERT_EQ(files.size(), 1u);
    EXPECT_EQ(files[0].numFrames, 25u);
    // The loop's frames lead the stream, which goes on from them without a gap.
    client::Playback playback(client(), 0, files[0].fileId, files[0].streamId);
    const uint16_t leading = client::pixelAt(playback.read(0), 0);
    EXPECT_TRUE(isCameraFrame(playback.read(0), 8, 2, 0, leading));
    EXPECT_TRUE(isCameraFrame(playback.read(24), 8, 2, 0, leading + 24u));
}

TEST_F(Recording, TheExternalInputStartsAndStopsTheRecording) {
    json unit = recorder("REC-A");
    writeDescription({unit});
    startService(1);
    client().setPortConfig(0, 0, {8, 2, 0, 0});
    // The start input takes the rising edge, the stop input (its other variant) the falling one.
    // The recording is the device's: it goes on after the client that started it has gone.
    connect()->startRecording(
        0, {1, ExternalStart | ExternalStop | ExternalStopVariant, StopCondition::None, 0, false, 0});
    EXPECT_FALSE(client().isRecordingDone(0));
    EXPECT_EQ(client().recordingProgress(0, 0).numFrames, 0u);
    EXPECT_FALSE(client().recordingProgress(0, 0).inPretrigger);

    unit["externalInput"] = true;
    writeDescription({unit});
    ASSERT_TRUE(eventually([&] { return client().recordingProgress(0, 0).numFrames >= 5; }));
    EXPECT_FALSE(client().isRecordingDone(0));
    unit["externalInput"] = false;
    writeDescription({unit});
    ASSERT_TRUE(eventually([&] { return client().isRecordingDone(0); }));
    const uint64_t recorded = client().recordingProgress(0, 0).numFrames;
    client().stopRecording(0);

    const std::vector<FileRecord> files = client().listFiles(0);
    ASSERT_EQ(files.size(), 1u);
    EXPECT_EQ(files[0].numFrames, recorded);
    EXPECT_EQ(client().recordingProgress(0, 0).numFrames, recorded);
}

// A set that writes slower than the camera delivers makes the recording skip frames, and a small
// one ends it as full: the catalogue holds what reached the drives, whatever progress said before,
// and no frame more.
TEST_F(Recording, ASlowSmallSetSkipsFramesAndEndsTheRecordingAsFull) {
    json unit = recorder("REC-A");
    // Two drives of 48 clusters writing 2 MiB/s each: 4 MiB/s against the camera's 6.5 MB/s.
    for (json& drive : unit["driveGroups"][0]["drives"]) {
        drive["capacity"] = 48 * 65536;
    }
    unit["driveGroups"][0]["bytesPerSecond"] = 2 << 20;
    writeDescription({unit});
    startService(1);
    client().setPortConfig(0, 0, {256, 128, 0, 0});
    client().startRecording(0, {1, 0, StopCondition::FrameCount, 1000, false, 0});
    uint64_t polled = 0;
    ASSERT_TRUE(eventually([&] { return (polled = client().recordingProgress(0, 0).numFrames) >= 3; }));
    ASSERT_TRUE(eventually([&] { return client().isRecordingDone(0); }));
    client().stopRecording(0);

    const std::vector<FileRecord> files = client().listFiles(0);
    ASSERT_EQ(files.size(), 1u);
    const uint64_t frames = files[0].numFrames;
    EXPECT_LE(polled, frames);
    EXPECT_LT(frames, 1000u);
    EXPECT_GE(client().percentUsed(0), 90);
    client::Playback playback(client(), 0, files[0].fileId, files[0].streamId);
    const uint16_t first = client::pixelAt(playback.read(0), 0);
    const uint16_t last = client::pixelAt(playback.read(frames - 1), 0);
    EXPECT_GT(last - first, frames - 1) << "no frame was skipped";
    EXPECT_TRUE(isCameraFrame(playback.read(frames - 1), 256, 128, 0, last));
    EXPECT_EQ(serviceError([&] { playback.read(frames); }), "Failed to read file.");
}

// A port without a camera records nothing and is done from the start, so a frame count ends the
// recording without it. A start that failed in the library is taken over by the next one.
TEST_F(Recording, APortWithoutACameraIsDoneAtOnceAndAFailedStartIsTakenOverByTheNext) {
    json unit = recorder("REC-A");
    unit["ports"].push_back({{"name", "REC-A-3"}, {"cameraDetected", false}});
    writeDescription({unit});
    startService(1);
    client().setPortConfig(0, 0, {8, 4, 0, 0});
    client().setPortConfig(0, 2, {8, 4, 0, 0});
    armFaults(unit, json::array({{{"operation", "Record::start"}, {"times", 1}}}));
    const RecordingRequest request{5, 0, StopCondition::FrameCount, 5, false, 0};
    EXPECT_EQ(serviceError([&] { client().startRecording(0, request); }),
              "Record::start failed: a fault is simulated on recorder REC-A.");
    const uint32_t abandoned = client().recordingFile(0, 0).streamId;
    client().startRecording(0, request);
    EXPECT_NE(client().recordingFile(0, 0).streamId, abandoned);
    ASSERT_TRUE(eventually([&] { return client().isRecordingDone(0); }));
    EXPECT_EQ(client().recordingProgress(0, 2).numFrames, 0u);
    client().stopRecording(0);

    const std::vector<FileRecord> files = client().listFiles(0);
    ASSERT_EQ(files.size(), 1u);
    EXPECT_EQ(files[0].streamId, client().recordingFile(0, 0).streamId);
    EXPECT_EQ(files[0].numFrames, 5u);
}

// On a recorder with a drive file per port, a stop meets several file groups, and each file's
// metadata block lists its own stream. A port whose stop gives no file is passed over: it keeps
// recording, gets no entry and keeps its live view running, until a later stop finds its file.
TEST_F(Recording, EachFileGroupGetsItsOwnMetadataAndOneWithoutAFileWaitsForTheNextStop) {
    json unit = recorder("REC-A");
    unit["filePerPort"] = true;
    unit["ports"].push_back({{"name", "REC-A-3"}, {"measuredFrameRate", 100.0}});
    writeDescription({unit});
    startService(1);
    for (uint8_t port = 0; port < 3; ++port) {
        client().setPortConfig(0, port, {8, 4, 0, 0});
    }
    armFaults(unit, json::array({{{"operation", "Record::stopPort"},
                                  {"port", "REC-A-3"},
                                  {"givesNoFile", true},
                                  {"times", 1}}}));
    const client::FrameView first(client().startLive(0, 0)), third(client().startLive(0, 2));
    const auto frameNumber = [&](uint8_t port, const client::FrameView& view) {
        client().liveFrame(0, port);
        return static_cast<uint16_t>(client::pixelAt(view.frame(64), 0) - 4096 * port);
    };

    client().startRecording(0, {7, 0, StopCondition::FrameCount, 10, false, 0});
    uint16_t lastOfFirst = 0, lastOfThird = 0;
    ASSERT_TRUE(eventually([&] {
        lastOfFirst = frameNumber(0, first);
        lastOfThird = frameNumber(2, third);
        return lastOfFirst >= 20 && lastOfThird >= 20;
    }));
    ASSERT_TRUE(eventually([&] { return client().isRecordingDone(0); }));
    client().stopRecording(0);

    const std::vector<FileRecord> files = client().listFiles(0);
    ASSERT_EQ(files.size(), 2u);
    EXPECT_NE(files[0].fileId, files[1].fileId);
    for (uint8_t port = 0; port < 2; ++port) {
        SCOPED_TRACE(port);
        EXPECT_EQ(files[port].port, client().portName(0, port));
        EXPECT_EQ(files[port].numFrames, 10u);
        EXPECT_EQ(files[port].fileId, client().recordingFile(0, port).fileId);
        EXPECT_EQ(metaBlock("REC-A", files[port].fileId), std::vector<FileRecord>{files[port]});
    }
    EXPECT_EQ(client().recordingFile(0, 2).fileId, 0u);
    // The stop restarted the live view of the port it catalogued, not that of the one without a file.
    EXPECT_LT(frameNumber(0, first), lastOfFirst);
    EXPECT_GT(frameNumber(2, third), lastOfThird);

    client().stopRecording(0);
    const std::vector<FileRecord> again = client().listFiles(0);
    ASSERT_EQ(again.size(), 3u);
    EXPECT_EQ(again[2].port, "REC-A-3");
    EXPECT_EQ(again[2].numFrames, 10u);
    EXPECT_EQ(again[2].fileId, client().recordingFile(0, 2).fileId);
    EXPECT_EQ(metaBlock("REC-A", again[2].fileId), std::vector<FileRecord>{again[2]});
    client().stopLive(0, 0);
    client().stopLive(0, 2);
}

}  // namespace
}  // namespace tavu::test
