#include "support/ServiceProcess.h"

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include <fstream>
#include <sstream>

namespace tavu::test {
namespace {

namespace fs = std::filesystem;

// The service's device list updates, as its standard output tells them.
struct UpdateLog {
    int updates = 0;
    int recordersTaken = 0;
    int rejectedNamed = 0;  // lines that name the recorder that the filter leaves out
};

UpdateLog readLog(const std::string& output) {
    UpdateLog log;
    std::istringstream lines(output);
    for (std::string line; std::getline(lines, line);) {
        log.updates += line == "Done updating device list." ? 1 : 0;
        // A build without the hardware device logs this line instead of naming each new recorder.
        const bool missing = line == "Caught exception: Hardware devices are not available in this build.";
        const bool found = line.rfind("Found device: ", 0) == 0 && line.find("(existing") == std::string::npos;
        log.recordersTaken += missing || found ? 1 : 0;
        log.rejectedNamed += found && line.find("REC-B") != std::string::npos ? 1 : 0;
    }
    return log;
}

nlohmann::json recorder(const char* name) { return {{"name", name}, {"deviceType", 15}}; }

class ServiceWithSim : public testing::Test {
protected:
    ServiceWithSim() {
        fs::create_directory(simRoot);
        writeDescription({recorder("REC-A"), recorder("REC-B")});
    }
    void writeDescription(const nlohmann::json& recorders) const {
        std::ofstream(simRoot / "recorders.json.new") << nlohmann::json{{"recorders", recorders}}.dump();
        fs::rename(simRoot / "recorders.json.new", simRoot / "recorders.json");
    }
    bool waitForUpdates(ServiceProcess& service, int updates) const {
        return eventually([&] { return readLog(service.standardOutput()).updates >= updates; });
    }

    TestHome home;
    fs::path simRoot = home.root() / "sim";
    ServiceProcess::Environment environment{{"QUILLON_PATH_X64", TAVU_SIM_ROOT},
                                            {"QUILLON_SIM_ROOT", simRoot.string()},
                                            {"TAVUSRV_DEVICE_NAME_WHITELIST", "REC-A|REC-C"}};
};

TEST_F(ServiceWithSim, TheServiceFindsTheRecordersAndFollowsThemAsTheyAppear) {
    ServiceProcess service(home, {}, environment);
    ASSERT_TRUE(service.waitForSocket());
    ASSERT_TRUE(waitForUpdates(service, 1));
    // REC-B is named by the library and filtered out by its name.
    UpdateLog log = readLog(service.standardOutput());
    EXPECT_EQ(log.recordersTaken, 1) << service.standardOutput();

    // The library's change callback reaches the service's update thread.
    writeDescription({recorder("REC-A"), recorder("REC-B"), recorder("REC-C")});
    ASSERT_TRUE(waitForUpdates(service, 2)) << service.standardOutput();
    log = readLog(service.standardOutput());
    EXPECT_EQ(log.recordersTaken, 2) << service.standardOutput();
    EXPECT_EQ(log.rejectedNamed, 0) << service.standardOutput();
    EXPECT_EQ(service.standardOutput().rfind("Updating device list.\n", 0), 0u);
}

}  // namespace
}  // namespace tavu::test
