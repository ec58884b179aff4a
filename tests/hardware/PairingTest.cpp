#include "Recorder.h"
#include "encoding/MemStream.h"
#include "records/ConfigRecord.h"

#include <gtest/gtest.h>

namespace tavu::test {
namespace {

using testing::_;
using testing::Return;

std::vector<uint8_t> blockOf(size_t size) {
    std::vector<uint8_t> block(size);
    for (size_t index = 0; index < size; ++index) {
        block[index] = static_cast<uint8_t>(index * 7);
    }
    return block;
}

class Pairing : public testing::Test {
protected:
    Pairing() { recorder.connect(); }

    void pair(uint8_t port, const std::string& camera, const std::vector<uint8_t>& block, uint16_t packet = 8) {
        recorder.tavu->pairPort(port, camera, {block.data(), static_cast<uint32_t>(block.size())}, packet);
    }

    std::vector<uint8_t> identity(uint8_t port) {
        return recorder.tavu->portIdentity(port);
    }

    // The port maps of the stored configuration record.
    std::vector<PortRecord> storedPorts() {
        std::vector<uint8_t> bytes = recorder.store.contents(".config");
        MemStream stream(bytes.data(), bytes.size());
        std::vector<PortRecord> ports;
        readPortRecords(stream, [&](PortRecord&& port) { ports.push_back(std::move(port)); });
        return ports;
    }

    // The service starts again and finds the recorder.
    void reconnectAfterRestart() {
        recorder.restart();
        EXPECT_EQ(recorder.connect(), "");
    }

    Recorder recorder;
};

TEST_F(Pairing, ABlockOfTheLimitStandsInTheConfigRecord) {
    const std::vector<uint8_t> block = blockOf(16384);
    pair(0, "camera", block);
    EXPECT_FALSE(recorder.store.has("Cam0.pair"));
    EXPECT_EQ(storedPorts()[0].info, block);

    reconnectAfterRestart();
    EXPECT_CALL(*recorder.driveSet, findFile(text("Cam0.pair"))).Times(0);
    EXPECT_EQ(identity(0), block);
    EXPECT_EQ(recorder.tavu->pairedTo(0), "camera");
    EXPECT_EQ(recorder.tavu->framesPerPacket(0), 8);
}

TEST_F(Pairing, ALargerBlockGoesToThePortsPairFileAndIsLoadedWhenAskedFor) {
    const std::vector<uint8_t> block = blockOf(16385);
    pair(1, "camera", block);
    ASSERT_TRUE(recorder.store.has("Cam1.pair"));
    EXPECT_TRUE(storedPorts()[1].info.empty());
    // 32 MiB of 512-byte stripes.
    EXPECT_EQ(recorder.store.file("Cam1.pair").sizeClusters, 65536u);

    // The record has no block for the port, which keeps the one in memory over a reconnection.
    recorder.tavu->markDisconnected();
    testing::internal::CaptureStderr();
    recorder.tavu->reconnect();
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "");
    EXPECT_CALL(*recorder.driveSet, findFile(text("Cam1.pair"))).Times(0);
    EXPECT_EQ(identity(1), block);
    testing::Mock::VerifyAndClearExpectations(recorder.driveSet.get());

    reconnectAfterRestart();
    EXPECT_CALL(*recorder.driveSet, findFile(text("Cam1.pair")));
    EXPECT_EQ(identity(1), block);
    // From memory from now on.
    EXPECT_EQ(identity(1), block);
}

TEST_F(Pairing, RepairNeedsExactlyThePairedCamera) {
    pair(0, "Camera", blockOf(10), 8);
    EXPECT_EQ(thrownText([&] { recorder.tavu->repairPort(0, "camera", {}, 9); }),
              "Not paired to this camera.");
    EXPECT_EQ(identity(0), blockOf(10));

    const std::vector<uint8_t> block = blockOf(20);
    recorder.tavu->repairPort(0, "Camera", {block.data(), 20}, 9);
    EXPECT_EQ(recorder.tavu->pairedTo(0), "Camera");
    EXPECT_EQ(recorder.tavu->framesPerPacket(0), 9);
    EXPECT_EQ(storedPorts()[0].info, block);
}

TEST_F(Pairing, UnpairingForgetsThePairingButNotTheConfiguration) {
    recorder.tavu->setPortConfig(0, {320, 240, 5, 1});
    pair(0, "camera", blockOf(30000));
    recorder.tavu->unpairPort(0);
    EXPECT_EQ(recorder.tavu->pairedTo(0), "");
    EXPECT_EQ(recorder.tavu->framesPerPacket(0), 0);
    // The pairing file stays for the next large block.
    EXPECT_TRUE(recorder.store.has("Cam0.pair"));
    const PortRecord stored = storedPorts()[0];
    EXPECT_EQ(stored.pairedTo, "");
    EXPECT_EQ(stored.numFramesPerPacket, 0);
    EXPECT_EQ(std::tie(stored.width, stored.height, stored.pixelFormat, stored.tapGeometry),
              std::make_tuple(320, 240, 5u, 1u));
}

TEST_F(Pairing, WithoutDriveSetTheWriteFailsAfterMemoryChanged) {
    recorder.setDriveSets({});
    EXPECT_EQ(thrownText([&] { pair(0, "camera", blockOf(4)); }), "no drive set.");
    EXPECT_EQ(recorder.tavu->pairedTo(0), "camera");
    EXPECT_EQ(thrownText([&] { recorder.tavu->unpairPort(0); }), "no drive set.");
}

TEST_F(Pairing, UnchangedConfigurationTouchesNeitherRecorderNorDrives) {
    recorder.tavu->setPortConfig(0, {640, 480, 2, 19});
    EXPECT_CALL(*recorder.ports[0], setDataDescriptor(_)).Times(0);
    EXPECT_CALL(*recorder.storage, driveSets()).Times(0);
    recorder.tavu->setPortConfig(0, {640, 480, 2, 19});
}

TEST_F(Pairing, VirtualDevicesCannotBeConfiguredEvenToTheirValues) {
    ON_CALL(*recorder.device, kind()).WillByDefault(Return(Quillon::Device::KindVirtual));
    EXPECT_EQ(thrownText([&] { recorder.tavu->setPortConfig(0, {0, 0, 0, 0}); }),
              "Virtual devices cannot be configured.");
}

TEST_F(Pairing, ABrokenConfigRecordIsPrintedAtConnection) {
    recorder.store.add(".config", 4);
    // An empty map where the envelope should be.
    recorder.store.file(".config").blocks.assign(1, std::vector<uint8_t>(512, 0x80));
    recorder.restart();
    EXPECT_CALL(*recorder.ports[0], setDataDescriptor(_)).Times(0);
    EXPECT_EQ(recorder.connect(), "Inalid config file.\n");
    EXPECT_FALSE(recorder.connectError);
}

}  // namespace
}  // namespace tavu::test
