#pragma once

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include <filesystem>
#include <memory>
#include <span>
#include <string>
#include <vector>

#include "client/Client.h"
#include "client/ClientErrors.h"
#include "tests/support/ServiceProcess.h"

namespace tavu {

// Catalogue entries in failure messages.
void PrintTo(const FileRecord& record, std::ostream* out);

}  // namespace tavu

namespace tavu::test {

// The service on simulated recorders, driven through the client library: a private home, a
// simulation folder with its description, and a service started on demand (and again after
// a restart, with everything on the simulated drives kept).
// The text of the ServiceError that `call` raises; empty when it succeeds.
template <typename Call>
std::string serviceError(Call&& call) {
    try {
        call();
    } catch (const client::ServiceError& error) {
        return error.what();
    }
    return {};
}

// Pixel (x, y) of camera frame f on port p, as the simulated cameras deliver it.
inline uint16_t cameraPixel(uint64_t frame, uint32_t x, uint32_t y, uint32_t port) {
    return static_cast<uint16_t>(frame + x + 2 * y + 4096 * port);
}

// Whether a 16-bit frame of the geometry is camera frame `frame` of the port.
bool isCameraFrame(std::span<const uint8_t> pixels, uint32_t width, uint32_t height, uint32_t port, uint64_t frame);

class RecorderFixture : public ::testing::Test {
protected:
    RecorderFixture();

    // Replaces the description in one step, as the library expects of an edit.
    void writeDescription(const std::vector<nlohmann::json>& recorders) const;
    // A recorder with two cameras at 100 and 50 frames per second and two drives of 1 GB.
    static nlohmann::json recorder(const std::string& name, bool connected = true);

    // Puts the faults on REC-A, beside a lasting one on the camera registers of its second port,
    // and waits until that one shows that the library took the edit. Faults in force before are
    // lifted first.
    void armFaults(nlohmann::json unit, nlohmann::json faults);
    // Starts the service (noautoclose) and waits until it lists `devices` recorders.
    void startService(uint32_t devices, ServiceProcess::Environment extra = {});
    void stopService();
    // The usual start: one recorder, "REC-A", and the service that lists it.
    void startWithRecorderA() {
        writeDescription({recorder("REC-A")});
        startService(1);
    }
    client::Client& client() { return *client_; }
    // A further connection to the running service.
    std::unique_ptr<client::Client> connect() const;

    // What the simulated library publishes of the settings made on a recorder.
    nlohmann::json recorderState(const std::string& recorder) const;
    // What the simulated library keeps about a recorder's first drive set, and its folder.
    nlohmann::json driveSetIndex(const std::string& recorder) const;
    std::filesystem::path driveSetFolder(const std::string& recorder) const;
    // The entries of a drive file's metadata block, as the service stored them.
    std::vector<FileRecord> metaBlock(const std::string& recorder, uint32_t fileId) const;

    // Gives ports of device 0 a geometry (which ties them to the drive set), records `frames`
    // frames on the ports of the mask, and stops: the catalogue entries of the recording, in port order.
    std::vector<FileRecord> recordFrames(uint32_t portMask, uint64_t frames, uint16_t width = 32, uint16_t height = 8);
    // The next event of the queue other than a device list change, waiting up to a few seconds.
    DeviceEvent nextEvent(uint32_t queue);

    TestHome home;
    std::filesystem::path simRoot = home.root() / "sim";
    std::unique_ptr<ServiceProcess> service;

private:
    std::unique_ptr<client::Client> client_;
};

}  // namespace tavu::test
