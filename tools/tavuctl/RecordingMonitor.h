#pragma once
#include <chrono>
#include <cstdint>
#include <deque>
#include <optional>
#include <string>
#include <vector>

#include "client/Client.h"
#include "tools/tavuctl/Json.h"

namespace tavu::tavuctl {

// Watches a running recording: frames and frame rate of each port, the storage used, and
// whether the device says it is done. Turns that into progress lines.
class RecordingMonitor {
public:
    struct Port {
        uint8_t index;
        std::string name;
    };

    RecordingMonitor(client::Client& client, uint32_t device, std::vector<Port> ports,
                     const RecordingRequest& request);

    // Asks the device once; true when the recording has ended by itself.
    bool poll();
    // A header line, then one line per port; with bars on a terminal.
    std::vector<std::string> lines(bool terminal) const;
    // {"0": frames, ...}
    Json framesJson() const;

private:
    using Clock = std::chrono::steady_clock;

    struct PortState {
        Port port;
        RecordingProgress progress;
        std::deque<std::pair<Clock::time_point, uint64_t>> samples;
    };

    void sample(PortState& state, Clock::time_point now);
    void sampleStorage(Clock::time_point now);
    std::string portLine(const PortState& state, bool terminal) const;
    std::optional<double> fraction(const PortState& state) const;
    static std::optional<double> framesPerSecond(const PortState& state);

    client::Client& client_;
    uint32_t device_;
    RecordingRequest request_;
    std::vector<PortState> ports_;
    Clock::time_point start_ = Clock::now();
    Clock::time_point lastStorage_{};
    std::optional<uint8_t> percentUsed_;
};

}  // namespace tavu::tavuctl
