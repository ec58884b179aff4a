#pragma once
#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <map>
#include <mutex>
#include <optional>
#include <string>
#include <thread>

#include <nlohmann/json.hpp>

#include "client/Client.h"
#include "tools/tavuweb/ServicePool.h"

namespace tavu::tavuweb {

using Json = nlohmann::ordered_json;

// Every page that is open: the console pushes text messages to all of them.
class Pages {
public:
    virtual ~Pages() = default;
    virtual void broadcast(const std::string& message) = 0;
};

// What the pages show of the service, kept current from one event queue: the devices with
// their ports, recordings as they run, and the recording lists. A new page gets the whole
// picture; after that every change is pushed as it happens.
//
// The service posts no event while frames come in, so while a recording runs a second thread
// asks for its progress ten times a second and pushes it; it sleeps when nothing records.
class Console {
public:
    Console(ServicePool& pool, Pages& pages);
    ~Console();
    Console(const Console&) = delete;
    Console& operator=(const Console&) = delete;

    void start();
    void stop();

    // {"kind":"state", "service":..., "devices":[...]}: what a page needs to draw itself.
    Json state();
    // Reads a device anew and pushes it, after a change that the service posts no event for.
    void refreshDevice(uint32_t device);
    // The files of a device, pushed as {"kind":"files"} as well.
    Json files(uint32_t device);

    // Called before this console starts a recording, so that it knows the target and stops the
    // recording when it ends by itself.
    void expectRecording(uint32_t device, const RecordingRequest& request);
    // The start that expectRecording announced failed.
    void forgetExpected(uint32_t device);
    // A stop asked for on this console's page, so that the end is told as such. False when the
    // console is stopping the recording already.
    bool noteStopAsked(uint32_t device);
    // A stop failed: the device runs no recording that a stop could end, so the pages stop
    // showing one.
    void abandonRecording(uint32_t device, const std::string& problem);
    // Pushes how a recovery stands.
    void noteRecovery(uint32_t device, RecoveryStatus status, std::chrono::steady_clock::duration elapsed);
    void noteFrameRate(uint32_t device, uint8_t port, double framesPerSecond);

private:
    using Clock = std::chrono::steady_clock;

    struct PortProgress {
        uint8_t port = 0;
        uint64_t frames = 0;
        bool inPretrigger = false;
        double fps = 0;
        Clock::time_point sampled{};
        uint64_t sampledFrames = 0;
    };
    struct Recording {
        std::optional<RecordingRequest> request;  // when this console started it
        uint32_t portMask = 0;
        bool stopAsked = false;
        bool stopping = false;
        bool done = false;
        Clock::time_point started = Clock::now();
        std::map<uint8_t, PortProgress> ports;
    };

    void runEvents();
    void runProgress();
    void handle(client::Client& client, const DeviceEvent& event);
    Json readDevice(client::Client& client, uint32_t device);
    void refreshAll(client::Client& client);
    void refresh(client::Client& client, uint32_t device);
    Json readFiles(client::Client& client, uint32_t device);
    void pollRecording(client::Client& client, uint32_t device);
    void finishRecording(client::Client& client, uint32_t device);
    Json recordingJson(uint32_t device, const Recording& recording) const;
    bool serviceConnected();
    void setService(bool connected, const std::string& problem);
    bool sleepFor(std::chrono::milliseconds time);

    ServicePool& pool_;
    Pages& pages_;
    std::mutex mutex_;
    std::condition_variable wake_;
    bool stopping_ = false;
    bool progressKick_ = false;  // a recording started: ask for progress at once
    bool serviceConnected_ = false;
    std::string serviceProblem_;
    std::map<uint32_t, Json> devices_;
    std::map<uint32_t, Recording> recordings_;
    std::map<std::pair<uint32_t, uint8_t>, double> frameRates_;
    std::thread events_;
    std::thread progress_;
};

// "Emulator", "Recorder family 2", ...
std::string hardwareTypeName(uint8_t type);
Json fileJson(const FileRecord& record);

}  // namespace tavu::tavuweb
