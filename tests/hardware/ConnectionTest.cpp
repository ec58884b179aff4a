#include "Recorder.h"

#include <gtest/gtest.h>

namespace tavu::test {
namespace {

using testing::_;
using testing::Return;

FileRecord recording(const std::string& name) {
    FileRecord file;
    file.name = name;
    file.width = 64;
    file.height = 48;
    file.numFrames = 5;
    return file;
}

TEST(Connection, WithoutDriveSetPrintsAndThenThrowsTheScanFailure) {
    Recorder recorder;
    recorder.setDriveSets({});
    EXPECT_CALL(*recorder.driveSets, create(_)).Times(0);
    EXPECT_EQ(recorder.connect(), "no drive set.\n");
    EXPECT_EQ(recorder.connectError, "no drive set.");
    // What was set before the failure stays.
    EXPECT_EQ(recorder.tavu->name(), "TAVU-4");
    EXPECT_EQ(recorder.tavu->portCount(), 2);
    EXPECT_EQ(recorder.tavu->portName(1), "Cam1");
    EXPECT_TRUE(recorder.tavu->listFiles().empty());
}

TEST(Connection, ScansTheCatalogueWithoutTheIncompleteFile) {
    Recorder recorder;
    recorder.addRecordedFile({recording("a"), recording("b")});
    // Not metadata: scanning it would fail.
    const uint32_t incomplete = recorder.store.add("", 10);
    recorder.fileIds.push_back(incomplete);
    recorder.addRecordedFile({recording("c")});
    ON_CALL(*recorder.driveSet, incompleteFileId()).WillByDefault(Return(incomplete));

    EXPECT_EQ(recorder.connect(), "no config file.\nHasIncompleteFile\n");
    std::vector<std::string> names;
    for (const FileRecord& file : recorder.tavu->listFiles()) {
        names.push_back(file.name);
    }
    EXPECT_EQ(names, (std::vector<std::string>{"a", "b", "c"}));
    EXPECT_TRUE(recorder.tavu->hasIncompleteFile());
}

TEST(Connection, ReappliesStoredConfigurationOfPortsWithBothSizes) {
    Recorder recorder;
    recorder.connect();
    recorder.tavu->setPortConfig(0, {640, 480, 17, 1});
    recorder.tavu->setPortConfig(1, {640, 0, 0, 0});
    testing::Mock::VerifyAndClearExpectations(recorder.ports[0].get());

    recorder.restart();
    EXPECT_CALL(*recorder.ports[0], setDataDescriptor(_));
    EXPECT_CALL(*recorder.ports[1], setDataDescriptor(_)).Times(0);
    EXPECT_EQ(recorder.connect(), "");
    EXPECT_EQ(recorder.tavu->getPortConfig(0), (PortConfig{640, 480, 17, 1}));
    const PortConfig second = recorder.tavu->getPortConfig(1);
    EXPECT_EQ(std::tie(second.width, second.height), std::make_tuple(640, 0));
}

TEST(Connection, FoundDisconnectedHasNoPortsUntilItReconnects) {
    Recorder recorder;
    recorder.tavu->identify("listed name", Recorder::Index);
    recorder.tavu->foundDisconnected(recorder.collection);
    EXPECT_EQ(recorder.tavu->collectionIndex(), Recorder::Index);
    EXPECT_EQ(recorder.tavu->name(), "listed name");
    EXPECT_EQ(recorder.tavu->portCount(), 0);
    EXPECT_EQ(thrownText([&] { recorder.tavu->portName(0); }), "Invalid port index.");
    EXPECT_EQ(thrownText([&] { recorder.tavu->pairedTo(0); }), "Invalid port index.");
    EXPECT_TRUE(recorder.tavu->listFiles().empty());

    testing::internal::CaptureStderr();
    recorder.tavu->reconnect();
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "no config file.\n");
    EXPECT_EQ(recorder.tavu->portCount(), 2);
    EXPECT_EQ(recorder.tavu->portName(0), "Cam0");
    // The name comes from the library's device only at a first connect.
    EXPECT_EQ(recorder.tavu->name(), "listed name");

    // Connected now: the update leaves it alone.
    EXPECT_CALL(*recorder.collection, device(_)).Times(0);
    recorder.tavu->reconnect();
}

TEST(Connection, ReconnectAfterDisconnectRescansButKeepsThePortTable) {
    Recorder recorder;
    recorder.connect();
    recorder.tavu->pairPort(0, "camera", {}, 4);
    recorder.addRecordedFile({recording("a")});
    recorder.tavu->markDisconnected();
    EXPECT_TRUE(recorder.tavu->listFiles().empty());

    // A config record that knows nothing of the ports: the pairing in memory must survive.
    recorder.store.remove(".config");
    ON_CALL(*recorder.device, connectionState()).WillByDefault(Return(1));
    EXPECT_CALL(*recorder.device, portCount()).Times(0);
    testing::internal::CaptureStderr();
    recorder.tavu->reconnect();
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "no config file.\n");
    EXPECT_EQ(recorder.tavu->pairedTo(0), "camera");
    EXPECT_EQ(recorder.tavu->listFiles().size(), 1u);
    // Still not connected by the library's word, so the next update tries again.
    EXPECT_FALSE(recorder.tavu->isConnected());
    EXPECT_CALL(*recorder.driveSet, fileIds());
    testing::internal::CaptureStderr();
    recorder.tavu->reconnect();
    testing::internal::GetCapturedStderr();
}

TEST(PercentUsed, IdleReadsTheCapacityWithoutClamp) {
    Recorder recorder;
    recorder.connect();
    auto capacity = [&](uint64_t used, uint64_t total) {
        ON_CALL(*recorder.driveSet, capacityInfo(true))
            .WillByDefault(Return(boost::make_shared<Quillon::DriveSet::CapacityInfo>(
                Quillon::DriveSet::CapacityInfo{total, used})));
    };
    capacity(256, 1000);
    EXPECT_EQ(recorder.tavu->percentUsed(), 25);
    capacity(2559, 1000);
    EXPECT_EQ(recorder.tavu->percentUsed(), 255);
    capacity(2560, 1000);
    EXPECT_EQ(recorder.tavu->percentUsed(), 0);
    recorder.setDriveSets({});
    EXPECT_EQ(thrownText([&] { recorder.tavu->percentUsed(); }), "No drive set.");
}

TEST(PercentUsed, WhileRecordingEstimatesFromTheFramesOfRecordingPorts) {
    Recorder recorder;
    recorder.connect();
    recorder.tavu->setPortConfig(0, {100, 100, 0, 0});
    recorder.tavu->setPortConfig(1, {10, 10, 0, 0});
    // One frame of port 0 costs 100 * 100 * 2 + 384 bytes.
    EXPECT_CALL(*recorder.driveSet, capacityInfo(true))
        .WillOnce(Return(boost::make_shared<Quillon::DriveSet::CapacityInfo>(
            Quillon::DriveSet::CapacityInfo{1'000'000, 100'000})));
    recorder.tavu->startRecording({0b01, 0, StopCondition{0}, 0, false, 0});
    auto status = boost::make_shared<Quillon::Record::Status>();
    status->frames = 20;
    EXPECT_CALL(*recorder.record, status(Ptr<Quillon::Port>(recorder.ports[0]))).WillOnce(Return(status));
    // (100000 + 20 * 20384) / 1000000 = 50.768 percent.
    EXPECT_EQ(recorder.tavu->percentUsed(), 50);
}

}  // namespace
}  // namespace tavu::test
