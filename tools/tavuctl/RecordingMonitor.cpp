#include "tools/tavuctl/RecordingMonitor.h"

#include <cstdio>

#include "client/ClientErrors.h"
#include "tools/tavuctl/Format.h"
#include "tools/tavuctl/ProgressDisplay.h"

namespace tavu::tavuctl {

namespace {

constexpr auto RateWindow = std::chrono::seconds(2);
constexpr auto StorageInterval = std::chrono::seconds(1);
constexpr size_t BarWidth = 16;

std::string fixed(double value, int decimals) {
    char text[32];
    std::snprintf(text, sizeof text, "%.*f", decimals, value);
    return text;
}

}  // namespace

RecordingMonitor::RecordingMonitor(client::Client& client, uint32_t device, std::vector<Port> ports,
                                   const RecordingRequest& request)
    : client_(client), device_(device), request_(request) {
    for (Port& port : ports) {
        ports_.push_back(PortState{std::move(port), {}, {}});
    }
}

bool RecordingMonitor::poll() {
    const auto now = Clock::now();
    for (PortState& state : ports_) {
        sample(state, now);
    }
    sampleStorage(now);
    return client_.isRecordingDone(device_);
}

void RecordingMonitor::sample(PortState& state, Clock::time_point now) {
    state.progress = client_.recordingProgress(device_, state.port.index);
    // A port that reached its frame count keeps the rate it finished at, rather than a rate
    // that falls while its slower neighbours go on.
    const bool finished = request_.type == StopCondition::FrameCount && state.samples.size() >= 2 &&
                          state.samples.back().second >= request_.count;
    if (finished) {
        return;
    }
    state.samples.emplace_back(now, state.progress.numFrames);
    while (state.samples.size() > 2 && now - state.samples.front().first > RateWindow) {
        state.samples.pop_front();
    }
}

void RecordingMonitor::sampleStorage(Clock::time_point now) {
    if (now - lastStorage_ < StorageInterval) {
        return;
    }
    lastStorage_ = now;
    try {
        percentUsed_ = client_.percentUsed(device_);
    } catch (const client::ServiceError&) {
        // A device may not say while it records; the display shows "-".
        percentUsed_.reset();
    }
}

std::optional<double> RecordingMonitor::framesPerSecond(const PortState& state) {
    if (state.samples.size() < 2) {
        return std::nullopt;
    }
    const auto& [firstTime, firstFrames] = state.samples.front();
    const auto& [lastTime, lastFrames] = state.samples.back();
    const double seconds = std::chrono::duration<double>(lastTime - firstTime).count();
    if (seconds < 0.5) {
        return std::nullopt;
    }
    return static_cast<double>(lastFrames - std::min(firstFrames, lastFrames)) / seconds;
}

// How far the recording is towards its own end, when it has one.
std::optional<double> RecordingMonitor::fraction(const PortState& state) const {
    switch (request_.type) {
        case StopCondition::FrameCount:
            return static_cast<double>(state.progress.numFrames) / static_cast<double>(request_.count);
        case StopCondition::Time:
            return std::chrono::duration<double, std::micro>(Clock::now() - start_).count() /
                   static_cast<double>(request_.count);
        case StopCondition::None:
            break;
    }
    return std::nullopt;
}

std::string RecordingMonitor::portLine(const PortState& state, bool terminal) const {
    std::string line = "  port " + std::to_string(state.port.index) + " " + state.port.name + "  ";
    if (state.progress.inPretrigger) {
        return line + "pre-trigger loop filling, waiting for the trigger (" +
               std::to_string(state.progress.numFrames) + " frames)";
    }
    const std::optional<double> done = fraction(state);
    if (done && terminal) {
        line += progressBar(*done, BarWidth) + " " + std::to_string(static_cast<int>(std::min(*done, 1.0) * 100)) +
                "%  ";
    }
    line += std::to_string(state.progress.numFrames);
    if (request_.type == StopCondition::FrameCount) {
        line += "/" + std::to_string(request_.count);
    }
    line += " frames";
    const std::optional<double> rate = framesPerSecond(state);
    line += "  " + (rate ? fixed(*rate, 1) : std::string("-")) + " fps";
    line += "  storage " + (percentUsed_ ? std::to_string(*percentUsed_) + "%" : std::string("-"));
    return line;
}

std::vector<std::string> RecordingMonitor::lines(bool terminal) const {
    const std::string elapsed = formatElapsed(Clock::now() - start_);
    std::vector<std::string> result;
    if (terminal) {
        std::string header = "Recording on device " + std::to_string(device_) + ", " + elapsed;
        if (request_.type == StopCondition::Time) {
            header += " of " + fixed(static_cast<double>(request_.count) / 1e6, 1) + " s";
        }
        const bool softwareTrigger = request_.usePretrigger && (request_.externalTrigger & ExternalStart) == 0;
        header += softwareTrigger ? "  (Enter triggers; Ctrl-C stops and keeps the recording)"
                                  : "  (Ctrl-C stops and keeps the recording)";
        result.push_back(header);
    }
    for (const PortState& state : ports_) {
        // Log lines carry the time, as there is no header above them.
        result.push_back((terminal ? "" : elapsed) + portLine(state, terminal));
    }
    return result;
}

Json RecordingMonitor::framesJson() const {
    Json frames = Json::object();
    for (const PortState& state : ports_) {
        frames[std::to_string(state.port.index)] = state.progress.numFrames;
    }
    return frames;
}

}  // namespace tavu::tavuctl
