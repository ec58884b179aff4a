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
        // One camera at 100 frames per second; blocks of 4096 bytes, one frame of 64 x 32 each.
        const json unit = {{"name", "REC-A"},
                           {"deviceType", 15},
                           {"clusterBytes", 4096},
                           {"ports", {{{"name", "A1"}, {"measuredFrameRate", 100.0}}}},
                           {"driveGroups", {{{"drives", {{{"physicalIndex", 0}, {"capacity", 100000000}}}}}}}};
        std::ofstream(simRoot / "recorders.json") << json{{"recorders", {unit}}}.dump();
        startService();
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
        ASSERT_TRUE(eventually([&] { return client::Client(options).deviceCount() == 1; }));
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

}  // namespace
}  // namespace tavu::test
