#include "RecorderFixture.h"

#include <fstream>
#include <iterator>

#include "client/FrameView.h"
#include "records/MetaRecord.h"
#include "transport/LocalSocket.h"

namespace tavu {

void PrintTo(const FileRecord& record, std::ostream* out) {
    *out << "{" << record.name << ", port " << record.port << ", camera " << record.camera << ", " << record.fileId
         << "-" << record.streamId << ", " << record.width << "x" << record.height << ", " << record.numFrames
         << " frames, " << record.numDroppedFrames << " dropped, info " << record.info.size() << " bytes, size "
         << record.size << ", timestamp " << record.timestamp << ", times " << record.startTime << "/"
         << record.endTime << "/" << record.duration << "}";
}

}  // namespace tavu

namespace tavu::test {

namespace fs = std::filesystem;

RecorderFixture::RecorderFixture() { fs::create_directory(simRoot); }

void RecorderFixture::writeDescription(const std::vector<nlohmann::json>& recorders) const {
    std::ofstream(simRoot / "recorders.json.new") << nlohmann::json{{"recorders", recorders}}.dump(2);
    fs::rename(simRoot / "recorders.json.new", simRoot / "recorders.json");
}

nlohmann::json RecorderFixture::recorder(const std::string& name, bool connected) {
    const nlohmann::json drive = {{"physicalIndex", 0}, {"capacity", 1000000000}};
    nlohmann::json second = drive;
    second["physicalIndex"] = 1;
    return {{"name", name},
            {"altName", "alt-" + name},
            {"deviceType", 15},
            {"connected", connected},
            {"clusterBytes", 65536},
            {"ports", {{{"name", name + "-1"}, {"measuredFrameRate", 100.0}, {"hasSerial", true}},
                       {{"name", name + "-2"}, {"measuredFrameRate", 50.0}}}},
            {"driveGroups", {{{"drives", {drive, second}}}}}};
}

void RecorderFixture::armFaults(nlohmann::json unit, nlohmann::json faults) {
    const auto probeFails = [&] { return !serviceError([&] { client().registerRead(0, 1, 0x300C, 4); }).empty(); };
    // First without any fault, so that the probe's failure tells of this edit, not an earlier one.
    unit["faults"] = nlohmann::json::array();
    writeDescription({unit});
    ASSERT_TRUE(eventually([&] { return !probeFails(); }));
    faults.push_back({{"operation", "Port::readMemory"}, {"port", "REC-A-2"}});
    unit["faults"] = std::move(faults);
    writeDescription({unit});
    ASSERT_TRUE(eventually(probeFails));
}

void RecorderFixture::startService(uint32_t devices, ServiceProcess::Environment extra) {
    extra.emplace_back("QUILLON_PATH_X64", TAVU_SIM_ROOT);
    extra.emplace_back("QUILLON_SIM_ROOT", simRoot.string());
    service = std::make_unique<ServiceProcess>(home, std::vector<std::string>{"noautoclose"}, std::move(extra));
    ASSERT_TRUE(service->waitForSocket());
    ASSERT_TRUE(eventually([&] { return LocalSocket().connectPath(home.socketPath()); }));
    client_ = connect();
    ASSERT_TRUE(eventually([&] { return client_->deviceCount() == devices; })) << service->standardOutput() << service->standardError();
}

void RecorderFixture::stopService() {
    client_.reset();
    service->kill(SIGTERM);
    ASSERT_TRUE(service->waitForExit());
    service.reset();
}

std::unique_ptr<client::Client> RecorderFixture::connect() const {
    client::ConnectOptions options;
    options.socketPath = home.socketPath();
    options.startService = false;
    return std::make_unique<client::Client>(options);
}

bool isCameraFrame(std::span<const uint8_t> pixels, uint32_t width, uint32_t height, uint32_t port, uint64_t frame) {
    if (pixels.size() != size_t{width} * height * 2) {
        return false;
    }
    for (uint32_t y = 0; y < height; ++y) {
        for (uint32_t x = 0; x < width; ++x) {
            if (client::pixelAt(pixels, size_t{y} * width + x) != cameraPixel(frame, x, y, port)) {
                return false;
            }
        }
    }
    return true;
}

nlohmann::json RecorderFixture::recorderState(const std::string& recorder) const {
    return nlohmann::json::parse(std::ifstream(simRoot / recorder / "state.json"));
}

nlohmann::json RecorderFixture::driveSetIndex(const std::string& recorder) const {
    const fs::path folder = driveSetFolder(recorder);
    return folder.empty() ? nlohmann::json() : nlohmann::json::parse(std::ifstream(folder / "index.json"));
}

fs::path RecorderFixture::driveSetFolder(const std::string& recorder) const {
    for (const auto& entry : fs::directory_iterator(simRoot / recorder)) {
        if (entry.path().filename().string().rfind("set-", 0) == 0) {
            return entry.path();
        }
    }
    return {};
}

std::vector<FileRecord> RecorderFixture::metaBlock(const std::string& recorder, uint32_t fileId) const {
    std::ifstream in(driveSetFolder(recorder) / ("file-" + std::to_string(fileId) + ".meta"), std::ios::binary);
    const std::vector<char> bytes{std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
    std::vector<FileRecord> records;
    readMetaList(records, bytes.data(), bytes.size());
    return records;
}

std::vector<FileRecord> RecorderFixture::recordFrames(uint32_t portMask, uint64_t frames, uint16_t width,
                                                      uint16_t height) {
    const uint8_t ports = client().portCount(0);
    for (uint8_t port = 0; port < ports; ++port) {
        if ((portMask & (1u << port)) != 0) {
            client().setPortConfig(0, port, {width, height, 0, 0});
        }
    }
    const size_t before = client().listFiles(0).size();
    client().startRecording(0, {portMask, 0, StopCondition::FrameCount, frames, false, 0});
    EXPECT_TRUE(eventually([&] { return client().isRecordingDone(0); }));
    client().stopRecording(0);
    const std::vector<FileRecord> files = client().listFiles(0);
    return {files.begin() + static_cast<std::ptrdiff_t>(std::min(before, files.size())), files.end()};
}

DeviceEvent RecorderFixture::nextEvent(uint32_t queue) {
    const auto deadline = std::chrono::steady_clock::now() + 5s;
    while (std::chrono::steady_clock::now() < deadline) {
        const DeviceEvent event = client().readEvent(queue);
        if (event.type != DeviceEvent::NoEvent && event.type != DeviceEvent::DevicesChanged) {
            return event;
        }
    }
    return DeviceEvent{DeviceEvent::NoEvent, 0, 0};
}

}  // namespace tavu::test
