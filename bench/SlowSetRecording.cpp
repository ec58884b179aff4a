#include "bench/SlowSetRecording.h"

#include "bench/Measure.h"
#include "client/Client.h"
#include "client/ClientErrors.h"
#include "support/ServiceProcess.h"

#include <nlohmann/json.hpp>

#include <algorithm>
#include <fstream>
#include <memory>
#include <stdexcept>
#include <thread>

namespace tavu::bench {
namespace {

using namespace std::chrono_literals;

constexpr double kMiB = 1024.0 * 1024.0;
constexpr auto kRecordingTime = 30s;
// Where the memory is first taken: the service has set the recording up and polls it.
constexpr auto kSettled = 3s;

// A recorder whose camera delivers 512x512 frames at 100 per second (50 MiB/s) onto two drives
// writing 1 MiB/s each: the library falls behind and skips frames for the whole recording.
nlohmann::json slowRecorder() {
    const nlohmann::json drive = {{"physicalIndex", 0}, {"capacity", uint64_t{1} << 40}};
    nlohmann::json second = drive;
    second["physicalIndex"] = 1;
    return {{"recorders",
             {{{"name", "SLOW"},
               {"deviceType", 15},
               {"clusterBytes", 65536},
               {"ports", {{{"name", "S1"}, {"measuredFrameRate", 100.0}}}},
               {"driveGroups", {{{"bytesPerSecond", 1 << 20}, {"drives", {drive, second}}}}}}}}};
}

std::unique_ptr<client::Client> connectTo(const test::TestHome& home) {
    client::ConnectOptions options;
    options.socketPath = home.socketPath();
    options.startService = false;
    std::unique_ptr<client::Client> client;
    const bool up = test::eventually([&] {
        try {
            client = std::make_unique<client::Client>(options);
            return client->deviceCount() == 1;
        } catch (const client::NoServiceError&) {
            return false;
        }
    });
    if (!up) {
        throw std::runtime_error("tavusvc did not come up with the simulated recorder");
    }
    return client;
}

}  // namespace

void benchSlowSetRecording(Report& report) {
    test::TestHome home;
    const std::filesystem::path simRoot = home.root() / "sim";
    std::filesystem::create_directory(simRoot);
    std::ofstream(simRoot / "recorders.json") << slowRecorder().dump();
    test::ServiceProcess service(home, {"noautoclose"},
                                 {{"QUILLON_PATH_X64", TAVU_SIM_ROOT}, {"QUILLON_SIM_ROOT", simRoot.string()}});
    if (!service.waitForSocket()) {
        throw std::runtime_error("tavusvc did not come up");
    }
    const std::unique_ptr<client::Client> client = connectTo(home);
    client->setPortConfig(0, 0, {512, 512, 0, 0});
    const auto microseconds = std::chrono::duration_cast<std::chrono::microseconds>(kRecordingTime).count();
    client->startRecording(0, {1, 0, StopCondition::Time, static_cast<uint64_t>(microseconds), false, 0});

    // A client's progress display polls a few times a second for the whole recording.
    const auto start = std::chrono::steady_clock::now();
    double settled = 0;
    double largest = 0;
    while (!client->isRecordingDone(0)) {
        client->recordingProgress(0, 0);
        client->percentUsed(0);
        const double resident = static_cast<double>(residentBytes(service.pid())) / kMiB;
        if (settled == 0 && std::chrono::steady_clock::now() - start >= kSettled) {
            settled = resident;
        }
        largest = std::max(largest, settled == 0 ? 0 : resident);
        std::this_thread::sleep_for(200ms);
    }
    client->stopRecording(0);
    Row row{"service RSS, most during a 30 s recording to a slow set", "MiB", largest, settled,
            "RSS 3 s into it", 1.05};
    row.lessIsBetter = true;
    report.add(row);
}

}  // namespace tavu::bench
