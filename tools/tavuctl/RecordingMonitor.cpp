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
    : client_(client), device_(device), request_(request), events_(client), portList_(ports) {
    for (Port& port : ports) {
        ports_.push_back(PortState{std::move(port), {}, false, {}});
    }
}

bool RecordingMonitor::poll() {
    const auto now = Clock::now();
    bool done = false;
    try {
        done = client_.isRecordingDone(device_);
        for (PortState& state : ports_) {
            sample(state, now, done);
        }
    } catch (const client::ServiceError&) {
        // An unplugged recorder refuses every question, while it records on by itself.
        bool connected = true;
        try {
            connected = client_.deviceConnected(device_);
        } catch (const client::ServiceError&) {
            connected = false;
        }
        if (connected) {
            throw;
        }
        gone_ = true;
        return false;
    }
    gone_ = false;
    sampleStorage(now);
    if (done && !endedAt_) {
        endedAt_ = now;
    }
    return done;
}

bool RecordingMonitor::awaitsTrigger() const {
    return request_.usePretrigger || (request_.externalTrigger & ExternalStart) != 0;
}

void RecordingMonitor::sample(PortState& state, Clock::time_point now, bool done) {
    state.progress = client_.recordingProgress(device_, state.port.index);
    if (!state.started) {
        state.started = !awaitsTrigger() || (state.progress.numFrames > 0 && !state.progress.inPretrigger);
        if (state.started && !recordingSince_) {
            recordingSince_ = now;
        }
    }
    if (!state.started) {
        waitedUntil_ = now;
        // Frames of a pre-trigger loop are not a recording rate.
        state.samples.clear();
        return;
    }
    // A port that ended keeps the rate it finished at, rather than a rate that falls while its
    // slower neighbours go on or while the stop is on its way.
    const bool reachedCount = request_.type == StopCondition::FrameCount && state.samples.size() >= 2 &&
                              state.samples.back().second >= request_.count;
    const bool unchangedAtEnd = done && !state.samples.empty() && state.samples.back().second == state.progress.numFrames;
    if (reachedCount || unchangedAtEnd) {
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

bool RecordingMonitor::stoppedElsewhere() {
    // A stop counts only after this recording's start: the queue is made before the start, and a
    // stop of an earlier recording may still be on its way.
    while (const auto event = events_.poll()) {
        if (event->device != device_) {
            continue;
        }
        if (event->type == DeviceEvent::RecordingStarted) {
            sawStart_ = true;
        } else if (event->type == DeviceEvent::RecordingStopped && sawStart_) {
            stoppedElsewhere_ = true;
        }
    }
    return stoppedElsewhere_;
}

uint64_t RecordingMonitor::frames(uint8_t port) const {
    for (const PortState& state : ports_) {
        if (state.port.index == port) {
            return state.progress.numFrames;
        }
    }
    return 0;
}

std::optional<std::chrono::steady_clock::duration> RecordingMonitor::recordingTime() const {
    if (!recordingSince_) {
        return std::nullopt;
    }
    return endedAt_.value_or(Clock::now()) - *recordingSince_;
}

std::chrono::steady_clock::duration RecordingMonitor::longestRecordingTime() const {
    return endedAt_.value_or(Clock::now()) - waitedUntil_;
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

// How far the recording is towards its own end, when it has one and has begun.
std::optional<double> RecordingMonitor::fraction(const PortState& state) const {
    const auto recorded = recordingTime();
    if (!state.started || !recorded) {
        return std::nullopt;
    }
    switch (request_.type) {
        case StopCondition::FrameCount:
            return static_cast<double>(state.progress.numFrames) / static_cast<double>(request_.count);
        case StopCondition::Time:
            return std::chrono::duration<double, std::micro>(*recorded).count() / static_cast<double>(request_.count);
        case StopCondition::None:
            break;
    }
    return std::nullopt;
}

std::string RecordingMonitor::waitingText(const PortState& state) const {
    const bool external = (request_.externalTrigger & ExternalStart) != 0;
    const std::string trigger = external ? "the external start input" : "the trigger";
    if (state.progress.inPretrigger) {
        return "pre-trigger loop filling (" + std::to_string(state.progress.numFrames) + " frames), waiting for " +
               trigger;
    }
    return "waiting for " + trigger;
}

std::string RecordingMonitor::portLine(const PortState& state, bool terminal) const {
    std::string line = "  port " + std::to_string(state.port.index) + " " + state.port.name + "  ";
    if (!state.started) {
        return line + waitingText(state);
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
    const std::string dev = std::to_string(device_);
    if (gone_) {
        result.push_back("The recorder of device " + dev +
                         " is disconnected; it records on by itself. Waiting for it to come back (Ctrl-C stops)");
    }
    if (terminal) {
        const bool waiting = !recordingSince_;
        std::string header = (waiting ? "Waiting to record on device " : "Recording on device ") + dev + ", " + elapsed;
        if (request_.type == StopCondition::Time) {
            header += " of " + fixed(static_cast<double>(request_.count) / 1e6, 1) + " s";
        }
        const bool softwareTrigger = request_.usePretrigger && (request_.externalTrigger & ExternalStart) == 0;
        header += softwareTrigger && waiting ? "  (Enter triggers; Ctrl-C stops and keeps the recording)"
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
