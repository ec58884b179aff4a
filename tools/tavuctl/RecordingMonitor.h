#pragma once
#include <chrono>
#include <cstdint>
#include <deque>
#include <optional>
#include <string>
#include <vector>

#include "client/Client.h"
#include "client/EventReader.h"
#include "tools/tavuctl/Json.h"

namespace tavu::tavuctl {

// Watches a running recording: frames and frame rate of each port, the storage used, and
// whether the device says it is done. Turns that into progress lines. Made before the start,
// so that a stop by another client shows among the service's events.
class RecordingMonitor {
public:
    struct Port {
        uint8_t index;
        std::string name;
    };

    RecordingMonitor(client::Client& client, uint32_t device, std::vector<Port> ports,
                     const RecordingRequest& request);

    // Asks the device once; true when the recording has ended by itself. While the recorder is
    // unplugged it answers nothing, and the recording counts as going on.
    bool poll();
    // A header line, then one line per port; with bars on a terminal.
    std::vector<std::string> lines(bool terminal) const;
    // {"0": frames, ...}
    Json framesJson() const;

    // Reads the events that came in; true once another client stopped this device's recording.
    bool stoppedElsewhere();
    bool recorderGone() const { return gone_; }
    std::optional<uint8_t> percentUsed() const { return percentUsed_; }
    uint64_t frames(uint8_t port) const;
    const std::vector<Port>& ports() const { return portList_; }
    // From the first frame after any wait for a trigger; nothing while it still waits.
    std::optional<std::chrono::steady_clock::duration> recordingTime() const;
    // The most it can have recorded for: from the last look that saw it wait to the look that saw it end.
    std::chrono::steady_clock::duration longestRecordingTime() const;

private:
    using Clock = std::chrono::steady_clock;

    struct PortState {
        Port port;
        RecordingProgress progress;
        bool started = false;
        std::deque<std::pair<Clock::time_point, uint64_t>> samples;
    };

    void sample(PortState& state, Clock::time_point now, bool done);
    void sampleStorage(Clock::time_point now);
    bool awaitsTrigger() const;
    std::string portLine(const PortState& state, bool terminal) const;
    std::string waitingText(const PortState& state) const;
    std::optional<double> fraction(const PortState& state) const;
    static std::optional<double> framesPerSecond(const PortState& state);

    client::Client& client_;
    uint32_t device_;
    RecordingRequest request_;
    client::EventReader events_;
    std::vector<Port> portList_;
    std::vector<PortState> ports_;
    Clock::time_point start_ = Clock::now();
    std::optional<Clock::time_point> recordingSince_;
    std::optional<Clock::time_point> endedAt_;
    Clock::time_point waitedUntil_ = start_;
    Clock::time_point lastStorage_{};
    std::optional<uint8_t> percentUsed_;
    bool gone_ = false;
    bool sawStart_ = false;
    bool stoppedElsewhere_ = false;
};

}  // namespace tavu::tavuctl
