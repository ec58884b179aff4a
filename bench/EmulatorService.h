#pragma once
#include "client/Client.h"
#include "support/ServiceProcess.h"

#include <cstdint>
#include <filesystem>
#include <memory>

namespace tavu::bench {

// The real tavusvc of this build in private folders, with the emulated recorder as device 0
// and its port paired, as the tests start it; kept running between clients.
class EmulatorService {
public:
    EmulatorService();

    std::unique_ptr<client::Client> connect() const;
    pid_t pid() const { return process_.pid(); }
    // Waits until every thread of the service sleeps.
    void waitUntilIdle();
    const std::filesystem::path& root() const { return home_.root(); }
    std::filesystem::path framePath(uint32_t fileId) const;

    // Makes a recording of the given geometry on `client`, waits for its end by its own limit
    // and stops it. Returns its file id.
    static uint32_t record(client::Client& client, uint16_t width, uint16_t height, StopCondition type,
                           uint64_t count);

private:
    test::TestHome home_;
    test::ServiceProcess process_;
};

}  // namespace tavu::bench
