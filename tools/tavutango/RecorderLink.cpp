#include "tools/tavutango/RecorderLink.h"

#include <algorithm>
#include <bit>
#include <cstring>

#include "client/EventReader.h"

namespace tavu::tavutango {

namespace {

using Clock = std::chrono::steady_clock;

constexpr auto ReconnectPause = std::chrono::seconds(1);
// Often enough for a frame count at least once a second, rarely enough for a flood of events.
constexpr auto RecordingPollInterval = std::chrono::milliseconds(250);
// How long a new device waits for its first look at the service, so that its first reads
// don't fail for a connection that is just being made.
constexpr auto FirstLookWait = std::chrono::seconds(6);

}  // namespace

RecorderLink::RecorderLink(std::string recorderName, client::ConnectOptions options, Observer observer)
    : recorderName_(std::move(recorderName)), options_(std::move(options)), observer_(std::move(observer)) {
    settle();
    watcher_ = std::thread([this] { watch(); });
    std::unique_lock lock(stateLock_);
    firstLook_.wait_for(lock, FirstLookWait, [this] { return looked_; });
}

RecorderLink::~RecorderLink() {
    {
        std::lock_guard guard(stopLock_);
        stopping_ = true;
    }
    stopSignal_.notify_all();
    watcher_.join();
    std::lock_guard guard(callLock_);
    live_.reset();
}

LinkSnapshot RecorderLink::snapshot() const {
    std::lock_guard guard(stateLock_);
    return state_;
}

uint32_t RecorderLink::requireDevice() {
    std::lock_guard guard(stateLock_);
    if (!serviceUp_ || !device_) {
        throw LinkDown(state_.why);
    }
    return *device_;
}

client::Client& RecorderLink::commandClient() {
    if (!commands_) {
        try {
            commands_.emplace(options_);
        } catch (const client::NoServiceError& error) {
            throw LinkDown(error.what());
        }
    }
    return *commands_;
}

void RecorderLink::dropCommandClient() {
    live_.reset();
    commands_.reset();
}

void RecorderLink::startRecording(const RecordingRequest& request) {
    {
        std::lock_guard guard(stateLock_);
        own_ = OwnRecording{request.usePretrigger || (request.externalTrigger & ExternalStart) != 0};
    }
    try {
        withDevice([&](client::Client& client, uint32_t device) { client.startRecording(device, request); });
    } catch (...) {
        std::lock_guard guard(stateLock_);
        own_.reset();
        throw;
    }
}

void RecorderLink::startRecovery() {
    withDevice([](client::Client& client, uint32_t device) { client.startRecovery(device); });
    {
        std::lock_guard guard(stateLock_);
        recovering_ = true;
        recoveryFailure_.clear();
        settle();
    }
    publish();
}

void RecorderLink::refreshIncomplete() {
    const bool incomplete =
        withDevice([](client::Client& client, uint32_t device) { return client.hasIncompleteFile(device); });
    {
        std::lock_guard guard(stateLock_);
        incomplete_ = incomplete;
        settle();
    }
    publish();
}

void RecorderLink::setLivePort(int port) {
    std::lock_guard guard(callLock_);
    live_.reset();
    livePort_ = -1;
    if (port < 0) {
        return;
    }
    const uint32_t device = requireDevice();
    try {
        client::Client& client = commandClient();
        if (port >= client.portCount(device)) {
            throw std::out_of_range("the recorder has no port " + std::to_string(port));
        }
        live_.emplace(client, device, static_cast<uint8_t>(port));
    } catch (const client::ConnectionError&) {
        dropCommandClient();
        throw;
    }
    livePort_ = port;
}

int RecorderLink::livePort() {
    std::lock_guard guard(callLock_);
    return livePort_;
}

RecorderLink::Image RecorderLink::grabLive(std::vector<uint16_t>& pixels) {
    std::lock_guard guard(callLock_);
    if (livePort_ < 0) {
        throw std::out_of_range("no live port: write LivePort first");
    }
    const uint32_t device = requireDevice();
    try {
        if (!live_) {
            live_.emplace(commandClient(), device, static_cast<uint8_t>(livePort_));
        }
        const client::LiveView::Frame frame = live_->grab();
        const size_t count = size_t{frame.geometry.width} * frame.geometry.height;
        if (frame.pixels.size() < count * 2) {
            throw client::ClientError("the live frame is smaller than its geometry");
        }
        pixels.resize(count);
        if constexpr (std::endian::native == std::endian::little) {
            std::memcpy(pixels.data(), frame.pixels.data(), count * 2);
        } else {
            for (size_t index = 0; index < count; ++index) {
                pixels[index] = client::pixelAt(frame.pixels, index);
            }
        }
        return Image{frame.geometry.width, frame.geometry.height};
    } catch (const client::ConnectionError&) {
        dropCommandClient();
        throw;
    }
}

bool RecorderLink::stopRequested() {
    std::lock_guard guard(stopLock_);
    return stopping_;
}

void RecorderLink::watch() {
    while (!stopRequested()) {
        try {
            client::Client events(options_);
            follow(events);
        } catch (const std::exception& error) {
            lose(error.what());
            std::unique_lock lock(stopLock_);
            stopSignal_.wait_for(lock, ReconnectPause, [this] { return stopping_; });
        }
    }
}

void RecorderLink::follow(client::Client& events) {
    // The queue comes first, so that no change between the first look and the queue is missed.
    client::EventReader reader(events);
    resolve(events);
    while (!stopRequested()) {
        const std::optional<DeviceEvent> event = reader.next();
        if (event && event->type == DeviceEvent::QueueClosed) {
            return;
        }
        if (event) {
            handle(events, *event);
        }
        pollRecording(events);
        pollRecovery(events);
    }
}

// Finds the recorder by its name, or device 0 without one, and takes a first look at it.
void RecorderLink::resolve(client::Client& events) {
    const uint32_t count = events.deviceCount();
    std::optional<uint32_t> found;
    std::string name;
    for (uint32_t index = 0; index < count && !found; ++index) {
        name = events.deviceName(index);
        if (recorderName_.empty() || name == recorderName_) {
            found = index;
        }
    }
    bool connected = false;
    bool incomplete = false;
    std::optional<Underway> underway;
    if (found) {
        connected = events.deviceConnected(*found);
        if (connected && found != currentDevice()) {
            underway = recordingUnderway(events, *found);
        }
        try {
            incomplete = connected && events.hasIncompleteFile(*found);
        } catch (const client::ServiceError&) {
            // A recorder that can't say has nothing to offer for recovery.
        }
    }
    {
        std::lock_guard guard(stateLock_);
        if (device_ != found) {
            recording_ = underway.has_value();
            recordedMask_ = underway ? underway->mask : 0;
            frames_ = underway ? std::move(underway->progress.frames) : std::vector<int64_t>{};
            inPretrigger_ = underway && underway->progress.inPretrigger;
            own_.reset();
        }
        serviceUp_ = true;
        deviceCount_ = count;
        device_ = found;
        deviceLabel_ = found ? name + " (device " + std::to_string(*found) + ")" : "";
        recorderConnected_ = connected;
        incomplete_ = incomplete;
        looked_ = true;
        settle();
    }
    firstLook_.notify_all();
    publish();
}

std::optional<uint32_t> RecorderLink::currentDevice() const {
    std::lock_guard guard(stateLock_);
    return device_;
}

// The service announces the recordings that start, so one that runs already when the link first
// looks at its recorder is found by asking: a recorder that isn't done, with frames or a
// pre-trigger loop on some port. One waiting for an external start with no frames yet is missed.
std::optional<RecorderLink::Underway> RecorderLink::recordingUnderway(client::Client& events, uint32_t device) {
    try {
        if (events.isRecordingDone(device)) {
            return std::nullopt;
        }
        Underway underway;
        underway.progress.frames.assign(events.portCount(device), 0);
        for (uint32_t port = 0; port < underway.progress.frames.size(); ++port) {
            const RecordingProgress one = events.recordingProgress(device, static_cast<uint8_t>(port));
            if (one.numFrames > 0 || one.inPretrigger) {
                underway.mask |= 1U << port;
                underway.progress.frames[port] = static_cast<int64_t>(one.numFrames);
                underway.progress.inPretrigger = underway.progress.inPretrigger || one.inPretrigger;
            }
        }
        return underway.mask != 0 ? std::optional<Underway>(std::move(underway)) : std::nullopt;
    } catch (const client::ServiceError&) {
        return std::nullopt;
    }
}

void RecorderLink::handle(client::Client& events, const DeviceEvent& event) {
    if (event.type == DeviceEvent::DevicesChanged) {
        resolve(events);
        return;
    }
    {
        std::lock_guard guard(stateLock_);
        if (!device_ || event.device != *device_) {
            return;
        }
        switch (event.type) {
            case DeviceEvent::RecordingStarted:
                recording_ = true;
                recordedMask_ = event.port;
                inPretrigger_ = false;
                frames_.clear();
                lastPoll_ = {};
                break;
            case DeviceEvent::RecordingStopped:
                recording_ = false;
                own_.reset();
                break;
            default:
                return;
        }
        settle();
    }
    publish();
    if (event.type == DeviceEvent::RecordingStopped) {
        // The final counts, and whether the stop left a cut-off recording behind.
        std::optional<Progress> progress = readProgress(events, event.device, recordedMask());
        bool incomplete = false;
        try {
            incomplete = events.hasIncompleteFile(event.device);
        } catch (const client::ServiceError&) {
        }
        {
            std::lock_guard guard(stateLock_);
            if (progress) {
                frames_ = std::move(progress->frames);
            }
            incomplete_ = incomplete;
            settle();
        }
        publish();
    }
}

uint32_t RecorderLink::recordedMask() const {
    std::lock_guard guard(stateLock_);
    return recordedMask_;
}

std::optional<RecorderLink::Progress> RecorderLink::readProgress(client::Client& events, uint32_t device,
                                                                 uint32_t mask) {
    Progress progress;
    try {
        progress.frames.assign(events.portCount(device), 0);
        for (uint32_t port = 0; port < progress.frames.size(); ++port) {
            if ((mask >> port) & 1U) {
                const RecordingProgress one = events.recordingProgress(device, static_cast<uint8_t>(port));
                progress.frames[port] = static_cast<int64_t>(one.numFrames);
                progress.inPretrigger = progress.inPretrigger || one.inPretrigger;
            }
        }
    } catch (const client::ServiceError&) {
        // An unplugged recorder records on but cannot be asked; the last counts stand.
        return std::nullopt;
    }
    return progress;
}

void RecorderLink::pollRecording(client::Client& events) {
    uint32_t device = 0;
    uint32_t mask = 0;
    bool own = false;
    {
        std::lock_guard guard(stateLock_);
        const auto now = Clock::now();
        if (!recording_ || !device_ || now - lastPoll_ < RecordingPollInterval) {
            return;
        }
        lastPoll_ = now;
        device = *device_;
        mask = recordedMask_;
        own = own_.has_value();
    }
    std::optional<Progress> progress = readProgress(events, device, mask);
    if (!progress) {
        return;
    }
    std::string stopFailure;
    if (own && events.isRecordingDone(device)) {
        // The recording reached its own end: stopping it writes its files, and the service's
        // RecordingStopped event then ends it here.
        try {
            events.stopRecording(device);
        } catch (const client::ServiceError& error) {
            stopFailure = error.what();
        }
    }
    {
        std::lock_guard guard(stateLock_);
        frames_ = std::move(progress->frames);
        inPretrigger_ = progress->inPretrigger;
        if (!stopFailure.empty()) {
            // Nothing runs that a stop could end (a recorder that ignored the request, say).
            recording_ = false;
            own_.reset();
        }
        settle();
    }
    publish();
}

void RecorderLink::pollRecovery(client::Client& events) {
    uint32_t device = 0;
    {
        std::lock_guard guard(stateLock_);
        if (!recovering_ || !device_) {
            return;
        }
        device = *device_;
    }
    std::string failure;
    try {
        switch (events.recoveryStatus(device)) {
            case RecoveryStatus::Running:
                return;
            case RecoveryStatus::Done:
                events.finishRecovery(device);
                break;
            case RecoveryStatus::Failed:
                failure = events.recoveryError(device);
                break;
            default:
                failure = "the recovery was cancelled";
                break;
        }
    } catch (const client::ServiceError& error) {
        failure = error.what();
    }
    bool incomplete = false;
    try {
        incomplete = events.hasIncompleteFile(device);
    } catch (const client::ServiceError&) {
    }
    {
        std::lock_guard guard(stateLock_);
        recovering_ = false;
        recoveryFailure_ = failure;
        incomplete_ = incomplete;
        settle();
    }
    publish();
}

void RecorderLink::lose(const std::string& reason) {
    {
        std::lock_guard guard(stateLock_);
        serviceUp_ = false;
        lossReason_ = reason;
        device_.reset();
        recording_ = false;
        own_.reset();
        recovering_ = false;
        looked_ = true;
        settle();
    }
    firstLook_.notify_all();
    publish();
    // The device's connection went with the service; its next call connects anew.
    std::lock_guard guard(callLock_);
    dropCommandClient();
}

void RecorderLink::settle() {
    const std::string recorder = deviceLabel_.empty() ? "Recorder" : "Recorder " + deviceLabel_;
    LinkSnapshot next;
    next.version = state_.version + 1;
    next.recording = recording_;
    next.frames = frames_;
    next.connected = serviceUp_ && device_ && recorderConnected_;
    if (!serviceUp_) {
        next.condition = Condition::ServiceLost;
        next.why = "The service is lost (" + lossReason_ + "); reconnecting.";
    } else if (!device_) {
        next.condition = Condition::NoRecorder;
        next.why = recorderName_.empty()
                       ? std::string("The service has no recorder.")
                       : "The service has no recorder named \"" + recorderName_ + "\" among its " +
                             std::to_string(deviceCount_) + " devices.";
    } else if (!recorderConnected_) {
        next.condition = Condition::Unplugged;
        next.why = recorder + " is unplugged.";
    } else if (recording_ && (inPretrigger_ || (own_ && own_->waitsForTrigger &&
                                                std::ranges::all_of(frames_, [](int64_t n) { return n == 0; })))) {
        next.condition = Condition::Waiting;
        next.why = recorder + " waits for its trigger.";
    } else if (recording_) {
        next.condition = Condition::Recording;
        next.why = recorder + " is recording.";
    } else if (incomplete_) {
        next.condition = Condition::Incomplete;
        next.why = recorder + (recovering_ ? " is recovering a cut-off recording."
                                           : " holds a cut-off recording: Recover salvages it, DiscardIncomplete "
                                             "throws it away.");
    } else {
        next.condition = Condition::Idle;
        next.why = recorder + " is idle.";
    }
    if (!recoveryFailure_.empty()) {
        next.why += " The last recovery failed: " + recoveryFailure_;
    }
    state_ = std::move(next);
}

void RecorderLink::publish() {
    if (observer_) {
        observer_(snapshot());
    }
}

}  // namespace tavu::tavutango
