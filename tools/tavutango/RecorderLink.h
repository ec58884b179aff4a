#pragma once
#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <functional>
#include <mutex>
#include <optional>
#include <string>
#include <thread>
#include <vector>

#include "client/Client.h"
#include "client/ClientErrors.h"
#include "client/LiveView.h"

namespace tavu::tavutango {

// Where the recorder stands, as the control system sees it; several can hold at once, and the
// first of this order wins.
enum class Condition {
    ServiceLost,  // no connection to the service; the link reconnects by itself
    NoRecorder,   // the service has no recorder of that name (or no device 0)
    Unplugged,
    Waiting,      // recording, but waiting for a trigger or filling the pre-trigger loop
    Recording,
    Incomplete,   // a cut-off recording waits for recovery
    Idle,
};

struct LinkSnapshot {
    Condition condition = Condition::ServiceLost;
    std::string why;  // Status, in words
    bool connected = false;
    bool recording = false;
    std::vector<int64_t> frames;  // per port of the recorder, from the last look while recording
    // Grows with every change: snapshots that reach the observer from two threads can overtake
    // each other, and an older one is then dropped.
    uint64_t version = 0;
};

// The trigger a recording was started with, for telling "waiting" from "recording".
struct OwnRecording {
    bool waitsForTrigger = false;
};

// One recorder of the local service, followed on two connections: one for the device's calls,
// and one on which a thread of its own reads the service's events, watches a running recording
// and reconnects when the service is lost. Every change the thread or a call sees goes to the
// observer, outside the link's lock, so that the observer may call the link again.
class RecorderLink {
public:
    using Observer = std::function<void(const LinkSnapshot&)>;

    RecorderLink(std::string recorderName, client::ConnectOptions options, Observer observer);
    ~RecorderLink();
    RecorderLink(const RecorderLink&) = delete;
    RecorderLink& operator=(const RecorderLink&) = delete;

    LinkSnapshot snapshot() const;

    // Runs `call` with the device's connection and the recorder's index. Raises LinkDown
    // when the service or the recorder is missing; a lost connection is dropped, so the next
    // call reconnects.
    template <typename Call>
    auto withDevice(Call&& call) {
        std::lock_guard guard(callLock_);
        const uint32_t device = requireDevice();
        try {
            return call(commandClient(), device);
        } catch (const client::ConnectionError&) {
            dropCommandClient();
            throw;
        }
    }

    // A recording this link starts is finalised by it when the recorder says it is done.
    void startRecording(const RecordingRequest& request);
    // Starts recovery and follows it to its end, finishing it when it succeeded.
    void startRecovery();
    // Asks the recorder again whether a cut-off recording waits, after a call that may change it.
    void refreshIncomplete();

    // Live view on one port, or none (-1); the view is started again after a reconnect.
    void setLivePort(int port);
    int livePort();
    // The newest frame of the live port, copied out: width, height and pixels.
    struct Image {
        uint16_t width = 0;
        uint16_t height = 0;
    };
    Image grabLive(std::vector<uint16_t>& pixels);

private:
    uint32_t requireDevice();
    client::Client& commandClient();
    void dropCommandClient();

    void watch();
    // One connection's life; returns when another client closed the queue.
    void follow(client::Client& events);
    void resolve(client::Client& events);
    void handle(client::Client& events, const DeviceEvent& event);
    struct Progress {
        std::vector<int64_t> frames;
        bool inPretrigger = false;
    };
    static std::optional<Progress> readProgress(client::Client& events, uint32_t device, uint32_t mask);
    struct Underway {
        uint32_t mask = 0;
        Progress progress;
    };
    static std::optional<Underway> recordingUnderway(client::Client& events, uint32_t device);
    uint32_t recordedMask() const;
    std::optional<uint32_t> currentDevice() const;
    void pollRecording(client::Client& events);
    void pollRecovery(client::Client& events);
    void lose(const std::string& reason);
    bool stopRequested();
    void publish();
    // The condition and its words, from the fields below; callers hold stateLock_.
    void settle();

    const std::string recorderName_;
    const client::ConnectOptions options_;
    const Observer observer_;

    // Serialises the device's calls on its connection.
    std::mutex callLock_;
    std::optional<client::Client> commands_;
    std::optional<client::LiveView> live_;
    int livePort_ = -1;

    // What the watcher and the calls learned; read by snapshot().
    mutable std::mutex stateLock_;
    std::condition_variable firstLook_;
    bool looked_ = false;
    LinkSnapshot state_;
    bool serviceUp_ = false;
    std::string lossReason_ = "not connected yet";
    std::optional<uint32_t> device_;
    std::string deviceLabel_;
    uint32_t deviceCount_ = 0;
    bool recorderConnected_ = false;
    bool recording_ = false;
    uint32_t recordedMask_ = 0;
    std::vector<int64_t> frames_;
    bool inPretrigger_ = false;
    bool incomplete_ = false;
    std::optional<OwnRecording> own_;
    bool recovering_ = false;
    std::string recoveryFailure_;
    std::chrono::steady_clock::time_point lastPoll_{};

    std::mutex stopLock_;
    std::condition_variable stopSignal_;
    bool stopping_ = false;
    std::thread watcher_;
};

// Raised when a call cannot reach the recorder; the text says why.
class LinkDown : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

}  // namespace tavu::tavutango
