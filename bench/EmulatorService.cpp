#include "bench/EmulatorService.h"

#include "client/ClientErrors.h"

#include <stdexcept>
#include <string>
#include <thread>

namespace tavu::bench {

using namespace std::chrono_literals;

EmulatorService::EmulatorService() : process_(home_, {"noautoclose"}, {{"TAVUSRV_ENABLE_EMULATOR", "1"}}) {
    // The socket's file appears when the service binds it, a moment before it listens.
    std::unique_ptr<client::Client> first;
    const bool up = process_.waitForSocket() && test::eventually([&] {
        try {
            first = connect();
            return true;
        } catch (const client::NoServiceError&) {
            return false;
        }
    });
    if (!up) {
        throw std::runtime_error("tavusvc did not come up");
    }
    first->pairPort(0, 0, "cam1", {}, 1);
}

std::unique_ptr<client::Client> EmulatorService::connect() const {
    client::ConnectOptions options;
    options.socketPath = home_.socketPath();
    options.startService = false;
    return std::make_unique<client::Client>(options);
}

void EmulatorService::waitUntilIdle() {
    if (!process_.waitUntilIdle()) {
        throw std::runtime_error("tavusvc did not settle");
    }
}

std::filesystem::path EmulatorService::framePath(uint32_t fileId) const {
    return home_.dataDir() / "OREK Systems/TAVU/Emulator/Emu" / std::to_string(fileId);
}

uint32_t EmulatorService::record(client::Client& client, uint16_t width, uint16_t height,
                                 StopCondition type, uint64_t count) {
    client.setPortConfig(0, 0, {width, height, 0, 0});
    client.startRecording(0, {1, 0, type, count, false, 0});
    const bool ended = test::eventually([&] { return client.isRecordingDone(0); }, 60s);
    const uint32_t fileId = client.recordingFile(0, 0).fileId;
    client.stopRecording(0);
    if (!ended) {
        throw std::runtime_error("the recording did not end by its limit");
    }
    return fileId;
}

}  // namespace tavu::bench
