// events
#include <unistd.h>

#include <iostream>

#include "client/EventReader.h"
#include "tools/tavuctl/Commands.h"
#include "tools/tavuctl/Failure.h"
#include "tools/tavuctl/Format.h"
#include "tools/tavuctl/Parsing.h"
#include "tools/tavuctl/Terminal.h"

namespace tavu::tavuctl {

namespace {

// "device 0  ports 0,2" and so on, by what the type carries.
std::string details(const DeviceEvent& event) {
    switch (event.type) {
        case DeviceEvent::RecordingStarted: {
            std::string ports;
            for (uint32_t port = 0; port < 32; ++port) {
                if ((event.port >> port & 1U) != 0) {
                    ports += (ports.empty() ? "" : ",") + std::to_string(port);
                }
            }
            return "device " + std::to_string(event.device) + "  ports " + ports;
        }
        case DeviceEvent::PairingChanged:
            return "device " + std::to_string(event.device) + "  port " + std::to_string(event.port);
        case DeviceEvent::RecordingStopped:
        case DeviceEvent::FilesChanged:
            return "device " + std::to_string(event.device);
        default:
            return "";
    }
}

void print(const Session& session, const DeviceEvent& event) {
    const auto now = std::chrono::system_clock::now();
    if (session.json()) {
        // One object per line, so that a script can act on each as it comes.
        Json line = {{"time", isoClockTime(now)},
                     {"type", client::eventTypeName(event.type)},
                     {"typeNumber", event.type},
                     {"device", event.device}};
        // The third field of a recording's start holds a bit per port.
        line[event.type == DeviceEvent::RecordingStarted ? "portMask" : "port"] = event.port;
        std::cout << line.dump() << std::endl;
    } else {
        std::cout << clockTime(now) << "  " << client::eventTypeName(event.type) << "  " << details(event)
                  << std::endl;
    }
}

void follow(Session& session, uint64_t count) {
    client::EventReader reader(session.client());
    const InterruptGuard interrupts("");
    if (!session.json() && isTerminal(STDOUT_FILENO)) {
        std::cerr << "Following the service's events; Ctrl-C ends.\n";
    }
    uint64_t seen = 0;
    while (!interrupts.interrupted() && (count == 0 || seen < count)) {
        const std::optional<DeviceEvent> event = reader.next();
        if (!event) {
            continue;
        }
        print(session, *event);
        ++seen;
        if (event->type == DeviceEvent::QueueClosed) {
            throw Failure(exitcode::Failed, "another client closed this event queue");
        }
    }
}

}  // namespace

void addEventsCommand(CLI::App& app, Session& session) {
    auto count = std::make_shared<uint64_t>(0);
    auto* command = app.add_subcommand("events", "Print the service's events as they happen, until Ctrl-C");
    command->add_option("--count", *count, "End after this many events (0: no limit)")
        ->check(wholeNumber(0, UINT64_MAX))
        ->capture_default_str();
    command->footer("Event types: DevicesChanged, RecordingStarted (with the ports), RecordingStopped,\n"
                    "FilesChanged, PairingChanged (with the port), QueueClosed. With --json, one object per line,\n"
                    "with the local time in ISO 8601 and \"portMask\" (a bit per port) for RecordingStarted.\n"
                    "Ctrl-C is the normal end and exits with status 0.");
    command->callback([&session, count] { follow(session, *count); });
}

}  // namespace tavu::tavuctl
