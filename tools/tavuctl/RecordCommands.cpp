// record, stop, trigger
#include <time.h>

#include <cmath>
#include <iostream>

#include "tools/tavuctl/Commands.h"
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
    "The emulator has no trigger input and no pre-trigger: it ignores a request with an external\n"
    "start or stop, and records at once otherwise.\n"
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
// in between.
class RecordingStopper {
public:
    RecordingStopper(client::Client& client, uint32_t device) : client_(client), device_(device) {}
    ~RecordingStopper() {
        if (!stopped_) {
            try {
                client_.stopRecording(device_);
            } catch (const std::exception& error) {
                std::cerr << "tavuctl: could not stop the recording on device " << device_ << ": " << error.what()
                          << "; 'tavuctl stop " << device_ << "' tries again\n";
            }
        }
    }
    RecordingStopper(const RecordingStopper&) = delete;
    RecordingStopper& operator=(const RecordingStopper&) = delete;

    void stop() {
        stopped_ = true;
        attempt("cannot stop the recording on device " + std::to_string(device_) + " ('tavuctl stop " +
                    std::to_string(device_) + "' tries again)",
                [&] { client_.stopRecording(device_); });
    }

private:
    client::Client& client_;
    uint32_t device_;
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

void reportRecording(Session& session, uint32_t device, Ending ending, const RecordingMonitor& monitor,
                     const std::vector<FileRecord>& added) {
    const char* endedBy = ending == Ending::Done ? "device" : "interrupt";
    if (session.json()) {
        session.emit({{"device", device},
                      {"endedBy", endedBy},
                      {"frames", monitor.framesJson()},
                      {"recordings", recordingsJson(added)}});
        return;
    }
    std::cout << (ending == Ending::Done ? "The recording ended" : "Stopped the recording") << " on device "
              << device << ".\n";
    if (added.empty()) {
        std::cout << "No new recording appeared in the catalogue ('tavuctl files " << device << "' lists the recordings).\n";
        return;
    }
    std::cout << "New recordings:\n";
    printRecordings(std::cout, added);
}

void record(Session& session, const RecordOptions& options) {
    session.requireDevice(options.device);
    client::Client& client = session.client();
    const std::vector<RecordingMonitor::Port> ports = choosePorts(session, options);
    const RecordingRequest request = requestFor(options, ports);
    const std::vector<FileRecord> before = client.listFiles(options.device);
    if (request.externalTrigger != 0 && client.hardwareType(options.device) == HardwareType::Emulator) {
        std::cerr << "tavuctl: note: the emulator has no trigger input; it ignores a recording that waits for one\n";
    }

    const InterruptGuard interrupts("\ntavuctl: stopping; the recording is being finalised, please wait\n");
    attempt("cannot start recording on device " + std::to_string(options.device),
            [&] { client.startRecording(options.device, request); });
    RecordingStopper stopper(client, options.device);
    RecordingMonitor monitor(client, options.device, ports, request);
    const Ending ending = watch(session, options.device, monitor, request, interrupts);
    stopper.stop();

    reportRecording(session, options.device, ending, monitor,
                    newRecordings(before, client.listFiles(options.device)));
    // Ctrl-C is the normal end of a recording without a stop condition of its own.
    const bool cutShort = ending == Ending::Interrupted && request.type != StopCondition::None;
    session.exitCode = cutShort ? exitcode::Interrupted : exitcode::Ok;
}

void addRecord(CLI::App& app, Session& session) {
    auto options = std::make_shared<RecordOptions>();
    auto* command = app.add_subcommand("record", "Record from one or more ports, with live progress");
    addDeviceArgument(*command, options->device);
    command->add_option("--ports", options->ports, "Ports to record, as in 0,1 or 0-3 (default: the paired ports)");
    auto* frames = command->add_option("--frames", options->frames, "Stop after N frames per port")
                       ->check(CLI::Range(uint64_t{1}, uint64_t{UINT32_MAX}));
    auto* seconds = command->add_option("--seconds", options->seconds, "Stop after S seconds")
                        ->check(CLI::Range(0.000001, 1e12));
    auto* untilStopped = command->add_flag("--until-stopped", options->untilStopped,
                                           "Record until Ctrl-C or an external stop (the default)");
    frames->excludes(seconds)->excludes(untilStopped);
    seconds->excludes(untilStopped);
    command->add_option("--pretrigger", options->pretrigger, "Use the pre-trigger loop, with this loop value");
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
