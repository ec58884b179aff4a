#include "RecorderFixture.h"

#include <fstream>

#include "service/LocalSocket.h"

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

nlohmann::json RecorderFixture::driveSetIndex(const std::string& recorder) const {
    for (const auto& entry : fs::directory_iterator(simRoot / recorder)) {
        if (entry.path().filename().string().rfind("set-", 0) == 0) {
            return nlohmann::json::parse(std::ifstream(entry.path() / "index.json"));
        }
    }
    return nullptr;
}

}  // namespace tavu::test
