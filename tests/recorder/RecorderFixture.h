#pragma once

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include <filesystem>
#include <memory>
#include <vector>

#include "client/Client.h"
#include "tests/support/ServiceProcess.h"

namespace tavu::test {

// The service on simulated recorders, driven through the client library: a private home, a
// simulation folder with its description, and a service started on demand (and again after
// a restart, with everything on the simulated drives kept).
class RecorderFixture : public ::testing::Test {
protected:
    RecorderFixture();

    // Replaces the description in one step, as the library expects of an edit.
    void writeDescription(const std::vector<nlohmann::json>& recorders) const;
    // A recorder with two cameras at 100 and 50 frames per second and two drives of 1 GB.
    static nlohmann::json recorder(const std::string& name, bool connected = true);

    // Starts the service (noautoclose) and waits until it lists `devices` recorders.
    void startService(uint32_t devices, ServiceProcess::Environment extra = {});
    void stopService();
    client::Client& client() { return *client_; }
    // A further connection to the running service.
    std::unique_ptr<client::Client> connect() const;

    // What the simulated library keeps about a recorder's first drive set.
    nlohmann::json driveSetIndex(const std::string& recorder) const;

    TestHome home;
    std::filesystem::path simRoot = home.root() / "sim";
    std::unique_ptr<ServiceProcess> service;

private:
    std::unique_ptr<client::Client> client_;
};

}  // namespace tavu::test
