#include "tools/tavuweb/Console.h"

#include <iostream>

#include "client/ClientErrors.h"
#include "client/EventReader.h"

namespace tavu::tavuweb {

namespace {

using namespace std::chrono_literals;

constexpr auto ProgressInterval = 100ms;
// In a recording's first second, so that its bar moves as soon as the first frames are in.
constexpr auto FirstProgressInterval = 20ms;
constexpr auto FirstProgressTime = 1s;
constexpr auto ReconnectInterval = 1s;

// A value that a device may refuse to give (a recorder unplugged, a port not set up): the
// service's words in place of the value.
template <typename Read>
void readInto(Json& target, const char* key, Read&& read) {
    try {
        target[key] = read();
    } catch (const client::ServiceError& error) {
        target[key] = nullptr;
        target["problems"][key] = error.what();
    }
}

const char* recoveryName(RecoveryStatus status) {
    switch (status) {
        case RecoveryStatus::NotRun: return "none";
        case RecoveryStatus::Running: return "running";
        case RecoveryStatus::Failed: return "failed";
        case RecoveryStatus::Done: return "done";
        case RecoveryStatus::Cancelled: return "cancelled";
    }
    return "unknown";
}

std::string framesText(uint64_t frames) { return std::to_string(frames) + (frames == 1 ? " frame" : " frames"); }

}  // namespace

std::string hardwareTypeName(uint8_t type) {
    switch (type) {
        case HardwareType::Emulator: return "Emulator";
        case HardwareType::Unknown: return "Unknown recorder";
        default: return "Recorder family " + std::to_string(type);
    }
}

Json fileJson(const FileRecord& record) {
    Json file;
#define TAVU_FILE_FIELD_JSON(field) file[#field] = record.field;
    TAVU_FILE_ENTRY_FIELDS(TAVU_FILE_FIELD_JSON)
#undef TAVU_FILE_FIELD_JSON
    return file;
}

Console::Console(ServicePool& pool, Pages& pages) : pool_(pool), pages_(pages) {}

Console::~Console() { stop(); }

void Console::start() {
    events_ = std::thread([this] { runEvents(); });
    progress_ = std::thread([this] { runProgress(); });
}

void Console::stop() {
    {
        const std::lock_guard lock(mutex_);
        stopping_ = true;
    }
    wake_.notify_all();
    if (events_.joinable()) {
        events_.join();
    }
    if (progress_.joinable()) {
        progress_.join();
    }
}

bool Console::sleepFor(std::chrono::milliseconds time) {
    std::unique_lock lock(mutex_);
    return !wake_.wait_for(lock, time, [this] { return stopping_; });
}

Json Console::state() {
    const std::lock_guard lock(mutex_);
    Json devices = Json::array();
    for (const auto& [index, device] : devices_) {
        devices.push_back(device);
    }
    Json recordings = Json::array();
    for (const auto& [device, recording] : recordings_) {
        if (recording.portMask != 0) {
            recordings.push_back(recordingJson(device, recording));
        }
    }
    return {{"kind", "state"},
            {"service", {{"connected", serviceConnected_}, {"problem", serviceProblem_}}},
            {"devices", devices},
            {"recordings", recordings}};
}

bool Console::serviceConnected() {
    const std::lock_guard lock(mutex_);
    return serviceConnected_;
}

void Console::setService(bool connected, const std::string& problem) {
    {
        const std::lock_guard lock(mutex_);
        if (serviceConnected_ == connected && serviceProblem_ == problem) {
            return;
        }
        serviceConnected_ = connected;
        serviceProblem_ = problem;
    }
    pages_.broadcast(Json{{"kind", "service"}, {"connected", connected}, {"problem", problem}}.dump());
}

void Console::runEvents() {
    while (true) {
        {
            const std::lock_guard lock(mutex_);
            if (stopping_) {
                return;
            }
        }
        try {
            client::Client client(pool_.options());
            client::EventReader events(client);
            if (!serviceConnected()) {
                // A service started anew runs no recording; one that ran was cut off.
                pool_.clear();
                const std::lock_guard lock(mutex_);
                recordings_.clear();
            }
            setService(true, "");
            refreshAll(client);
            pages_.broadcast(state().dump());
            while (true) {
                {
                    const std::lock_guard lock(mutex_);
                    if (stopping_) {
                        return;
                    }
                }
                const std::optional<DeviceEvent> event = events.next();
                if (!event) {
                    continue;
                }
                if (event->type == DeviceEvent::QueueClosed) {
                    break;  // another client closed our queue: make a new one
                }
                handle(client, *event);
            }
        } catch (const std::exception& error) {
            setService(false, error.what());
            sleepFor(ReconnectInterval);
        }
    }
}

void Console::handle(client::Client& client, const DeviceEvent& event) {
    pages_.broadcast(Json{{"kind", "event"},
                          {"name", client::eventTypeName(event.type)},
                          {"type", event.type},
                          {"device", event.device},
                          {"port", event.port}}
                         .dump());
    switch (event.type) {
        case DeviceEvent::DevicesChanged:
            refreshAll(client);
            pages_.broadcast(state().dump());
            break;
        case DeviceEvent::PairingChanged: refresh(client, event.device); break;
        case DeviceEvent::RecordingStarted: {
            {
                const std::lock_guard lock(mutex_);
                Recording& recording = recordings_[event.device];
                if (recording.portMask != 0 && !recording.request) {
                    recording = Recording{};
                }
                recording.portMask = event.port;
                recording.started = Clock::now();
                for (uint8_t port = 0; port < 32; ++port) {
                    if (event.port & (1u << port)) {
                        recording.ports[port].port = port;
                    }
                }
                pages_.broadcast(Json{{"kind", "recording"}, {"recording", recordingJson(event.device, recording)}}.dump());
            }
            {
                const std::lock_guard lock(mutex_);
                progressKick_ = true;
            }
            wake_.notify_all();
            refresh(client, event.device);
            break;
        }
        case DeviceEvent::RecordingStopped:
            finishRecording(client, event.device);
            refresh(client, event.device);
            files(event.device);
            break;
        case DeviceEvent::FilesChanged: files(event.device); break;
        default: break;
    }
}

void Console::refreshAll(client::Client& client) {
    const uint32_t count = client.deviceCount();
    std::map<uint32_t, Json> devices;
    for (uint32_t device = 0; device < count; ++device) {
        devices[device] = readDevice(client, device);
    }
    const std::lock_guard lock(mutex_);
    devices_ = std::move(devices);
}

void Console::refresh(client::Client& client, uint32_t device) {
    Json value = readDevice(client, device);
    {
        const std::lock_guard lock(mutex_);
        devices_[device] = value;
    }
    pages_.broadcast(Json{{"kind", "device"}, {"device", value}}.dump());
}

void Console::refreshDevice(uint32_t device) {
    pool_.with([&](client::Client& client) { refresh(client, device); });
}

Json Console::readDevice(client::Client& client, uint32_t device) {
    Json value{{"index", device}};
    readInto(value, "name", [&] { return client.deviceName(device); });
    readInto(value, "connected", [&] { return client.deviceConnected(device); });
    readInto(value, "hardwareType", [&] { return client.hardwareType(device); });
    value["kind"] = value["hardwareType"].is_number() ? hardwareTypeName(value["hardwareType"].get<uint8_t>()) : "";
    readInto(value, "isCxp", [&] { return client.isCxp(device); });
    readInto(value, "percentUsed", [&] { return client.percentUsed(device); });
    readInto(value, "incomplete", [&] { return client.hasIncompleteFile(device); });
    try {
        value["recovery"] = recoveryName(client.recoveryStatus(device));
    } catch (const client::ServiceError&) {
        value["recovery"] = "none";  // a device that can't say has nothing to report
    }
    uint8_t ports = 0;
    readInto(value, "portCount", [&] { return ports = client.portCount(device); });
    value["ports"] = Json::array();
    for (uint8_t port = 0; port < ports; ++port) {
        Json entry{{"index", port}};
        readInto(entry, "name", [&] { return client.portName(device, port); });
        readInto(entry, "camera", [&] { return client.pairedTo(device, port); });
        readInto(entry, "framesPerPacket", [&] { return client.framesPerPacket(device, port); });
        readInto(entry, "config", [&] {
            const PortConfig config = client.getPortConfig(device, port);
            return Json{{"width", config.width},
                        {"height", config.height},
                        {"pixelFormat", config.pixelFormat},
                        {"tapGeometry", config.tapGeometry}};
        });
        {
            const std::lock_guard lock(mutex_);
            const auto rate = frameRates_.find({device, port});
            entry["fps"] = rate == frameRates_.end() ? Json() : Json(rate->second);
        }
        value["ports"].push_back(entry);
    }
    return value;
}

Json Console::readFiles(client::Client& client, uint32_t device) {
    Json list = Json::array();
    for (const FileRecord& record : client.listFiles(device)) {
        list.push_back(fileJson(record));
    }
    return list;
}

Json Console::files(uint32_t device) {
    Json list = pool_.with([&](client::Client& client) { return readFiles(client, device); });
    pages_.broadcast(Json{{"kind", "files"}, {"device", device}, {"files", list}}.dump());
    return list;
}

void Console::expectRecording(uint32_t device, const RecordingRequest& request) {
    const std::lock_guard lock(mutex_);
    Recording recording;
    recording.request = request;
    recordings_[device] = recording;
}

void Console::forgetExpected(uint32_t device) {
    const std::lock_guard lock(mutex_);
    const auto found = recordings_.find(device);
    if (found != recordings_.end() && found->second.portMask == 0) {
        recordings_.erase(found);
    }
}

bool Console::noteStopAsked(uint32_t device) {
    const std::lock_guard lock(mutex_);
    const auto found = recordings_.find(device);
    if (found == recordings_.end()) {
        return true;
    }
    // The progress thread must not stop it as well, and take the device's refusal of a second
    // stop for a failure.
    const bool first = !found->second.stopping;
    found->second.stopAsked = true;
    found->second.stopping = true;
    return first;
}

void Console::noteRecovery(uint32_t device, RecoveryStatus status, std::chrono::steady_clock::duration elapsed) {
    pages_.broadcast(Json{{"kind", "recovery"},
                          {"device", device},
                          {"status", recoveryName(status)},
                          {"seconds", std::chrono::duration<double>(elapsed).count()}}
                         .dump());
}

void Console::noteFrameRate(uint32_t device, uint8_t port, double framesPerSecond) {
    {
        const std::lock_guard lock(mutex_);
        frameRates_[{device, port}] = framesPerSecond;
    }
    pages_.broadcast(Json{{"kind", "rate"}, {"device", device}, {"port", port}, {"fps", framesPerSecond}}.dump());
}

Json Console::recordingJson(uint32_t device, const Recording& recording) const {
    Json ports = Json::array();
    for (const auto& [index, progress] : recording.ports) {
        ports.push_back({{"port", index},
                         {"frames", progress.frames},
                         {"inPretrigger", progress.inPretrigger},
                         {"fps", progress.fps}});
    }
    Json value{{"device", device},
               {"portMask", recording.portMask},
               {"done", recording.done},
               {"ports", ports},
               {"elapsed", std::chrono::duration<double>(Clock::now() - recording.started).count()}};
    if (recording.request) {
        const RecordingRequest& request = *recording.request;
        value["stop"] = request.type == StopCondition::FrameCount ? "frames"
                        : request.type == StopCondition::Time    ? "time"
                                                                 : "none";
        value["count"] = request.count;
        value["waitsForTrigger"] = request.usePretrigger || (request.externalTrigger & ExternalStart) != 0;
        value["external"] = request.externalTrigger != 0;
    }
    return value;
}

void Console::runProgress() {
    std::optional<client::Client> client;
    while (true) {
        std::vector<uint32_t> active;
        {
            std::unique_lock lock(mutex_);
            wake_.wait(lock, [this] {
                return stopping_ || std::any_of(recordings_.begin(), recordings_.end(),
                                                [](const auto& entry) { return entry.second.portMask != 0; });
            });
            if (stopping_) {
                return;
            }
            for (const auto& [device, recording] : recordings_) {
                if (recording.portMask != 0) {
                    active.push_back(device);
                }
            }
        }
        try {
            if (!client) {
                client.emplace(pool_.options());
            }
            for (uint32_t device : active) {
                pollRecording(*client, device);
            }
        } catch (const client::ConnectionError&) {
            client.reset();
        } catch (const std::exception& error) {
            std::cerr << "tavuweb: progress: " << error.what() << "\n";
        }
        std::unique_lock lock(mutex_);
        const bool starting = std::any_of(recordings_.begin(), recordings_.end(), [](const auto& entry) {
            return Clock::now() - entry.second.started < FirstProgressTime;
        });
        wake_.wait_for(lock, starting ? FirstProgressInterval : ProgressInterval,
                       [this] { return stopping_ || progressKick_; });
        progressKick_ = false;
        if (stopping_) {
            return;
        }
    }
}

void Console::pollRecording(client::Client& client, uint32_t device) {
    std::vector<uint8_t> ports;
    {
        const std::lock_guard lock(mutex_);
        const auto found = recordings_.find(device);
        if (found == recordings_.end()) {
            return;  // ended meanwhile
        }
        for (const auto& [port, progress] : found->second.ports) {
            ports.push_back(port);
        }
    }
    std::map<uint8_t, RecordingProgress> read;
    for (uint8_t port : ports) {
        read[port] = client.recordingProgress(device, port);
    }
    const bool done = client.isRecordingDone(device);
    bool stopNow = false;
    {
        const std::lock_guard lock(mutex_);
        const auto found = recordings_.find(device);
        if (found == recordings_.end() || found->second.portMask == 0) {
            return;  // ended meanwhile
        }
        Recording& recording = found->second;
        const Clock::time_point now = Clock::now();
        for (auto& [port, progress] : recording.ports) {
            const RecordingProgress& latest = read[port];
            const double seconds = std::chrono::duration<double>(now - progress.sampled).count();
            if (progress.sampled != Clock::time_point{} && seconds >= 0.5) {
                progress.fps = static_cast<double>(latest.numFrames - progress.sampledFrames) / seconds;
                progress.sampled = now;
                progress.sampledFrames = latest.numFrames;
                frameRates_[{device, port}] = progress.fps;
                pages_.broadcast(
                    Json{{"kind", "rate"}, {"device", device}, {"port", port}, {"fps", progress.fps}}.dump());
            } else if (progress.sampled == Clock::time_point{}) {
                progress.sampled = now;
                progress.sampledFrames = latest.numFrames;
            }
            progress.frames = latest.numFrames;
            progress.inPretrigger = latest.inPretrigger;
        }
        recording.done = done;
        // A recording that this console started is stopped when it ends by itself, as its
        // files are only complete after a stop; another client's recording is its own client's.
        if (done && recording.request && !recording.stopping) {
            recording.stopping = true;
            stopNow = true;
        }
        pages_.broadcast(Json{{"kind", "recording"}, {"recording", recordingJson(device, recording)}}.dump());
    }
    if (stopNow) {
        try {
            client.stopRecording(device);
        } catch (const client::ServiceError& error) {
            pages_.broadcast(Json{{"kind", "error"},
                                  {"text", "The recording on device " + std::to_string(device) +
                                               " ended, but stopping it failed: " + error.what()}}
                                 .dump());
            abandonRecording(device, error.what());
        }
    }
}

void Console::abandonRecording(uint32_t device, const std::string& problem) {
    {
        const std::lock_guard lock(mutex_);
        if (recordings_.erase(device) == 0) {
            return;
        }
    }
    // No RecordingStopped follows: the recording ends here for the pages, with the reason.
    pages_.broadcast(Json{{"kind", "recordingEnded"},
                          {"device", device},
                          {"reason", "could not be stopped (" + problem + ")"},
                          {"short", true},
                          {"notes", Json::array()},
                          {"ports", Json::array()}}
                         .dump());
}

void Console::finishRecording(client::Client& client, uint32_t device) {
    Recording recording;
    {
        const std::lock_guard lock(mutex_);
        const auto found = recordings_.find(device);
        if (found == recordings_.end()) {
            return;
        }
        recording = found->second;
        recordings_.erase(found);
    }
    // Why it ended, and whether it ended short of what was asked: the page shows this in words.
    std::vector<std::string> notes;
    const bool countLimited = recording.request && recording.request->type == StopCondition::FrameCount;
    std::vector<FileRecord> files;
    try {
        files = client.listFiles(device);
    } catch (const client::ServiceError&) {
        // Told below by the frames alone.
    }
    Json ports = Json::array();
    for (const auto& [port, progress] : recording.ports) {
        uint64_t stored = progress.frames;
        uint64_t dropped = 0;
        Json entry{{"port", port}, {"frames", progress.frames}};
        try {
            const RecordingFile where = client.recordingFile(device, port);
            for (const FileRecord& file : files) {
                if (file.fileId == where.fileId && file.streamId == where.streamId) {
                    stored = file.numFrames;
                    dropped = file.numDroppedFrames;
                    entry["fileId"] = file.fileId;
                    entry["streamId"] = file.streamId;
                    entry["frames"] = stored;
                }
            }
        } catch (const client::ServiceError&) {
        }
        if (countLimited && stored < recording.request->count) {
            notes.push_back("port " + std::to_string(port) + " has " + framesText(stored) + " of " +
                            std::to_string(recording.request->count));
        }
        if (stored < progress.frames) {
            notes.push_back("port " + std::to_string(port) + ": only " + framesText(stored) + " of " +
                            framesText(progress.frames) + " reached the storage");
        }
        if (dropped > 0) {
            notes.push_back("port " + std::to_string(port) + " dropped " + framesText(dropped));
        }
        ports.push_back(entry);
    }
    std::string reason;
    if (!recording.request) {
        reason = "stopped by another client";
    } else if (recording.stopAsked) {
        reason = "stopped from the console";
    } else if (recording.done) {
        reason = "reached its limit";
    } else {
        reason = "stopped by another client";
    }
    uint8_t percent = 0;
    try {
        percent = client.percentUsed(device);
    } catch (const client::ServiceError&) {
    }
    if (percent >= 99) {
        notes.push_back("the drive set is full");
    }
    pages_.broadcast(Json{{"kind", "recordingEnded"},
                          {"device", device},
                          {"reason", reason},
                          {"short", !notes.empty()},
                          {"notes", notes},
                          {"ports", ports}}
                         .dump());
}

}  // namespace tavu::tavuweb
