// record, stop, trigger
#include <time.h>

#include <algorithm>
#include <cmath>
#include <iostream>

#include "tools/tavuctl/Commands.h"
#include "tools/tavuctl/DeviceActivity.h"
#include "tools/tavuctl/Failure.h"
#include "tools/tavuctl/Parsing.h"
#include "tools/tavuctl/ProgressDisplay.h"
#include "tools/tavuctl/RecordingList.h"
#include "tools/tavuctl/RecordingMonitor.h"
#include "tools/tavuctl/Terminal.h"

namespace tavu::tavuctl {

namespace {

constexpr timespec ProgressPollInterval{0, 200'000'000};

constexpr const char* RecordFooter =
    "How the options reach the recorder:\n"
    "  --frames N       stop condition 1 (frame count), count N: each port stops after N frames\n"
    "  --seconds S      stop condition 2 (time), count S x 1000000: the recorder's time unit is\n"
    "                   microseconds (so on the emulator; a recorder may count otherwise)\n"
    "  --until-stopped  stop condition 0 (none), the default: Ctrl-C, SIGTERM or an external stop\n"
    "                   input ends the recording\n"
    "  --pretrigger N   pre-trigger on, with N as the pre-trigger loop value, passed to the recorder\n"
    "                   untouched. Without --external-start the recording fills its pre-trigger loop\n"
    "                   until a software trigger: press Enter, or run 'tavuctl trigger DEV'\n"
    "  --external-start trigger bit 0: the recorder's external input starts the recording\n"
    "  --external-stop  trigger bit 1: the external input stops it\n"
    "The emulator has no trigger input and no pre-trigger: tavuctl refuses --external-start and\n"
    "--external-stop there, and the emulator records at once otherwise.\n"
    "A recording that ends short of what was asked (a full drive set, an unplugged recorder, a stop\n"
    "by another client) is reported in one line on standard error, and the status is 1.\n"
    "tavuctl always stops the recording at the end, which finalises its files, also after Ctrl-C;\n"
    "a repeated Ctrl-C doesn't cut that short. If tavuctl was killed, 'tavuctl stop DEV' stops and\n"
    "keeps a recording that runs on.";

struct RecordOptions {
    uint32_t device = 0;
    std::string ports;
    std::optional<uint64_t> frames;
    std::optional<double> seconds;
    bool untilStopped = false;
    std::optional<uint64_t> pretrigger;
    bool externalStart = false;
    bool externalStop = false;
};

enum class Ending { Done, Interrupted };

// Every successful start is followed by a stop, which finalises the files, whatever happens
// in between, unless another client stopped the recording first.
class RecordingStopper {
public:
    RecordingStopper(client::Client& client, uint32_t device, bool emulator)
        : client_(client), device_(device), emulator_(emulator) {}
    ~RecordingStopper() {
        if (stopped_) {
            return;
        }
        try {
            client_.stopRecording(device_);
        } catch (const client::ServiceError& error) {
            std::cerr << "tavuctl: could not stop the recording on device " << device_ << ": " << error.what() << "; "
                      << afterFailedStop() << "\n";
        } catch (const client::ConnectionError&) {
            // The message of the failure that ended the command says what to do.
        } catch (const std::exception& error) {
            std::cerr << "tavuctl: could not stop the recording on device " << device_ << ": " << error.what() << "\n";
        }
    }
    RecordingStopper(const RecordingStopper&) = delete;
    RecordingStopper& operator=(const RecordingStopper&) = delete;

    // True when another client had stopped the recording already.
    bool stop(RecordingMonitor& monitor) {
        stopped_ = true;
        if (monitor.stoppedElsewhere()) {
            return true;
        }
        try {
            client_.stopRecording(device_);
        } catch (const client::ServiceError& error) {
            // The emulator's answer when another client's stop came first.
            if (emulator_ && std::string(error.what()) == "Not recording") {
                return true;
            }
            throw Failure(exitcode::Failed, "cannot stop the recording on device " + std::to_string(device_) + ": " +
                                                error.what() + "; " + afterFailedStop());
        }
        return false;
    }

private:
    // A recorder keeps the recording running after a failed stop; the emulator has ended it and
    // left its frames as a cut-off recording, which it cannot repair.
    std::string afterFailedStop() const {
        const std::string dev = std::to_string(device_);
        if (emulator_) {
            return "its frames are kept as a cut-off recording, which the emulated recorder cannot repair: make room "
                   "on the disk, then 'tavuctl recover " +
                   dev + " --discard' throws it away";
        }
        return "'tavuctl stop " + dev + "' tries again";
    }

    client::Client& client_;
    uint32_t device_;
    bool emulator_;
    bool stopped_ = false;
};

std::vector<uint8_t> pairedPorts(client::Client& client, uint32_t device) {
    std::vector<uint8_t> ports;
    const uint8_t count = client.portCount(device);
    for (uint8_t port = 0; port < count; ++port) {
        if (!client.pairedTo(device, port).empty()) {
            ports.push_back(port);
        }
    }
    return ports;
}

std::vector<RecordingMonitor::Port> choosePorts(Session& session, const RecordOptions& options) {
    client::Client& client = session.client();
    const std::vector<uint8_t> indices =
        options.ports.empty() ? pairedPorts(client, options.device) : parsePortList(options.ports);
    if (indices.empty()) {
        throw Failure(exitcode::Usage, "no port of device " + std::to_string(options.device) +
                                           " is paired with a camera: pair one with 'tavuctl pair " +
                                           std::to_string(options.device) + " PORT CAMERA', or name ports with --ports");
    }
    std::vector<RecordingMonitor::Port> ports;
    for (const uint8_t index : indices) {
        session.requirePort(options.device, index);
        const PortConfig config = client.getPortConfig(options.device, index);
        if (config.width == 0 || config.height == 0) {
            throw Failure(exitcode::Usage, session.portLabel(options.device, index) +
                                               " has no frame size: set one with 'tavuctl config " +
                                               std::to_string(options.device) + " " + std::to_string(index) +
                                               " WIDTH HEIGHT'");
        }
        ports.push_back({index, client.portName(options.device, index)});
    }
    return ports;
}

RecordingRequest requestFor(const RecordOptions& options, const std::vector<RecordingMonitor::Port>& ports) {
    RecordingRequest request;
    for (const auto& port : ports) {
        request.portMask |= 1U << port.index;
    }
    request.externalTrigger = static_cast<uint8_t>((options.externalStart ? ExternalStart : 0) |
                                                   (options.externalStop ? ExternalStop : 0));
    if (options.frames) {
        request.type = StopCondition::FrameCount;
        request.count = *options.frames;
    } else if (options.seconds) {
        request.type = StopCondition::Time;
        request.count = static_cast<uint64_t>(std::llround(*options.seconds * 1e6));
    }
    request.usePretrigger = options.pretrigger.has_value();
    request.pretriggerCount = options.pretrigger.value_or(0);
    return request;
}

bool softwareTriggered(const RecordingRequest& request) {
    return request.usePretrigger && (request.externalTrigger & ExternalStart) == 0;
}

Ending watch(Session& session, uint32_t device, RecordingMonitor& monitor, const RecordingRequest& request,
             const InterruptGuard& interrupts) {
    ProgressDisplay display(session.progressOut(), session.progressFd(), !session.options.quiet);
    for (;;) {
        const bool done = monitor.poll();
        if (done || interrupts.interrupted()) {
            display.finish(monitor.lines(display.terminal()));
            return done ? Ending::Done : Ending::Interrupted;
        }
        if (softwareTriggered(request) && lineTyped()) {
            attempt("cannot trigger the recording on device " + std::to_string(device),
                    [&] { session.client().softwareTrigger(device); });
        }
        display.show(monitor.lines(display.terminal()));
        // A signal ends the wait early.
        nanosleep(&ProgressPollInterval, nullptr);
    }
}

// The recordings this command made: what each port's file is, once stopped.
std::vector<FileRecord> recordingsMade(client::Client& client, uint32_t device, const RecordingMonitor& monitor) {
    std::vector<FileRecord> made;
    try {
        const std::vector<FileRecord> files = client.listFiles(device);
        for (const auto& port : monitor.ports()) {
            const RecordingFile file = client.recordingFile(device, port.index);
            const auto record = findRecording(files, file.fileId, file.streamId);
            if (record && !findRecording(made, record->fileId, record->streamId)) {
                made.push_back(*record);
            }
        }
    } catch (const client::ServiceError&) {
        // An unplugged recorder lists nothing; the frame counts of the monitor stand.
    }
    return made;
}

std::string secondsText(uint64_t microseconds) {
    char text[32];
    std::snprintf(text, sizeof text, "%g", static_cast<double>(microseconds) / 1e6);
    return text;
}

// Why a recording that ended by itself has less than was asked; nothing when it has all.
std::optional<std::string> shortfall(client::Client& client, uint32_t device, const RecordingMonitor& monitor,
                                     const RecordingRequest& request, bool stoppedElsewhere,
                                     const std::vector<FileRecord>& made) {
    std::string missing;
    uint64_t fewest = UINT64_MAX;
    for (const auto& port : monitor.ports()) {
        const auto record = std::find_if(made.begin(), made.end(), [&](const FileRecord& r) { return r.port == port.name; });
        const uint64_t frames = record != made.end() ? record->numFrames : monitor.frames(port.index);
        if (frames < fewest) {
            fewest = frames;
            missing = "port " + std::to_string(port.index) + " (" + port.name + ") has " + std::to_string(frames) +
                      (frames == 1 ? " frame" : " frames");
        }
    }
    std::string asked;
    bool cutShort = stoppedElsewhere || monitor.recorderGone() || fewest == 0;
    switch (request.type) {
        case StopCondition::FrameCount:
            asked = " of the " + std::to_string(request.count) + " frames asked";
            cutShort = cutShort || fewest < request.count;
            break;
        case StopCondition::Time:
            asked = " of the " + secondsText(request.count) + " s asked";
            cutShort = cutShort || std::chrono::duration<double, std::micro>(monitor.longestRecordingTime()).count() <
                                       0.9 * static_cast<double>(request.count);
            break;
        case StopCondition::None:
            // Only an external stop ends such a recording by design.
            cutShort = cutShort || (request.externalTrigger & ExternalStop) == 0;
            break;
    }
    if (!cutShort) {
        return std::nullopt;
    }
    std::string cause = "it ended early";
    std::optional<uint8_t> used;
    try {
        used = client.percentUsed(device);
    } catch (const client::ServiceError&) {
        used = monitor.percentUsed();
    }
    if (stoppedElsewhere) {
        cause = "another client stopped it";
    } else if (monitor.recorderGone()) {
        cause = "the recorder was unplugged";
    } else if (used && *used >= 98) {
        cause = "the drive set is full (" + std::to_string(*used) + "% used)";
    }
    return "the recording on device " + std::to_string(device) + " ended short" + asked + ": " + missing + "; " + cause;
}

void reportRecording(Session& session, uint32_t device, Ending ending, const RecordingMonitor& monitor,
                     const std::vector<FileRecord>& made, const std::optional<std::string>& shortText) {
    const char* endedBy = ending == Ending::Done ? "device" : "interrupt";
    if (session.json()) {
        session.emit({{"device", device},
                      {"endedBy", endedBy},
                      {"frames", monitor.framesJson()},
                      {"short", shortText ? Json(*shortText) : Json()},
                      {"recordings", recordingsJson(made)}});
    } else {
        std::cout << (ending == Ending::Done ? "The recording ended" : "Stopped the recording") << " on device "
                  << device << ".\n";
        if (made.empty()) {
            std::cout << "No new recording appeared in the catalogue ('tavuctl files " << device
                      << "' lists the recordings).\n";
        } else {
            std::cout << "New recordings:\n";
            printRecordings(std::cout, made);
        }
    }
    if (shortText) {
        std::cerr << "tavuctl: " << *shortText << std::endl;
    }
}

std::string alreadyRecording(client::Client& client, uint32_t device) {
    return runningRecordingText(client, device) + ", so it cannot start another; 'tavuctl stop " +
           std::to_string(device) + "' stops that one";
}

// Refuses what the device would silently get wrong, then starts while no other tavuctl can.
void start(client::Client& client, uint32_t device, const RecordingRequest& request) {
    const GlobalLock lock(client);
    if (recordingRuns(client, device)) {
        throw Failure(exitcode::Failed, alreadyRecording(client, device));
    }
    try {
        client.startRecording(device, request);
    } catch (const client::ServiceError& error) {
        if (std::string(error.what()) == "Already recording") {
            throw Failure(exitcode::Failed, alreadyRecording(client, device));
        }
        throw Failure(exitcode::Failed, refusal("cannot start recording on device " + std::to_string(device), error));
    }
}

void checkEmulatorRequest(client::Client& client, const RecordOptions& options) {
    const std::string dev = std::to_string(options.device);
    if (options.externalStart || options.externalStop) {
        throw Failure(exitcode::Usage, "device " + dev +
                                           " is the emulated recorder, which has no trigger input: it would record "
                                           "nothing and wait forever. Record without --external-start and --external-stop");
    }
    // Its next recording is written to the very file that holds the cut-off one.
    if (cutOffRecordingWaits(client, options.device)) {
        throw Failure(exitcode::Failed, "device " + dev +
                                            " has a cut-off recording waiting, which a new recording would overwrite; " +
                                            cutOffAdvice(client, options.device));
    }
}

void record(Session& session, const RecordOptions& options) {
    session.requireDevice(options.device);
    client::Client& client = session.client();
    const uint32_t device = options.device;
    const bool emulator = isEmulator(client, device);
    if (emulator) {
        checkEmulatorRequest(client, options);
    }
    const std::vector<RecordingMonitor::Port> ports = choosePorts(session, options);
    const RecordingRequest request = requestFor(options, ports);

    const InterruptGuard interrupts("\ntavuctl: stopping; the recording is being finalised, please wait\n");
    try {
        RecordingMonitor monitor(client, device, ports, request);
        start(client, device, request);
        RecordingStopper stopper(client, device, emulator);
        const Ending ending = watch(session, device, monitor, request, interrupts);
        const bool stoppedElsewhere = stopper.stop(monitor);
        const std::vector<FileRecord> made = recordingsMade(client, device, monitor);
        const auto shortText = ending == Ending::Done
                                   ? shortfall(client, device, monitor, request, stoppedElsewhere, made)
                                   : std::nullopt;
        reportRecording(session, device, ending, monitor, made, shortText);
        // Ctrl-C is the normal end of a recording without a stop condition of its own.
        const bool interrupted = ending == Ending::Interrupted && request.type != StopCondition::None;
        session.exitCode = shortText ? exitcode::Failed : interrupted ? exitcode::Interrupted : exitcode::Ok;
    } catch (const client::ConnectionError& error) {
        const std::string dev = std::to_string(device);
        const std::string recover = emulator ? "'tavuctl recover " + dev +
                                                   " --discard' throws it away, as the emulated recorder cannot repair it"
                                             : "'tavuctl recover " + dev + "' salvages it";
        throw Failure(exitcode::NoService, "lost the connection to the service during the recording on device " + dev +
                                               " (" + error.what() +
                                               "). If the service ended, the recording was cut off: once the service "
                                               "runs again, " + recover);
    }
}

void addRecord(CLI::App& app, Session& session) {
    auto options = std::make_shared<RecordOptions>();
    auto* command = app.add_subcommand("record", "Record from one or more ports, with live progress");
    addDeviceArgument(*command, options->device);
    command->add_option("--ports", options->ports, "Ports to record, as in 0,1 or 0-3 (default: the paired ports)");
    auto* frames = command->add_option("--frames", options->frames, "Stop after N frames per port (1 to 4294967295)")
                       ->check(wholeNumber(1, UINT32_MAX));
    auto* seconds = command->add_option("--seconds", options->seconds, "Stop after S seconds (0.000001 to 1000000)")
                        ->check(finiteNumber(0.000001, 1e6, "0.000001 to 1000000"));
    auto* untilStopped = command->add_flag("--until-stopped", options->untilStopped,
                                           "Record until Ctrl-C or an external stop (the default)");
    frames->excludes(seconds)->excludes(untilStopped);
    seconds->excludes(untilStopped);
    command->add_option("--pretrigger", options->pretrigger,
                        "Use the pre-trigger loop of this length, in the recorder's units: frames with --frames, "
                        "microseconds otherwise (0 to 18446744073709551615)")
        ->check(wholeNumber(0, UINT64_MAX));
    command->add_flag("--external-start", options->externalStart, "Start on the recorder's external trigger input");
    command->add_flag("--external-stop", options->externalStop, "Stop on the recorder's external trigger input");
    command->footer(RecordFooter);
    command->callback([&session, options] { record(session, *options); });
}

void stop(Session& session, uint32_t device) {
    session.requireDevice(device);
    attempt("cannot stop the recording on device " + std::to_string(device),
            [&] { session.client().stopRecording(device); });
    if (session.json()) {
        session.emit({{"device", device}, {"stopped", true}});
    } else {
        std::cout << "Stopped the recording on device " << device << "; 'tavuctl files " << device
                  << "' lists it.\n";
    }
}

void trigger(Session& session, uint32_t device) {
    session.requireDevice(device);
    // A recorder takes a trigger with nothing recording without a word; it would fire the next
    // recording at once.
    if (!recordingRuns(session.client(), device)) {
        throw Failure(exitcode::Failed, "nothing is recording on device " + std::to_string(device) +
                                            ", so there is nothing to trigger");
    }
    attempt("cannot trigger the recording on device " + std::to_string(device),
            [&] { session.client().softwareTrigger(device); });
    if (session.json()) {
        session.emit({{"device", device}, {"triggered", true}});
    } else {
        std::cout << "Triggered the recording on device " << device << ".\n";
    }
}

void addDeviceAction(CLI::App& app, Session& session, const char* name, const char* description,
                     void (*action)(Session&, uint32_t)) {
    auto device = std::make_shared<uint32_t>();
    auto* command = app.add_subcommand(name, description);
    addDeviceArgument(*command, *device);
    command->callback([&session, device, action] { action(session, *device); });
}

}  // namespace

void addRecordCommands(CLI::App& app, Session& session) {
    addRecord(app, session);
    addDeviceAction(app, session, "stop",
                    "Stop the recording that runs on a device and finalise its files (after a killed 'record')",
                    stop);
    addDeviceAction(app, session, "trigger",
                    "Fire the software trigger of a recording that waits in its pre-trigger loop", trigger);
}

}  // namespace tavu::tavuctl
