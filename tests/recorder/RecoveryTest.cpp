// Recovery of a recording that a killed service left incomplete on a simulated recorder,
// through the socket: repair, failure on a damaged file, cancellation and discarding.
#include <cstring>
#include <fstream>
#include <map>

#include "RecorderFixture.h"
#include "client/Playback.h"

namespace tavu::test {
namespace {

using nlohmann::json;

class Recovery : public RecorderFixture {
protected:
    // Records on both ports until frames fill a few blocks of the drive, then kills the service
    // and starts another: the recording's file is left incomplete. Returns its id.
    uint32_t cutOffRecording(const json& unit) {
        writeDescription({unit});
        startService(1);
        // Frames of 64 and 32 KiB, so that blocks of the drive set (64 KiB on each of two drives)
        // fill fast, and frames span blocks of the two streams.
        client().setPortConfig(0, 0, {256, 128, 0, 0});
        client().setPortConfig(0, 1, {256, 64, 0, 0});
        client().startRecording(0, {3, 0, StopCondition::None, 0, false, 0});
        // The slower camera has filled three blocks by then.
        EXPECT_TRUE(eventually([&] { return client().recordingProgress(0, 1).numFrames >= 12; }));
        service->kill(SIGKILL);
        EXPECT_TRUE(service->waitForExit());
        startService(1);
        const json index = driveSetIndex("REC-A");
        for (const json& file : index.at("files")) {
            if (!file.at("complete").get<bool>()) {
                return file.at("id").get<uint32_t>();
            }
        }
        ADD_FAILURE() << "no incomplete file in " << index.dump();
        return 0;
    }

    // Polls until the job has ended.
    RecoveryStatus finalStatus() {
        RecoveryStatus status = RecoveryStatus::Running;
        EXPECT_TRUE(eventually([&] { return (status = client().recoveryStatus(0)) != RecoveryStatus::Running; }));
        return status;
    }
};

TEST_F(Recovery, AFileCutOffByAKilledServiceIsRepairedAndCatalogued) {
    const uint32_t fileId = cutOffRecording(recorder("REC-A"));
    ASSERT_NE(fileId, 0u);
    EXPECT_TRUE(client().hasIncompleteFile(0));
    EXPECT_TRUE(client().listFiles(0).empty());
    EXPECT_EQ(client().recoveryStatus(0), RecoveryStatus::NotRun);
    EXPECT_EQ(serviceError([&] { client().finishRecovery(0); }), "no incomplete file.");
    EXPECT_EQ(serviceError([&] { client().cancelRecovery(0); }), "Recovery not in progress.");

    client().startRecovery(0);
    ASSERT_EQ(finalStatus(), RecoveryStatus::Done);
    EXPECT_EQ(client().recoveryStatus(0), RecoveryStatus::Done);
    client().finishRecovery(0);
    EXPECT_FALSE(client().hasIncompleteFile(0));
    // The status is of the connection: a recorder plugged in again reports none.
    writeDescription({recorder("REC-A", false)});
    ASSERT_TRUE(eventually([&] { return !client().deviceConnected(0); }));
    writeDescription({recorder("REC-A")});
    ASSERT_TRUE(eventually([&] { return client().deviceConnected(0) && !client().listFiles(0).empty(); }));
    EXPECT_EQ(client().recoveryStatus(0), RecoveryStatus::NotRun);

    // The streams find their ports by name and take their present geometry.
    const std::vector<FileRecord> files = client().listFiles(0);
    ASSERT_EQ(files.size(), 2u);
    EXPECT_EQ(metaBlock("REC-A", fileId), files);
    // Each stream counts the whole frames in its blocks: the frame bytes that their headers
    // (magic, then little-endian stream id, place and frame bytes) give, cut to whole frames.
    std::map<uint32_t, uint64_t> frameBytes;
    std::ifstream data(driveSetFolder("REC-A") / ("file-" + std::to_string(fileId) + ".data"), std::ios::binary);
    for (std::vector<char> block(2 * 65536); data.read(block.data(), std::ssize(block));) {
        uint32_t header[3];
        std::memcpy(header, block.data() + 8, sizeof header);
        frameBytes[header[0]] += std::string(block.data(), 8) == "QSIMBLK1" ? header[2] : 0;
    }
    for (uint8_t port = 0; port < 2; ++port) {
        SCOPED_TRACE(port);
        const FileRecord& file = files[port];
        EXPECT_EQ(file.fileId, fileId);
        EXPECT_EQ(file.name, std::to_string(fileId) + "-" + std::to_string(file.streamId));
        EXPECT_EQ(file.port, client().portName(0, port));
        EXPECT_EQ(file.height, port == 0 ? 128u : 64u);
        ASSERT_GE(file.numFrames, 2u);
        EXPECT_EQ(file.numFrames, frameBytes[file.streamId] / (256 * file.height * 2));
        client::Playback playback(client(), 0, fileId, file.streamId);
        EXPECT_TRUE(isCameraFrame(playback.read(0), 256, file.height, port, 0));
        EXPECT_TRUE(isCameraFrame(playback.read(file.numFrames - 1), 256, file.height, port, file.numFrames - 1));
    }
}

TEST_F(Recovery, ACancelledJobLeavesTheFileAndADamagedFileFailsItsRepair) {
    json unit = recorder("REC-A");
    unit["recoveryMillisecondsPerBlock"] = 5000;
    const uint32_t fileId = cutOffRecording(unit);
    ASSERT_NE(fileId, 0u);

    client().startRecovery(0);
    EXPECT_EQ(client().recoveryStatus(0), RecoveryStatus::Running);
    EXPECT_EQ(serviceError([&] { client().startRecovery(0); }), "Recovery already in progress.");
    client().cancelRecovery(0);
    EXPECT_EQ(finalStatus(), RecoveryStatus::Cancelled);
    EXPECT_EQ(serviceError([&] { client().cancelRecovery(0); }), "Recovery not in progress.");
    EXPECT_TRUE(client().hasIncompleteFile(0));

    // Block 0 loses its header.
    {
        std::fstream data(driveSetFolder("REC-A") / ("file-" + std::to_string(fileId) + ".data"),
                          std::ios::in | std::ios::out | std::ios::binary);
        data.write("XXXX", 4);
    }
    client().startRecovery(0);
    EXPECT_EQ(finalStatus(), RecoveryStatus::Failed);
    EXPECT_EQ(client().recoveryError(0),
              "File " + std::to_string(fileId) + " is damaged: block 0 has no valid header.");
    EXPECT_TRUE(client().hasIncompleteFile(0));

    client().discardIncompleteFile(0);
    EXPECT_FALSE(client().hasIncompleteFile(0));
    EXPECT_TRUE(client().listFiles(0).empty());
    const json index = driveSetIndex("REC-A");
    for (const json& file : index.at("files")) {
        EXPECT_NE(file.at("id"), fileId) << file.dump();
    }
}

}  // namespace
}  // namespace tavu::test
