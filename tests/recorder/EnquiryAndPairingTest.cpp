// Finding simulated recorders, following them as they are plugged, and pairing and configuring
// their ports, all through the socket.
#include <algorithm>
#include <fstream>

#include "RecorderFixture.h"
#include "client/ClientErrors.h"

namespace tavu::test {
namespace {

using nlohmann::json;

std::vector<std::string> fileNames(const json& index) {
    std::vector<std::string> names;
    for (const json& file : index.at("files")) {
        names.push_back(file.at("name").get<std::string>());
    }
    return names;
}

bool holds(const std::vector<std::string>& names, const std::string& name) {
    return std::find(names.begin(), names.end(), name) != names.end();
}

using Enquiries = RecorderFixture;

TEST_F(Enquiries, RecordersAreFilteredByNameAndAlternativeName) {
    writeDescription({recorder("REC-A"), recorder("REC-B"), recorder("LAB-C")});
    startService(1, {{"TAVUSRV_DEVICE_NAME_WHITELIST", "rec-*"}, {"TAVUSRV_DEVICE_ALT_NAME_BLACKLIST", "*-a"}});
    EXPECT_EQ(client().deviceName(0), "REC-B");
    EXPECT_TRUE(client().deviceConnected(0));
    EXPECT_TRUE(client().isCxp(0));
    EXPECT_EQ(client().portCount(0), 2);
    EXPECT_EQ(client().portName(0, 1), "REC-B-2");
    EXPECT_THROW(client().deviceName(1), client::ServiceError);
}

TEST_F(Enquiries, UnpluggingAndPluggingKeepTheIndexAndTheDisconnectedHaveNoPortsUntilTheyConnect) {
    writeDescription({recorder("REC-A"), recorder("REC-B", false)});
    startService(2);
    EXPECT_FALSE(client().deviceConnected(1));
    EXPECT_EQ(client().portCount(1), 0);

    writeDescription({recorder("REC-A", false), recorder("REC-B")});
    // The library answers "connected" at once; the ports come with the service's next list update.
    ASSERT_TRUE(eventually([&] { return !client().deviceConnected(0) && client().portCount(1) == 2; }));
    EXPECT_TRUE(client().deviceConnected(1));
    EXPECT_EQ(client().deviceName(0), "REC-A");
    EXPECT_EQ(client().deviceName(1), "REC-B");

    writeDescription({recorder("REC-A"), recorder("REC-B")});
    ASSERT_TRUE(eventually([&] { return client().deviceConnected(0); }));
    EXPECT_EQ(client().deviceCount(), 2u);
    EXPECT_EQ(client().portName(0, 0), "REC-A-1");
}

// A recorder that was unplugged comes back switched off and on: it has forgotten every setting,
// and the service describes its configured ports to it again.
TEST_F(Enquiries, APluggedBackRecorderGetsItsPortsDescribedAgain) {
    json unit = recorder("REC-A");
    unit["ports"][1]["cameraAsleep"] = true;
    unit["ports"].push_back({{"name", "REC-A-3"}, {"measuredFrameRate", 25.0}});
    writeDescription({unit});
    startService(1);
    client().setPortConfig(0, 1, {16, 4, 0, 0});
    client().setPortConfig(0, 2, {640, 0, 0, 0});
    client().pairPort(0, 1, "cam-b", std::vector<uint8_t>{9}, 1);
    ASSERT_EQ(recordFrames(1, 3).size(), 1u);
    const json before = recorderState("REC-A").at("ports");
    ASSERT_FALSE(before[2].at("dataDescriptor").is_null());

    unit["connected"] = false;
    writeDescription({unit});
    // The catalogue goes with the connection.
    ASSERT_TRUE(eventually([&] { return client().listFiles(0).empty(); }));
    unit["connected"] = true;
    writeDescription({unit});
    ASSERT_TRUE(eventually([&] { return client().listFiles(0).size() == 1; }));

    const json after = recorderState("REC-A").at("ports");
    for (size_t port = 0; port < 2; ++port) {
        SCOPED_TRACE(port);
        EXPECT_EQ(after[port].at("dataDescriptor"), before[port].at("dataDescriptor"));
        EXPECT_EQ(after[port].at("driveSet"), before[port].at("driveSet"));
    }
    // A geometry with a side of 0 is kept, but not described to the port.
    EXPECT_TRUE(after[2].at("dataDescriptor").is_null()) << after[2].dump();
    EXPECT_TRUE(after[2].at("driveSet").is_null());
    EXPECT_EQ(client().getPortConfig(0, 2), (PortConfig{640, 0, 0, 0}));
    // The camera went back to sleep with the power and was woken again.
    EXPECT_EQ(after[1].at("memoryWrites"), json::parse(R"([{"address": 16384, "bytes": "00000001"}])"));
    EXPECT_EQ(client().pairedTo(0, 1), "cam-b");
    EXPECT_EQ(client().recoveryStatus(0), RecoveryStatus::NotRun);
    // The port's description was the service's, not one left from before.
    EXPECT_EQ(recordFrames(1, 2).size(), 1u);
}

TEST_F(Enquiries, SetupRecreatesTheTavuSetAndPercentUsedFollowsItsFiles) {
    startWithRecorderA();
    client().setup(0);
    const json fresh = driveSetIndex("REC-A");
    ASSERT_FALSE(fresh.is_null());
    EXPECT_EQ(fresh.at("name"), "TAVU");
    EXPECT_EQ(fresh.at("drives").size(), 2u);
    const uint8_t idle = client().percentUsed(0);

    // A pairing block of over 16384 bytes takes a file of its own, which counts as used.
    client().pairPort(0, 0, "big", std::vector<uint8_t>(16385, 7), 1);
    EXPECT_GE(client().percentUsed(0), idle);
    EXPECT_TRUE(holds(fileNames(driveSetIndex("REC-A")), "REC-A-1.pair")) << driveSetIndex("REC-A").dump();

    client().setup(0);
    const json again = driveSetIndex("REC-A");
    EXPECT_EQ(again.at("name"), "TAVU");
    EXPECT_FALSE(holds(fileNames(again), "REC-A-1.pair"));
    EXPECT_EQ(client().percentUsed(0), idle);
    // The pairing lives on in the service and reaches the new set with the next write.
    EXPECT_EQ(client().pairedTo(0, 0), "big");
}

using Pairing = RecorderFixture;

TEST_F(Pairing, TheBlockLimitDecidesWhereThePairingLivesAndBothSurviveARestart) {
    startWithRecorderA();
    client().setup(0);
    const std::vector<uint8_t> atLimit(16384, 1), overLimit(16385, 2);
    client().pairPort(0, 0, "cam-small", atLimit, 2);
    client().pairPort(0, 1, "cam-large", overLimit, 3);
    client().setPortConfig(0, 0, {1024, 768, 1, 2});
    const auto names = fileNames(driveSetIndex("REC-A"));
    EXPECT_FALSE(holds(names, "REC-A-1.pair"));
    EXPECT_TRUE(holds(names, "REC-A-2.pair"));

    stopService();
    startService(1);
    EXPECT_EQ(client().pairedTo(0, 0), "cam-small");
    EXPECT_EQ(client().pairedTo(0, 1), "cam-large");
    EXPECT_EQ(client().portIdentity(0, 0), atLimit);
    EXPECT_EQ(client().portIdentity(0, 1), overLimit);
    EXPECT_EQ(client().framesPerPacket(0, 1), 3);
    EXPECT_EQ(client().getPortConfig(0, 0), (PortConfig{1024, 768, 1, 2}));

    // The pairing is checked against the camera it names.
    try {
        client().repairPort(0, 0, "someone-else", atLimit, 2);
        ADD_FAILURE() << "repairing to another camera was accepted";
    } catch (const client::ServiceError& error) {
        EXPECT_STREQ(error.what(), "Not paired to this camera.");
    }
}

// The descriptor that a port configuration sets tells the port how many pixels arrive a clock:
// on CoaXPress four or two by link, eight on the second family, and the taps on frame grabbers.
TEST_F(Pairing, PortConfigurationDescribesTheFramesToThePort) {
    json narrow = recorder("REC-A"), wide = recorder("REC-B"), second = recorder("REC-C"), grabber = recorder("REC-D");
    narrow["ports"][0]["linkMode"] = 2;
    wide["ports"][0]["linkMode"] = 1;
    second["deviceType"] = 70;
    grabber["deviceType"] = 5;
    writeDescription({narrow, wide, second, grabber});
    startService(4);
    const struct {
        uint32_t device;
        PortConfig config;
        uint32_t clockedWidth;
    } cases[] = {{0, {2048, 480, 0, 0}, 512}, {1, {2048, 480, 0, 0}, 1024}, {2, {2048, 480, 0, 0}, 256},
                 {3, {1000, 480, 0, 10}, 333}, {3, {1200, 480, 0, 19}, 300}, {3, {1200, 480, 0, 7}, 1200}};
    for (const auto& c : cases) {
        client().setPortConfig(c.device, 0, c.config);
        const std::string name = client().deviceName(c.device);
        std::ifstream in(simRoot / name / "state.json");
        const json fields = json::parse(in).at("ports").at(0).at("dataDescriptor").at("fields");
        const auto field = std::find_if(fields.begin(), fields.end(), [](const json& f) { return f.at("id") == 1; });
        ASSERT_NE(field, fields.end()) << name;
        EXPECT_EQ(field->at("value"), c.clockedWidth) << name << " tap geometry " << c.config.tapGeometry;
    }
}

TEST_F(Pairing, VirtualRecordersRefuseConfiguration) {
    json virtualRecorder = recorder("VIRT");
    virtualRecorder["kind"] = 1;
    writeDescription({virtualRecorder});
    startService(1);
    try {
        client().setPortConfig(0, 0, {640, 480, 0, 0});
        ADD_FAILURE() << "a virtual recorder took a configuration";
    } catch (const client::ServiceError& error) {
        EXPECT_STREQ(error.what(), "Virtual devices cannot be configured.");
    }
}

}  // namespace
}  // namespace tavu::test
