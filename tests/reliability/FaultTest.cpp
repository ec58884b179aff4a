// The service through the socket when storage misbehaves, the recorder library fails, or the
// service itself is killed: clear errors, and no readable recording lost.
#include <filesystem>
#include <fstream>
#include <functional>

#include "Reliability.h"
#include "client/ClientErrors.h"
#include "client/FrameView.h"
#include "client/Playback.h"
#include "tests/recorder/RecorderFixture.h"

namespace tavu::test {
namespace {

namespace fs = std::filesystem;

std::string failureOf(const std::function<void()>& call) {
    try {
        call();
    } catch (const client::ServiceError& error) {
        return error.what();
    }
    return "";
}

// The service with the emulated recorder alone, restarted at will on the same folder.
class EmulatorFaults : public RecorderFixture {
protected:
    EmulatorFaults() { writeDescription({}); }

    void start() { startService(1, {{"TAVUSRV_ENABLE_EMULATOR", "1"}}); }
    void prepare(uint16_t width, uint16_t height) {
        client().setPortConfig(0, 0, {width, height, 0, 0});
        client().pairPort(0, 0, "cam", std::vector<uint8_t>{1, 2, 3}, 1);
    }
    uint32_t record(uint64_t frames) {
        client().startRecording(0, {1, 0, StopCondition::FrameCount, frames, false, 0});
        EXPECT_TRUE(eventually([&] { return client().isRecordingDone(0); }));
        client().stopRecording(0);
        return client().recordingFile(0, 0).fileId;
    }
    // Frames of the listed recording, or -1 when it isn't listed.
    int64_t framesOf(uint32_t fileId) {
        for (const FileRecord& file : client().listFiles(0)) {
            if (file.fileId == fileId) {
                return static_cast<int64_t>(file.numFrames);
            }
        }
        return -1;
    }
    void expectPlayable(uint32_t fileId, uint64_t frames) {
        client::Playback playback(client(), 0, fileId, 0);
        EXPECT_EQ(playback.info().numFrames, frames);
        EXPECT_EQ(playback.read(frames - 1).size(), playback.info().imageSize);
    }

    fs::path emulatorFolder() const { return home.dataDir() / "OREK Systems/TAVU/Emulator"; }
};

TEST_F(EmulatorFaults, ReadOnlyFolderRefusesChangesWithTheirTextsAndKeepsEveryRecording) {
    start();
    prepare(8, 8);
    const uint32_t kept = record(3);
    stopService();
    {
        const ScopedMount readOnly = ScopedMount::readOnly(home.dataDir());
        if (!readOnly.mounted()) {
            GTEST_SKIP() << "mounting is not possible here";
        }
        start();
        expectPlayable(kept, 3);
        const std::string folder = emulatorFolder().string();
        EXPECT_EQ(failureOf([&] { client().pairPort(0, 0, "other", {}, 1); }), "Failed to open file: " + folder + "/.meta");
        EXPECT_EQ(failureOf([&] { client().startRecording(0, {1, 0, StopCondition::FrameCount, 2, false, 0}); }),
                  "Failed to create file");
        EXPECT_EQ(failureOf([&] { client().renameFile(0, kept, 0, "new name", false); }),
                  "Failed to open file: " + folder + "/Emu/" + std::to_string(kept) + ".meta");
        // Without a rollback the removal stands until the next start, while nothing on disk changed.
        EXPECT_EQ(failureOf([&] { client().removeFile(0, kept, 0); }), "Failed to open file: " + folder + "/.files");
        EXPECT_EQ(framesOf(kept), -1);
        stopService();
    }
    start();
    EXPECT_EQ(client().pairedTo(0, 0), "cam");
    expectPlayable(kept, 3);
    EXPECT_EQ(client().listFiles(0).at(0).name, std::to_string(kept));
}

TEST_F(EmulatorFaults, FullDiskKeepsWhatReachedItAndCommandsMakeRoom) {
    // Frames of 128 KiB on a disk of 1 MiB: the second recording fills it after a few frames.
    const ScopedMount disk = ScopedMount::tmpfs(home.dataDir(), 1024 * 1024);
    if (!disk.mounted()) {
        GTEST_SKIP() << "mounting is not possible here";
    }
    start();
    prepare(256, 256);
    const uint32_t kept = record(2), full = kept + 1;
    client().startRecording(0, {1, 0, StopCondition::FrameCount, 12, false, 0});
    ASSERT_TRUE(eventually([&] { return client().isRecordingDone(0); }));
    const std::string description = emulatorFolder().string() + "/Emu/" + std::to_string(full) + ".meta";
    // The stop can't describe the recording. It is listed with the frames that fit until the
    // next start, while its frames become the cut-off recording again.
    EXPECT_EQ(failureOf([&] { client().stopRecording(0); }), "Failed to open file: " + description);
    const int64_t fitted = framesOf(full);
    EXPECT_GT(fitted, 0);
    EXPECT_LT(fitted, 12);
    // Deletes nothing, yet the smaller catalogue finds room.
    client().removeFile(0, full, 0);

    stopService();
    start();
    EXPECT_TRUE(client().hasIncompleteFile(0));
    EXPECT_EQ(fs::file_size(emulatorFolder() / "Emu/.incomplete") / (256 * 256 * 2), static_cast<uint64_t>(fitted));
    expectPlayable(kept, 2);
    client().removeFile(0, kept, 0);
    client().discardIncompleteFile(0);
    EXPECT_FALSE(client().hasIncompleteFile(0));
    EXPECT_EQ(record(3), kept);
    expectPlayable(kept, 3);
}

TEST_F(EmulatorFaults, DamagedFilesCostOnlyWhatTheyDescribe) {
    start();
    prepare(8, 8);
    const uint32_t whole = record(3), shortened = record(3), undescribed = record(3);
    stopService();
    const fs::path port = emulatorFolder() / "Emu";
    fs::resize_file(port / std::to_string(shortened), 8 * 8 * 2 + 10);
    fs::resize_file(port / (std::to_string(undescribed) + ".meta"), fs::file_size(port / (std::to_string(undescribed) + ".meta")) / 2);
    std::ofstream(emulatorFolder() / ".meta", std::ios::trunc) << "\x84\xA4orek\xC3\xA4typ";

    start();
    EXPECT_EQ(client().pairedTo(0, 0), "");
    expectPlayable(whole, 3);
    // The frame file is cut short: its description stands, and reading past the end still works.
    expectPlayable(shortened, 3);
    EXPECT_EQ(framesOf(undescribed), -1);
    prepare(8, 8);
    stopService();

    // A catalogue cut short shows nothing, and the device records on.
    const fs::path catalogue = emulatorFolder() / ".files";
    fs::resize_file(catalogue, fs::file_size(catalogue) - 3);
    start();
    EXPECT_TRUE(client().listFiles(0).empty());
    expectPlayable(record(2), 2);
}

TEST_F(EmulatorFaults, RecordingCutOffByAKilledServiceIsFoundAndDiscardedThroughTheSocket) {
    start();
    prepare(8, 8);
    const uint32_t kept = record(2);
    client().startRecording(0, {1, 0, StopCondition::None, 0, false, 0});
    ASSERT_TRUE(eventually([&] { return client().recordingProgress(0, 0).numFrames >= 2; }));
    service->kill(SIGKILL);
    ASSERT_TRUE(service->waitForExit().has_value());
    service.reset();

    start();
    EXPECT_TRUE(client().hasIncompleteFile(0));
    ASSERT_EQ(client().listFiles(0).size(), 1u);
    expectPlayable(kept, 2);
    // The emulator can't salvage the frames: its recovery steps fail, and the service stays.
    EXPECT_NE(failureOf([&] { client().startRecovery(0); }), "");
    EXPECT_NE(failureOf([&] { client().recoveryStatus(0); }), "");
    client().discardIncompleteFile(0);
    EXPECT_FALSE(client().hasIncompleteFile(0));
    EXPECT_EQ(record(3), kept + 1);
    expectPlayable(kept + 1, 3);
}

// Asked to stop by a signal, the service ends as after its last client, once it has stopped
// what the emulator and a recorder were recording: nothing is cut off.
class StopBySignal : public RecorderFixture, public ::testing::WithParamInterface<int> {};

TEST_P(StopBySignal, RunningRecordingsAreStoppedAndCatalogued) {
    const ScopedMount sharedMemory = ScopedMount::tmpfs("/dev/shm", 16 * 1024 * 1024);
    writeDescription({recorder("REC-A")});
    const ServiceProcess::Environment emulator{{"TAVUSRV_ENABLE_EMULATOR", "1"}};
    startService(2, emulator);
    client().pairPort(0, 0, "cam", std::vector<uint8_t>{1}, 1);
    uint64_t framesSeen[2] = {};
    for (const uint32_t device : {0u, 1u}) {
        client().setPortConfig(device, 0, {16, 8, 0, 0});
        client().startRecording(device, {1, 0, StopCondition::None, 0, false, 0});
        ASSERT_TRUE(eventually([&] { return (framesSeen[device] = client().recordingProgress(device, 0).numFrames) >= 2; }));
    }
    client().setPortConfig(1, 1, {16, 8, 0, 0});
    client().startLive(1, 1);
    // Not through ServiceProcess::kill, which removes the regions that a killed service leaves.
    ::kill(service->pid(), GetParam());
    EXPECT_EQ(service->waitForExit(), 0);
    if (sharedMemory.mounted()) {
        EXPECT_EQ(sharedRegionCount(), 0u);
    }

    startService(2, emulator);
    for (const uint32_t device : {0u, 1u}) {
        EXPECT_FALSE(client().hasIncompleteFile(device)) << device;
        const std::vector<FileRecord> files = client().listFiles(device);
        ASSERT_EQ(files.size(), 1u) << device;
        EXPECT_GE(files[0].numFrames, framesSeen[device]) << device;
        client::Playback playback(client(), device, files[0].fileId, files[0].streamId);
        EXPECT_EQ(playback.read(files[0].numFrames - 1).size(), playback.info().imageSize) << device;
    }
}

INSTANTIATE_TEST_SUITE_P(Signals, StopBySignal, ::testing::Values(SIGTERM, SIGINT, SIGHUP));

using RecorderFaults = RecorderFixture;

TEST_F(RecorderFaults, RegionsThatAKilledServiceLeftAreRemovedByTheNextOneUnlessInUse) {
    const ScopedMount sharedMemory = ScopedMount::tmpfs("/dev/shm", 16 * 1024 * 1024);
    if (!sharedMemory.mounted()) {
        GTEST_SKIP() << "mounting is not possible here";
    }
    startWithRecorderA();
    const FileRecord file = recordFrames(1, 2).at(0);
    const std::string left = client().openFile(0, file.fileId, file.streamId).mapping;
    const client::FrameView inUse(client().startLive(0, 0));
    // Not through ServiceProcess::kill, which removes the regions that a killed service leaves.
    ::kill(service->pid(), SIGKILL);
    ASSERT_TRUE(service->waitForExit());
    EXPECT_EQ(sharedRegionCount(), 2u);
    startService(1);
    EXPECT_FALSE(sharedRegionExists(left));
    EXPECT_EQ(sharedRegionCount(), 1u);
    client::Playback playback(client(), 0, file.fileId, file.streamId);
    EXPECT_EQ(playback.read(1).size(), playback.info().imageSize);
}

// Every family of commands meets a failing library operation with an error reply, and works
// again once the fault is lifted.
TEST_F(RecorderFaults, FailingLibraryOperationsAnswerErrorsAndTheRecorderRecoversWhenLifted) {
    // A recorder's live region lasts until the next start, and the killed service leaves it.
    const ScopedMount sharedMemory = ScopedMount::tmpfs("/dev/shm", 16 * 1024 * 1024);
    startWithRecorderA();
    client().setup(0);
    client().pairPort(0, 0, "cam", std::vector<uint8_t>{1}, 1);
    client().setPortConfig(0, 0, {16, 8, 0, 0});
    client().setPortConfig(0, 1, {16, 8, 0, 0});
    client().startRecording(0, {1, 0, StopCondition::FrameCount, 3, false, 0});
    ASSERT_TRUE(eventually([&] { return client().isRecordingDone(0); }));
    client().stopRecording(0);
    const RecordingFile file = client().recordingFile(0, 0);

    const std::vector<std::pair<const char*, std::function<void()>>> families = {
        {"serial", [&] { client().serialOpen(0, 0, 9600, 0, 1); client().serialClose(0, 0); }},
        {"registers", [&] { client().registerRead(0, 0, 0x300C, 4); }},
        // A new width each time: unchanged values don't reach the recorder.
        {"configuration", [&, width = uint16_t{16}]() mutable {
             width ^= 8;
             client().setPortConfig(0, 0, {width, 8, 0, 0});
         }},
        {"pairing", [&] { client().pairPort(0, 1, "cam-2", std::vector<uint8_t>{2}, 1); }},
        {"playback", [&] { client::Playback(client(), 0, file.fileId, file.streamId).read(2); }},
        {"live view", [&] {
             client().startLive(0, 1);
             client().liveFrame(0, 1);
             client().stopLive(0, 1);
         }},
        {"recording", [&] {
             client().startRecording(0, {1, 0, StopCondition::FrameCount, 2, false, 0});
             ASSERT_TRUE(eventually([&] { return client().isRecordingDone(0); }));
             client().stopRecording(0);
         }},
        {"recovery", [&] { client().hasIncompleteFile(0); }},
    };
    nlohmann::json faulty = recorder("REC-A");
    faulty["faults"] = {"Port::hasSerial", "Port::readMemory", "Port::setDataDescriptor", "DriveSet::findFile",
                        "FrameSequence::readFrames", "Port::startGrab", "Record::start", "DriveSet::incompleteFileId"};
    writeDescription({faulty});
    ASSERT_TRUE(eventually([&] { return !failureOf([&] { client().registerRead(0, 0, 0x300C, 4); }).empty(); }));
    for (const auto& [family, call] : families) {
        const std::string failure = failureOf(call);
        EXPECT_NE(failure.find("a fault is simulated on recorder REC-A."), std::string::npos) << family << ": " << failure;
    }
    EXPECT_TRUE(client().deviceConnected(0));

    writeDescription({recorder("REC-A")});
    ASSERT_TRUE(eventually([&] { return failureOf([&] { client().registerRead(0, 0, 0x300C, 4); }).empty(); }));
    for (const auto& [family, call] : families) {
        EXPECT_EQ(failureOf(call), "") << family;
    }
    EXPECT_EQ(client().listFiles(0).size(), 2u);
}

}  // namespace
}  // namespace tavu::test
