#include "tools/tavutango/TavuRecorder.h"

#include <ctime>

#include "tools/tavutango/JsonArgument.h"
#include "tools/tavutango/TangoErrors.h"

namespace tavu::tavutango {

namespace {

// A recording's time (100 ns units since 1601-01-01 UTC) in ISO 8601, UTC.
std::string isoTime(uint64_t fileTime) {
    constexpr int64_t SecondsFrom1601To1970 = 11644473600;
    const auto seconds = static_cast<std::time_t>(static_cast<int64_t>(fileTime / 10'000'000) - SecondsFrom1601To1970);
    std::tm parts{};
    char text[32] = "";
    if (gmtime_r(&seconds, &parts) == nullptr || std::strftime(text, sizeof text, "%Y-%m-%dT%H:%M:%SZ", &parts) == 0) {
        return {};
    }
    return text;
}

// {"fileId": 1, "streamId": 0} names a recording of the catalogue.
struct FileName {
    uint32_t fileId;
    uint32_t streamId;
};

uint8_t portOf(const JsonArgument& argument, client::Client& client, uint32_t device) {
    const uint64_t port = argument.integer("port", UINT8_MAX);
    const uint8_t count = client.portCount(device);
    if (port >= count) {
        throw BadArgument("the recorder has no port " + std::to_string(port) + "; it has " + std::to_string(count));
    }
    return static_cast<uint8_t>(port);
}

FileName fileNameOf(const JsonArgument& argument) {
    return {static_cast<uint32_t>(argument.integer("fileId", UINT32_MAX)),
            static_cast<uint32_t>(argument.optionalInteger("streamId", UINT32_MAX).value_or(0))};
}

}  // namespace

Tango::DevState stateOf(Condition condition) {
    switch (condition) {
        case Condition::Idle:
            return Tango::ON;
        case Condition::Recording:
            return Tango::RUNNING;
        case Condition::Waiting:
            return Tango::STANDBY;
        case Condition::Incomplete:
            return Tango::ALARM;
        case Condition::ServiceLost:
        case Condition::NoRecorder:
        case Condition::Unplugged:
            break;
    }
    return Tango::FAULT;
}

TavuRecorder::TavuRecorder(Tango::DeviceClass* deviceClass, const char* name) : TANGO_BASE_CLASS(deviceClass, name) {
    init_device();
}

TavuRecorder::~TavuRecorder() { delete_device(); }

void TavuRecorder::init_device() {
    Tango::DbData properties{Tango::DbDatum("RecorderName")};
    if (Tango::Util::_UseDb) {
        get_db_device()->get_property(properties);
    }
    std::string recorderName;
    if (!properties[0].is_empty()) {
        properties[0] >> recorderName;
    }
    set_change_event("State", true, false);
    set_archive_event("State", true, false);
    pushedVersion_ = 0;
    link_ = std::make_unique<RecorderLink>(recorderName, client::ConnectOptions{},
                                           [this](const LinkSnapshot& snapshot) { linkChanged(snapshot); });
    linkChanged(link_->snapshot());
}

void TavuRecorder::delete_device() { link_.reset(); }

// Also asked while the device is being built or deleted (Init), when it has no link.
Tango::DevState TavuRecorder::dev_state() {
    if (!link_) {
        return Tango::UNKNOWN;
    }
    const Tango::DevState state = stateOf(link_->snapshot().condition);
    set_state(state);
    return state;
}

Tango::ConstDevString TavuRecorder::dev_status() {
    status_ = link_ ? link_->snapshot().why : "The device is being set up.";
    return status_.c_str();
}

// Archive events carry the same changes, for an archiver.
// Runs on the link's thread as well as on the framework's: the device's monitor keeps it apart
// from the reads and commands of clients.
void TavuRecorder::linkChanged(const LinkSnapshot& snapshot) {
    try {
        // The device's own monitor, whatever the serialisation model: the events read the
        // attributes' framework objects that client requests use.
        Tango::AutoTangoMonitor guard(&get_dev_monitor());
        if (snapshot.version <= pushedVersion_) {
            return;
        }
        pushedVersion_ = snapshot.version;
        const Tango::DevState state = stateOf(snapshot.condition);
        const bool stateChanged = state != get_state() || snapshot.why != get_status();
        set_state(state);
        set_status(snapshot.why);
        if (stateChanged) {
            push_change_event("State");
            push_archive_event("State");
        }
        if (snapshot.connected != static_cast<bool>(pushedConnected_)) {
            pushedConnected_ = snapshot.connected;
            push_change_event("Connected", &pushedConnected_);
            push_archive_event("Connected", &pushedConnected_);
        }
        if (snapshot.recording != static_cast<bool>(pushedRecording_)) {
            pushedRecording_ = snapshot.recording;
            push_change_event("Recording", &pushedRecording_);
            push_archive_event("Recording", &pushedRecording_);
        }
        // While recording every look is pushed, so that a subscriber sees the counts at least
        // once a second even when a port stands still.
        const std::vector<Tango::DevLong64> frames(snapshot.frames.begin(), snapshot.frames.end());
        if (!frames.empty() && (snapshot.recording || frames != pushedFrames_)) {
            pushedFrames_ = frames;
            const auto count = static_cast<long>(pushedFrames_.size());
            push_change_event("FramesRecorded", pushedFrames_.data(), count);
            push_archive_event("FramesRecorded", pushedFrames_.data(), count);
        }
    } catch (const Tango::DevFailed&) {
        // No event system yet (the device is being built), or the monitor was held past its
        // timeout by a device being deleted: the next change pushes again.
    }
}

void TavuRecorder::readConnected(Tango::Attribute& attribute) {
    connected_ = link_->snapshot().connected;
    attribute.set_value(&connected_);
}

void TavuRecorder::readRecording(Tango::Attribute& attribute) {
    recording_ = link_->snapshot().recording;
    attribute.set_value(&recording_);
}

// A number of the device, asked of the service at each read.
template <typename Ask>
void TavuRecorder::readDeviceNumber(Tango::Attribute& attribute, const char* origin, Ask ask) {
    number_ = forClient(origin, [&] { return static_cast<Tango::DevLong>(link_->withDevice(ask)); });
    attribute.set_value(&number_);
}

void TavuRecorder::readDeviceType(Tango::Attribute& attribute) {
    readDeviceNumber(attribute, "TavuRecorder::read DeviceType",
                     [](client::Client& client, uint32_t device) { return client.hardwareType(device); });
}

void TavuRecorder::readPortCount(Tango::Attribute& attribute) {
    readDeviceNumber(attribute, "TavuRecorder::read PortCount",
                     [](client::Client& client, uint32_t device) { return client.portCount(device); });
}

void TavuRecorder::readPercentUsed(Tango::Attribute& attribute) {
    readDeviceNumber(attribute, "TavuRecorder::read PercentUsed",
                     [](client::Client& client, uint32_t device) { return client.percentUsed(device); });
}

void TavuRecorder::readRecoveryStatus(Tango::Attribute& attribute) {
    readDeviceNumber(attribute, "TavuRecorder::read RecoveryStatus",
                     [](client::Client& client, uint32_t device) { return client.recoveryStatus(device); });
}

void TavuRecorder::readPortNames(Tango::Attribute& attribute) {
    portNames_ = forClient("TavuRecorder::read PortNames", [&] {
        return link_->withDevice([](client::Client& client, uint32_t device) {
            std::vector<std::string> names;
            const uint8_t count = client.portCount(device);
            for (uint8_t port = 0; port < count; ++port) {
                names.push_back(client.portName(device, port));
            }
            return names;
        });
    });
    portNamePointers_.clear();
    for (std::string& name : portNames_) {
        portNamePointers_.push_back(name.data());
    }
    attribute.set_value(portNamePointers_.data(), static_cast<long>(portNamePointers_.size()));
}

void TavuRecorder::readWidth(Tango::Attribute& attribute) { readGeometry(attribute, true); }

void TavuRecorder::readHeight(Tango::Attribute& attribute) { readGeometry(attribute, false); }

void TavuRecorder::readGeometry(Tango::Attribute& attribute, bool width) {
    geometry_ = forClient("TavuRecorder::read Width/Height", [&] {
        return link_->withDevice([&](client::Client& client, uint32_t device) {
            std::vector<Tango::DevLong> values;
            const uint8_t count = client.portCount(device);
            for (uint8_t port = 0; port < count; ++port) {
                const PortConfig config = client.getPortConfig(device, port);
                values.push_back(width ? config.width : config.height);
            }
            return values;
        });
    });
    attribute.set_value(geometry_.data(), static_cast<long>(geometry_.size()));
}

// Asked of the recorder on each read, so that a recording that another client started counts too.
void TavuRecorder::readFramesRecorded(Tango::Attribute& attribute) {
    frames_ = forClient("TavuRecorder::read FramesRecorded", [&] {
        return link_->withDevice([](client::Client& client, uint32_t device) {
            std::vector<Tango::DevLong64> values;
            const uint8_t count = client.portCount(device);
            for (uint8_t port = 0; port < count; ++port) {
                values.push_back(static_cast<Tango::DevLong64>(client.recordingProgress(device, port).numFrames));
            }
            return values;
        });
    });
    attribute.set_value(frames_.data(), static_cast<long>(frames_.size()));
}

void TavuRecorder::readLivePort(Tango::Attribute& attribute) {
    number_ = link_->livePort();
    attribute.set_value(&number_);
}

// -1 stops the live view; another port moves it there.
void TavuRecorder::writeLivePort(Tango::WAttribute& attribute) {
    Tango::DevLong port = -1;
    attribute.get_write_value(port);
    forClient("TavuRecorder::write LivePort", [&] {
        if (port < -1) {
            throw BadArgument("LivePort must be a port number, or -1 for none");
        }
        link_->setLivePort(port);
    });
}

// The newest frame of the live port: each read takes a fresh one.
void TavuRecorder::readLiveImage(Tango::Attribute& attribute) {
    const RecorderLink::Image image =
        forClient("TavuRecorder::read LiveImage", [&] { return link_->grabLive(image_); });
    attribute.set_value(image_.data(), image.width, image.height);
}

// Without "ports", the ports that have a camera, as tavuctl records them.
std::string TavuRecorder::startRecording(const std::string& argument) {
    RecordingArgument parsed = parseRecording(argument);
    parsed.request.portMask = link_->withDevice([&](client::Client& client, uint32_t device) {
        const uint8_t count = client.portCount(device);
        std::vector<uint8_t> ports;
        for (uint8_t port = 0; port < count && !parsed.ports; ++port) {
            if (!client.pairedTo(device, port).empty()) {
                ports.push_back(port);
            }
        }
        for (const uint8_t port : parsed.ports.value_or(ports)) {
            if (port >= count) {
                throw BadArgument("the recorder has no port " + std::to_string(port) + "; it has " +
                                  std::to_string(count));
            }
        }
        // The emulator takes such a request without a word and records nothing, which would
        // leave the device waiting for a trigger that never comes.
        if (parsed.request.externalTrigger != 0 && client.hardwareType(device) == HardwareType::Emulator) {
            throw BadArgument("the emulated recorder has no trigger input: it would record nothing");
        }
        if (!parsed.ports && ports.empty()) {
            throw BadArgument("no port has a camera: name the ports with \"ports\", or Pair a camera first");
        }
        return portMask(parsed.ports.value_or(ports));
    });
    link_->startRecording(parsed.request);
    return {};
}

std::string TavuRecorder::stopRecording(const std::string&) {
    link_->withDevice([](client::Client& client, uint32_t device) { client.stopRecording(device); });
    return {};
}

std::string TavuRecorder::softwareTrigger(const std::string&) {
    link_->withDevice([](client::Client& client, uint32_t device) { client.softwareTrigger(device); });
    return {};
}

// One object per recording. A recorder that keeps no start time gives the time the recording
// was catalogued.
std::string TavuRecorder::listFiles(const std::string&) {
    const std::vector<FileRecord> records =
        link_->withDevice([](client::Client& client, uint32_t device) { return client.listFiles(device); });
    nlohmann::ordered_json list = nlohmann::ordered_json::array();
    for (const FileRecord& record : records) {
        list.push_back({{"fileId", record.fileId},
                        {"streamId", record.streamId},
                        {"port", record.port},
                        {"name", record.name},
                        {"frames", record.numFrames},
                        {"width", record.width},
                        {"height", record.height},
                        {"startTime", isoTime(record.startTime != 0 ? record.startTime : record.timestamp)}});
    }
    return list.dump();
}

std::string TavuRecorder::removeFile(const std::string& argument) {
    const FileName file = fileNameOf(JsonArgument(argument, {"fileId", "streamId"}));
    link_->withDevice(
        [&](client::Client& client, uint32_t device) { client.removeFile(device, file.fileId, file.streamId); });
    return {};
}

std::string TavuRecorder::renameFile(const std::string& argument) {
    const JsonArgument parsed(argument, {"fileId", "streamId", "name"});
    const FileName file = fileNameOf(parsed);
    const std::string name = parsed.text("name");
    link_->withDevice([&](client::Client& client, uint32_t device) {
        client.renameFile(device, file.fileId, file.streamId, name, true);
    });
    return {};
}

std::string TavuRecorder::pair(const std::string& argument) {
    const JsonArgument parsed(argument, {"port", "camera", "framesPerPacket"});
    const std::string camera = parsed.text("camera");
    const auto framesPerPacket = static_cast<uint16_t>(parsed.optionalInteger("framesPerPacket", UINT16_MAX).value_or(1));
    link_->withDevice([&](client::Client& client, uint32_t device) {
        client.pairPort(device, portOf(parsed, client, device), camera, {}, framesPerPacket);
    });
    return {};
}

// Values left out keep their setting.
std::string TavuRecorder::configure(const std::string& argument) {
    const JsonArgument parsed(argument, {"port", "width", "height", "pixelFormat", "tapGeometry"});
    link_->withDevice([&](client::Client& client, uint32_t device) {
        const uint8_t port = portOf(parsed, client, device);
        PortConfig config = client.getPortConfig(device, port);
        config.width = static_cast<uint16_t>(parsed.optionalInteger("width", UINT16_MAX).value_or(config.width));
        config.height = static_cast<uint16_t>(parsed.optionalInteger("height", UINT16_MAX).value_or(config.height));
        config.pixelFormat =
            static_cast<uint32_t>(parsed.optionalInteger("pixelFormat", UINT32_MAX).value_or(config.pixelFormat));
        config.tapGeometry =
            static_cast<uint32_t>(parsed.optionalInteger("tapGeometry", UINT32_MAX).value_or(config.tapGeometry));
        client.setPortConfig(device, port, config);
    });
    return {};
}

// Returns at once; State and Status follow the recovery, which the server finishes when it succeeded.
std::string TavuRecorder::recover(const std::string&) {
    link_->startRecovery();
    return {};
}

std::string TavuRecorder::discardIncomplete(const std::string&) {
    link_->withDevice([](client::Client& client, uint32_t device) { client.discardIncompleteFile(device); });
    link_->refreshIncomplete();
    return {};
}

}  // namespace tavu::tavutango
