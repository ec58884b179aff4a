// tavuctl end to end against the service on a simulated recorder.
#include <gtest/gtest.h>
#include <signal.h>

#include <fstream>
#include <nlohmann/json.hpp>

#include "client/Client.h"
#include "transport/LocalSocket.h"
#include "tests/client/ImageReader.h"
#include "tests/support/ServiceProcess.h"
#include "tests/tools/TavuctlRunner.h"

namespace tavu::test {
namespace {

namespace fs = std::filesystem;
using nlohmann::json;

class TavuctlOnSimTest : public ::testing::Test {
protected:
    TavuctlOnSimTest() : tavuctl(home, environment()) {
        fs::create_directory(simRoot);
        // One camera each at 100 frames per second; blocks of 4096 bytes, one frame of 64 x 32 each.
        // The second recorder's drive has room for its records and about 80 frames.
        description = {{"recorders", {recorder("REC-A", "A1", 100000000), recorder("REC-B", "B1", 600 * 4096)}}};
        std::ofstream(simRoot / "recorders.json") << description.dump();
        startService();
    }

    static json recorder(const std::string& name, const std::string& port, uint64_t capacity) {
        return {{"name", name},
                {"deviceType", 15},
                {"clusterBytes", 4096},
                {"ports", {{{"name", port}, {"measuredFrameRate", 100.0}, {"hasSerial", true}}}},
                {"driveGroups", {{{"drives", {{{"physicalIndex", 0}, {"capacity", capacity}}}}}}}};
    }
    // Replaced in one step, so that the library never reads half an edit.
    void describe(const std::string& recorder, const std::string& key, const json& value) {
        for (json& unit : description["recorders"]) {
            if (unit["name"] == recorder) {
                unit[key] = value;
            }
        }
        std::ofstream(simRoot / "edit.json") << description.dump();
        fs::rename(simRoot / "edit.json", simRoot / "recorders.json");
    }
    Outcome run(int status, const std::vector<std::string>& args) {
        Outcome outcome = tavuctl.run(args);
        EXPECT_EQ(outcome.status, status) << args.front() << "\nout: " << outcome.out << "\nerr: " << outcome.err;
        return outcome;
    }

    TavuctlRunner::Environment environment() const {
        return {{"QUILLON_PATH_X64", TAVU_SIM_ROOT}, {"QUILLON_SIM_ROOT", simRoot.string()}};
    }
    void startService() {
        service = std::make_unique<ServiceProcess>(home, std::vector<std::string>{"noautoclose"}, environment());
        ASSERT_TRUE(service->waitForSocket());
        ASSERT_TRUE(eventually([&] { return LocalSocket().connectPath(home.socketPath()); }));
        client::ConnectOptions options;
        options.socketPath = home.socketPath();
        options.startService = false;
        ASSERT_TRUE(eventually([&] { return client::Client(options).deviceCount() == 2; }));
    }
    json expectJson(const std::vector<std::string>& args) {
        std::vector<std::string> withJson{"--json"};
        withJson.insert(withJson.end(), args.begin(), args.end());
        const Outcome outcome = tavuctl.run(withJson);
        EXPECT_EQ(outcome.status, 0) << args.front() << ": " << outcome.err;
        return outcome.status == 0 ? json::parse(outcome.out) : json::object();
    }

    TestHome home;
    fs::path simRoot = home.root() / "sim";
    json description;
    std::unique_ptr<ServiceProcess> service;
    TavuctlRunner tavuctl;
};

TEST_F(TavuctlOnSimTest, RecordListExportAndRecoverOnASimulatedRecorder) {
    EXPECT_EQ(tavuctl.run({"config", "0", "0", "64", "32"}).status, 0);
    EXPECT_EQ(tavuctl.run({"pair", "0", "0", "cam1"}).status, 0);
    const json recorded = expectJson({"record", "0", "--frames", "10"});
    ASSERT_EQ(recorded["recordings"].size(), 1u) << recorded.dump();
    const json recording = recorded["recordings"][0];
    EXPECT_EQ(recording["numFrames"], 10);
    const json files = expectJson({"files", "0"})["recordings"];
    ASSERT_EQ(files.size(), 1u);
    EXPECT_EQ(files[0]["port"], "A1");
    EXPECT_EQ(files[0]["camera"], "cam1");
    // Paired without an identity block, which the recorder then cannot read: shown as none.
    const Outcome info = run(0, {"info", "0", std::to_string(recording["fileId"].get<uint32_t>()),
                                 std::to_string(recording["streamId"].get<uint32_t>())});
    EXPECT_TRUE(contains(info.out, "identity   none")) << info.out;

    // The exported images hold the camera's frames: pixel (x, y) of frame f is f + x + 2y.
    const fs::path out = home.root() / "export";
    const Outcome exported = tavuctl.run({"export", "0", std::to_string(recording["fileId"].get<uint32_t>()),
                                          std::to_string(recording["streamId"].get<uint32_t>()), "--out",
                                          out.string(), "--frames", "8-9"});
    ASSERT_EQ(exported.status, 0) << exported.err;
    for (uint32_t frame : {8u, 9u}) {
        const GrayImage png = readPng(out / ("frame_00000" + std::to_string(frame) + ".png"));
        ASSERT_EQ(png.width, 64u);
        ASSERT_EQ(png.height, 32u);
        ASSERT_EQ(png.pixels.size(), 64u * 32);
        EXPECT_EQ(png.pixels[0], frame);
        EXPECT_EQ(png.pixels[64 * 31 + 63], frame + 63 + 62);
    }

    // A service killed during a recording leaves it incomplete; recover salvages what reached the drive.
    TavuctlRunner::Child record = tavuctl.start({"record", "0"});
    client::ConnectOptions options;
    options.socketPath = home.socketPath();
    options.startService = false;
    {
        client::Client watcher(options);
        ASSERT_TRUE(eventually([&] { return watcher.recordingProgress(0, 0).numFrames >= 20; }));
    }
    service->kill(SIGKILL);
    ASSERT_TRUE(service->waitForExit());
    EXPECT_EQ(record.finish().status, 3);
    startService();
    const Outcome recovered = tavuctl.run({"recover", "0"});
    EXPECT_EQ(recovered.status, 0) << recovered.err;
    EXPECT_TRUE(contains(recovered.out, "Recovered")) << recovered.out;
    const json after = expectJson({"files", "0"})["recordings"];
    ASSERT_EQ(after.size(), 2u) << after.dump();
    EXPECT_GT(after[1]["numFrames"].get<uint64_t>(), 0u);
    EXPECT_TRUE(contains(tavuctl.run({"recover", "0"}).out, "nothing to do"));
}

TEST_F(TavuctlOnSimTest, RecordShowsWaitingUnpluggingAndShortRecordingsForWhatTheyAre) {
    for (const char* device : {"0", "1"}) {
        run(0, {"config", device, "0", "64", "32"});
        run(0, {"pair", device, "0", "cam"});
    }
    // Waiting for the external start is shown as waiting, with no rate and no bar.
    TavuctlRunner::Child waiting = tavuctl.start({"record", "1", "--seconds", "0.3", "--external-start"});
    ASSERT_TRUE(eventually([&] { return contains(waiting.errors(), "waiting for the external start input"); }));
    EXPECT_TRUE(contains(run(1, {"record", "1", "--frames", "3"}).err, "device 1 is recording"));
    run(0, {"trigger", "1"});
    EXPECT_FALSE(contains(waiting.errors(), "fps"));
    describe("REC-B", "externalInput", true);
    const Outcome started = waiting.finish();
    EXPECT_EQ(started.status, 0) << started.err;
    EXPECT_TRUE(contains(started.out, "New recordings")) << started.out;
    EXPECT_TRUE(contains(run(1, {"trigger", "1"}).err, "nothing is recording on device 1"));

    // More frames than the drive set holds: one line says so, with the cause.
    const Outcome full = run(1, {"record", "1", "--frames", "500"});
    EXPECT_TRUE(contains(full.err, "tavuctl: the recording on device 1 ended short of the 500 frames asked: port 0 (B1) has "))
        << full.err;
    EXPECT_TRUE(contains(full.err, "; the drive set is full (")) << full.err;

    // An unplugged recorder records on; the command waits for it and ends as usual.
    TavuctlRunner::Child unplugged = tavuctl.start({"record", "0", "--frames", "300"});
    ASSERT_TRUE(eventually([&] { return contains(unplugged.errors(), " frames "); }));
    describe("REC-A", "connected", false);
    ASSERT_TRUE(eventually([&] { return contains(unplugged.errors(), "The recorder of device 0 is disconnected"); }));
    describe("REC-A", "connected", true);
    const Outcome replugged = unplugged.finish();
    EXPECT_EQ(replugged.status, 0) << replugged.err;
    EXPECT_TRUE(contains(replugged.out, "New recordings")) << replugged.out;
    EXPECT_TRUE(contains(replugged.err, "300/300 frames")) << replugged.err;
}

TEST_F(TavuctlOnSimTest, SerialTrafficAsTextAndAsHexadecimalInOrder) {
    run(0, {"config", "0", "0", "64", "32"});
    run(0, {"pair", "0", "0", "cam"});
    run(0, {"serial", "0", "0", "open"});
    run(0, {"serial", "0", "0", "write", "--text", "ID?\\r"});
    EXPECT_EQ(run(0, {"serial", "0", "0", "read", "10"}).out, "53 49 4d 43 41 4d 20 41 31 0d\n");
    run(0, {"serial", "0", "0", "write", "41", "42 43", "0d"});
    EXPECT_EQ(run(0, {"serial", "0", "0", "read", "4"}).out, "41 42 43 0d\n");
    EXPECT_TRUE(contains(run(2, {"serial", "0", "0", "write", "--text", "\\q"}).err, "bad escape"));
}

}  // namespace
}  // namespace tavu::test
