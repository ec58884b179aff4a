// tavuctl end to end against the service with its emulated recorder.
#include <fcntl.h>
#include <gtest/gtest.h>

#include <csignal>
#include <signal.h>
#include <sys/file.h>
#include <unistd.h>

#include <fstream>
#include <regex>
#include <nlohmann/json.hpp>

#include "tests/tools/TavuctlRunner.h"
#include "client/Client.h"
#include "client/Playback.h"
#include "transport/LocalSocket.h"
#include "tests/support/ServiceProcess.h"
#include "tests/client/ImageReader.h"

namespace tavu::test {
namespace {

namespace fs = std::filesystem;
using nlohmann::json;

class TavuctlTest : public ::testing::Test {
protected:
    TavuctlTest()
        : service(home, {"noautoclose"}, {{"TAVUSRV_ENABLE_EMULATOR", "1"}}),
          tavuctl(home, {{"TAVUSRV_ENABLE_EMULATOR", "1"}}) {
        EXPECT_TRUE(service.waitForSocket());
        // The socket file appears a moment before the service listens on it. A probe is
        // harmless here: with noautoclose its leaving doesn't end the service.
        EXPECT_TRUE(eventually([&] { return LocalSocket().connectPath(home.socketPath()); }));
    }

    // Runs tavuctl, expects the status, and returns what it printed.
    std::string expect(int status, const std::vector<std::string>& args) {
        const Outcome outcome = tavuctl.run(args);
        EXPECT_EQ(outcome.status, status) << "tavuctl " << args.front() << "\nout: " << outcome.out
                                          << "\nerr: " << outcome.err;
        return outcome.out + outcome.err;
    }
    json expectJson(const std::vector<std::string>& args) {
        std::vector<std::string> withJson{"--json"};
        withJson.insert(withJson.end(), args.begin(), args.end());
        const Outcome outcome = tavuctl.run(withJson);
        EXPECT_EQ(outcome.status, 0) << outcome.err;
        return json::parse(outcome.out);
    }
    // Pairs and configures the emulator's port, records `frames` frames, and returns the entry.
    json recordFrames(const std::string& frames) {
        expect(0, {"pair", "0", "0", "cam1"});
        expect(0, {"config", "0", "0", "8", "4"});
        const json result = expectJson({"record", "0", "--frames", frames});
        EXPECT_EQ(result["endedBy"], "device");
        EXPECT_EQ(result["recordings"].size(), 1u);
        return result["recordings"].at(0);
    }

    TestHome home;
    ServiceProcess service;
    TavuctlRunner tavuctl;
};

TEST_F(TavuctlTest, DevicesAndPortsForPeopleAndForScripts) {
    EXPECT_TRUE(contains(expect(0, {"devices"}), "KIND      TYPE  PORTS  USED\n0    Emulator  yes        emulator  1"));
    const json devices = expectJson({"devices"});
    ASSERT_EQ(devices["devices"].size(), 1u);
    EXPECT_EQ(devices["devices"][0]["name"], "Emulator");
    EXPECT_EQ(devices["devices"][0]["kind"], "emulator");
    EXPECT_EQ(devices["devices"][0]["ports"], 1);
    EXPECT_EQ(devices["devices"][0]["percentUsed"], 5);
    EXPECT_EQ(expectJson({"ports", "0"})["ports"][0]["camera"], "");
}

TEST_F(TavuctlTest, PairConfigureRecordAndList) {
    const fs::path info = home.root() / "camera.bin";
    std::ofstream(info, std::ios::binary) << "xyz";
    expect(0, {"pair", "0", "0", "cam1", "--info", info.string(), "--frames-per-packet", "2"});
    expect(0, {"config", "0", "0", "8", "4", "--pixel-format", "3"});
    expect(0, {"config", "0", "0", "8", "4", "--tap-geometry", "9"});
    const json port = expectJson({"ports", "0"})["ports"][0];
    EXPECT_EQ(port["camera"], "cam1");
    EXPECT_EQ(port["framesPerPacket"], 2);
    // Values not given keep their setting.
    EXPECT_EQ(port["pixelFormat"], 3);
    EXPECT_EQ(port["tapGeometry"], 9);

    const std::string printed = expect(0, {"record", "0", "--frames", "5"});
    EXPECT_TRUE(contains(printed, "5/5 frames")) << printed;
    EXPECT_TRUE(contains(printed, "New recordings")) << printed;
    // About 32 frames a second: seconds, not milliseconds.
    expect(0, {"record", "0", "--seconds", "0.3"});
    const json files = expectJson({"files", "0"})["recordings"];
    ASSERT_EQ(files.size(), 2u);
    EXPECT_NEAR(files[1]["numFrames"].get<double>(), 10, 1.5);
    EXPECT_EQ(files[0]["numFrames"], 5);
    EXPECT_EQ(files[0]["width"], 8);
    EXPECT_EQ(files[0]["camera"], "cam1");
}

TEST_F(TavuctlTest, ExportedImagesHoldThePixelsThatPlaybackReads) {
    const json recording = recordFrames("3");
    const auto fileId = recording["fileId"].get<uint32_t>();
    const auto streamId = recording["streamId"].get<uint32_t>();
    const fs::path out = home.root() / "export";
    expect(0, {"export", "0", std::to_string(fileId), std::to_string(streamId), "--out", out.string(), "--frames", "0-2"});
    expect(0, {"export", "0", std::to_string(fileId), std::to_string(streamId), "--out", out.string(), "--frames",
               "1", "--format", "tiff"});

    client::ConnectOptions options;
    options.socketPath = home.socketPath();
    options.startService = false;
    client::Client reader(options);
    client::Playback playback(reader, 0, fileId, streamId);
    for (uint64_t frame = 0; frame < 3; ++frame) {
        SCOPED_TRACE(frame);
        const auto expected = playback.read(frame);
        const GrayImage png = readPng(out / ("frame_00000" + std::to_string(frame) + ".png"));
        ASSERT_EQ(png.width, 8u);
        ASSERT_EQ(png.height, 4u);
        ASSERT_EQ(png.pixels.size(), 32u);
        for (size_t i = 0; i < png.pixels.size(); ++i) {
            EXPECT_EQ(png.pixels[i], client::pixelAt(expected, i)) << "pixel " << i;
        }
        if (frame == 1) {
            EXPECT_EQ(readTiff(out / "frame_000001.tiff").pixels, png.pixels);
        }
    }
    // An export never replaces images without being told to.
    EXPECT_TRUE(contains(expect(1, {"export", "0", std::to_string(fileId), std::to_string(streamId), "--out",
                                    out.string(), "--frames", "2"}),
                         "already exists"));
    expect(0, {"export", "0", std::to_string(fileId), std::to_string(streamId), "--out", out.string(), "--frames",
               "2", "--force"});
}

TEST_F(TavuctlTest, SnapshotSavesALiveFrame) {
    expect(0, {"pair", "0", "0", "cam1"});
    expect(0, {"config", "0", "0", "8", "4"});
    const fs::path file = home.root() / "snap.png";
    const json result = expectJson({"snapshot", "0", "0", "--out", file.string()});
    EXPECT_EQ(result["width"], 8);
    const GrayImage image = readPng(file);
    ASSERT_EQ(image.pixels.size(), 32u);
    // Live view starts its ramp at 0.
    for (uint16_t i = 0; i < 32; ++i) {
        EXPECT_EQ(image.pixels[i], i);
    }
}

TEST_F(TavuctlTest, DestructiveCommandsAskUnlessToldNotTo) {
    const json recording = recordFrames("1");
    const std::string fileId = std::to_string(recording["fileId"].get<uint32_t>());
    EXPECT_TRUE(contains(expect(2, {"setup", "0"}), "erases its 1 recording"));
    EXPECT_TRUE(contains(expect(2, {"rm", "0", fileId, "0"}), "--yes"));
    EXPECT_EQ(expectJson({"files", "0"})["recordings"].size(), 1u);
    expect(0, {"rm", "0", fileId, "0", "--yes"});
    EXPECT_TRUE(expectJson({"files", "0"})["recordings"].empty());
    EXPECT_TRUE(contains(expect(2, {"rm", "0", fileId, "0", "--yes"}), "there is no recording"));
}

TEST_F(TavuctlTest, ErrorsSayWhatExistsAndUseTheDocumentedStatus) {
    EXPECT_TRUE(contains(expect(2, {"ports", "5"}), "the service has 1 device (0)"));
    EXPECT_TRUE(contains(expect(2, {"pair", "0", "3", "cam"}), "it has 1 port (0)"));
    EXPECT_TRUE(contains(expect(1, {"serial", "0", "0", "read"}),
                         "cannot read the serial channel on port 0 (Emu) of device 0: not supported"));
    expect(2, {"record", "0", "--frames", "0"});
    expect(2, {"record", "0", "--frames", "5", "--seconds", "1"});
    EXPECT_TRUE(contains(expect(2, {"record", "0"}), "pair"));
    for (const char* seconds : {"nan", "inf", "-1", "1e99", "0"}) {
        EXPECT_TRUE(contains(expect(2, {"record", "0", "--seconds", seconds}), "from 0.000001 to 1000000")) << seconds;
    }
    EXPECT_TRUE(contains(expect(2, {"ports", "-1"}), "not a whole number from 0 to 4294967295"));
    EXPECT_TRUE(contains(expect(2, {"--json", "recrod", "0"}), "unknown command 'recrod'; did you mean 'record'?"));
    EXPECT_TRUE(contains(expect(0, {"help", "record"}), "Usage: tavuctl record"));
    EXPECT_TRUE(contains(expect(2, {"export", "0", "99", "0", "--out", "x"}), "there is no recording 99/0"));

    const Outcome outcome = tavuctl.run({"--json", "ports", "5"});
    EXPECT_EQ(outcome.status, 2);
    EXPECT_EQ(json::parse(outcome.out)["exitCode"], 2);
}

TEST_F(TavuctlTest, InterruptStopsAndKeepsTheRecording) {
    expect(0, {"pair", "0", "0", "cam1"});
    expect(0, {"config", "0", "0", "8", "4"});
    for (const auto& [args, signal, status] :
         {std::tuple{std::vector<std::string>{"record", "0"}, SIGINT, 0},
          std::tuple{std::vector<std::string>{"record", "0", "--frames", "100000"}, SIGTERM, 130}}) {
        TavuctlRunner::Child record = tavuctl.start(args);
        // Progress lines show that frames are being written, on standard error.
        ASSERT_TRUE(eventually([&] { return contains(record.errors(), " frames "); }));
        record.signal(signal);
        const Outcome outcome = record.finish();
        EXPECT_EQ(outcome.status, status) << outcome.err;
        EXPECT_TRUE(outcome.out.starts_with("Stopped the recording")) << outcome.out;
        EXPECT_TRUE(contains(outcome.out, "New recordings")) << outcome.out;
    }
    const json files = expectJson({"files", "0"})["recordings"];
    ASSERT_EQ(files.size(), 2u);
    EXPECT_GT(files[1]["numFrames"].get<uint64_t>(), 0u);
}

TEST_F(TavuctlTest, EventsArePrintedAsTheyArrive) {
    expect(0, {"pair", "0", "0", "cam1"});
    expect(0, {"config", "0", "0", "8", "4"});
    TavuctlRunner::Child events = tavuctl.start({"--json", "events", "--count", "100"});
    client::ConnectOptions options;
    options.socketPath = home.socketPath();
    options.startService = false;
    client::Client notifier(options);
    // Until the queue of the events command exists, a notification reaches nobody.
    ASSERT_TRUE(eventually([&] {
        notifier.notifyFilesChanged(7);
        return contains(events.output(), "\n");
    }));
    expect(0, {"record", "0", "--frames", "1"});
    ASSERT_TRUE(eventually([&] { return contains(events.output(), "RecordingStopped"); })) << events.output();
    events.signal(SIGINT);
    std::istringstream lines(events.finish().out);
    std::vector<std::string> seen;
    for (std::string line; std::getline(lines, line);) {
        const json event = json::parse(line);
        if (event["type"] == "FilesChanged" && event["device"] == 7) {
            continue;
        }
        EXPECT_TRUE(std::regex_match(event["time"].get<std::string>(),
                                     std::regex(R"(\d{4}-\d\d-\d\dT\d\d:\d\d:\d\d\.\d{3}[+-]\d\d:\d\d)")))
            << line;
        seen.push_back(event["type"].get<std::string>() + " " + event["device"].dump() + " " +
                       (event.contains("portMask") ? "mask " + event["portMask"].dump() : event["port"].dump()));
    }
    ASSERT_GE(seen.size(), 2u);
    EXPECT_EQ(std::vector<std::string>(seen.begin(), seen.begin() + 2),
              (std::vector<std::string>{"RecordingStarted 0 mask 1", "RecordingStopped 0 0"}));
}

TEST_F(TavuctlTest, ACutOffRecordingIsNamedWithWhatToDoAndCanBeDiscarded) {
    EXPECT_TRUE(contains(expect(0, {"recover", "0"}), "nothing to do"));
    expect(0, {"pair", "0", "0", "cam1"});
    expect(0, {"config", "0", "0", "8", "4"});
    TavuctlRunner::Child record = tavuctl.start({"record", "0"});
    ASSERT_TRUE(eventually([&] { return contains(record.errors(), " frames "); }));
    // While it runs, its frames are no cut-off recording.
    EXPECT_FALSE(expectJson({"files", "0"})["cutOffRecording"].get<bool>());
    EXPECT_TRUE(contains(expect(0, {"recover", "0", "--discard", "--yes"}), "nothing to do"));
    // The service dies in the middle: the recording is left incomplete.
    service.kill(SIGKILL);
    ASSERT_TRUE(service.waitForExit());
    const Outcome lost = record.finish();
    EXPECT_EQ(lost.status, 3);
    EXPECT_TRUE(contains(lost.err, "lost the connection to the service during the recording on device 0")) << lost.err;
    EXPECT_TRUE(contains(lost.err, "'tavuctl recover 0 --discard'")) << lost.err;
    EXPECT_FALSE(contains(lost.err, "could not stop")) << lost.err;

    ServiceProcess restarted(home, {"noautoclose"}, {{"TAVUSRV_ENABLE_EMULATOR", "1"}});
    ASSERT_TRUE(restarted.waitForSocket());
    for (const auto& command : {std::vector<std::string>{"devices"}, std::vector<std::string>{"files", "0"}}) {
        const Outcome listed = tavuctl.run(command);
        EXPECT_TRUE(contains(listed.err, "device 0 has a cut-off recording waiting")) << listed.err;
        EXPECT_TRUE(contains(listed.err, "'tavuctl recover 0 --discard'")) << listed.err;
        EXPECT_FALSE(contains(listed.out, "cut-off")) << listed.out;
    }
    EXPECT_TRUE(expectJson({"devices"})["devices"][0]["cutOffRecording"].get<bool>());
    // A new recording would be written over it.
    EXPECT_TRUE(contains(expect(1, {"record", "0", "--frames", "1"}), "which a new recording would overwrite"));
    const std::string refused = expect(1, {"recover", "0"});
    EXPECT_TRUE(contains(refused, "the emulated recorder cannot repair")) << refused;
    EXPECT_FALSE(contains(refused, "deadlock")) << refused;
    EXPECT_TRUE(contains(expect(2, {"recover", "0", "--discard"}), "--yes"));
    EXPECT_TRUE(contains(expect(0, {"recover", "0", "--discard", "--yes"}), "Discarded"));
    EXPECT_TRUE(contains(expect(0, {"recover", "0"}), "nothing to do"));
}

TEST_F(TavuctlTest, RecordRefusesWhatWouldLoseOrNeverMakeARecording) {
    EXPECT_TRUE(contains(expect(1, {"trigger", "0"}), "nothing is recording on device 0"));
    expect(0, {"pair", "0", "0", "cam1"});
    expect(0, {"config", "0", "0", "8", "4"});
    EXPECT_TRUE(contains(expect(2, {"record", "0", "--external-start"}), "no trigger input"));

    TavuctlRunner::Child first = tavuctl.start({"record", "0"});
    ASSERT_TRUE(eventually([&] { return contains(first.errors(), " frames "); }));
    const std::string second = expect(1, {"record", "0", "--frames", "3"});
    EXPECT_TRUE(contains(second, "device 0 is recording (port 0 Emu: ")) << second;
    EXPECT_TRUE(contains(second, "'tavuctl stop 0' stops that one")) << second;
    expect(0, {"trigger", "0"});
    // Stopped by another client: said in one line, and not stopped a second time.
    expect(0, {"stop", "0"});
    const Outcome ended = first.finish();
    EXPECT_EQ(ended.status, 1) << ended.err;
    EXPECT_TRUE(contains(ended.err, "ended short: port 0 (Emu) has ")) << ended.err;
    EXPECT_TRUE(contains(ended.err, "; another client stopped it\n")) << ended.err;
    EXPECT_FALSE(contains(ended.err, "cannot stop")) << ended.err;
    EXPECT_TRUE(contains(ended.out, "New recordings")) << ended.out;
    EXPECT_EQ(expectJson({"files", "0"})["recordings"].size(), 1u);

    // A stop that can't write the catalogue: the emulator has ended the recording, so stopping
    // again can't help, and its frames wait as a cut-off recording.
    fs::create_directories(home.dataDir() / "OREK Systems/TAVU/Emulator/Emu/2.meta");
    const std::string failed = expect(1, {"record", "0", "--frames", "3"});
    EXPECT_TRUE(contains(failed, "cannot stop the recording on device 0: Failed to open file")) << failed;
    EXPECT_TRUE(contains(failed, "'tavuctl recover 0 --discard'")) << failed;
    EXPECT_FALSE(contains(failed, "tries again")) << failed;
    fs::remove(home.dataDir() / "OREK Systems/TAVU/Emulator/Emu/2.meta");
    EXPECT_TRUE(contains(expect(0, {"recover", "0", "--discard", "--yes"}), "Discarded"));
    expect(0, {"record", "0", "--frames", "2"});
}

TEST_F(TavuctlTest, NamesThatTheCatalogueCouldNotListAgainAreRefused) {
    const std::string fileId = std::to_string(recordFrames("1")["fileId"].get<uint32_t>());
    for (const std::string& name : std::vector<std::string>{"", "two\nlines", "\xff\xfe", std::string(2000, 'x')}) {
        expect(2, {"rename", "0", fileId, "0", name});
        expect(2, {"info", "0", fileId, "0", "--name", name});
    }
    // Asked for its own name again, the name stays as it is.
    for (int i = 0; i < 2; ++i) {
        EXPECT_TRUE(contains(expect(0, {"info", "0", fileId, "0", "--name", "shot"}), "  name       shot\n"));
    }
    // A recording without an identity block shows none.
    EXPECT_TRUE(contains(expect(0, {"info", "0", fileId, "0"}), "identity   none"));
    EXPECT_EQ(expectJson({"files", "0"})["recordings"][0]["name"], "shot");
}

class TavuctlWithoutServiceTest : public ::testing::Test {
protected:
    TestHome home;
};

TEST_F(TavuctlWithoutServiceTest, StartsTheServiceOrSaysWhereItLooked) {
    TavuctlRunner tavuctl(home, {});
    const Outcome refused = tavuctl.run({"--no-start", "devices"});
    EXPECT_EQ(refused.status, 3);
    EXPECT_TRUE(contains(refused.err, home.socketPath())) << refused.err;

    const Outcome started = tavuctl.run({"devices"});
    EXPECT_EQ(started.status, 0) << started.err;
    EXPECT_TRUE(contains(started.out, "No devices")) << started.out;
    // The service ends with its last client: nobody holds its lock any more.
    EXPECT_TRUE(eventually([&] {
        const int fd = ::open((home.socketPath() + ".lock").c_str(), O_RDWR | O_CLOEXEC);
        const bool free = fd >= 0 && ::flock(fd, LOCK_EX | LOCK_NB) == 0;
        ::close(fd);
        return free;
    }));

    // A tavuctl with no tavusvc beside it and none on PATH.
    const fs::path lonely = home.root() / "lonely";
    fs::create_directory(lonely);
    fs::copy_file(fs::path(TAVUSVC_BIN_DIR) / "tavuctl", lonely / "tavuctl");
    TavuctlRunner alone(home, {{"PATH", lonely.string()}}, lonely / "tavuctl");
    const Outcome missing = alone.run({"devices"});
    EXPECT_EQ(missing.status, 3);
    EXPECT_TRUE(contains(missing.err, "no tavusvc executable was found in " + lonely.string())) << missing.err;
}

}  // namespace
}  // namespace tavu::test
