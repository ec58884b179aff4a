// devices, ports, setup
#include <iostream>

#include "tools/tavuctl/Commands.h"
#include "tools/tavuctl/DeviceActivity.h"
#include "tools/tavuctl/Failure.h"
#include "tools/tavuctl/Parsing.h"
#include "tools/tavuctl/Table.h"
#include "tools/tavuctl/Terminal.h"

namespace tavu::tavuctl {

namespace {

// The recorder family as people call it.
std::string kindOf(uint8_t hardwareType, bool cxp) {
    if (hardwareType == HardwareType::Emulator) {
        return "emulator";
    }
    if (hardwareType == 0) {
        return "unknown recorder";
    }
    return std::string("recorder") + (cxp ? " CoaXPress" : "");
}

// A value that a device may refuse while it is busy or has no storage: nothing, then.
template <typename Query>
auto optionalValue(Query&& query) -> std::optional<decltype(query())> {
    try {
        return query();
    } catch (const client::ServiceError&) {
        return std::nullopt;
    }
}

Json orNull(const auto& value) { return value ? Json(*value) : Json(); }

// A device that is disconnected or busy may refuse some of these; they show as null.
Json deviceJson(client::Client& client, uint32_t device) {
    const auto hardwareType = optionalValue([&] { return client.hardwareType(device); });
    const auto cxp = optionalValue([&] { return client.isCxp(device); });
    return {{"index", device},
            {"name", client.deviceName(device)},
            {"connected", client.deviceConnected(device)},
            {"kind", hardwareType ? kindOf(*hardwareType, cxp.value_or(false)) : "unknown recorder"},
            {"hardwareType", orNull(hardwareType)},
            {"isCxp", orNull(cxp)},
            {"ports", orNull(optionalValue([&] { return client.portCount(device); }))},
            {"percentUsed", orNull(optionalValue([&] { return client.percentUsed(device); }))},
            {"cutOffRecording", cutOffRecordingWaits(client, device)}};
}

void listDevices(Session& session) {
    client::Client& client = session.client();
    Json devices = Json::array();
    const uint32_t count = client.deviceCount();
    for (uint32_t device = 0; device < count; ++device) {
        devices.push_back(deviceJson(client, device));
    }
    if (session.json()) {
        session.emit({{"devices", devices}});
        return;
    }
    if (devices.empty()) {
        std::cout << "No devices. Connect a recorder, or start the service with TAVUSRV_ENABLE_EMULATOR=1 "
                     "for an emulated one.\n";
        return;
    }
    Table table({"DEV", "NAME", "CONNECTED", "KIND", "TYPE", "PORTS", "USED"});
    for (const auto& device : devices) {
        const auto& percent = device["percentUsed"];
        const auto& type = device["hardwareType"];
        table.add({device["index"].dump(), device["name"].get<std::string>(),
                   device["connected"].get<bool>() ? "yes" : "no", device["kind"].get<std::string>(),
                   type.is_null() ? "-" : type.dump(), device["ports"].is_null() ? "-" : device["ports"].dump(),
                   percent.is_null() ? "-" : percent.dump() + "%"});
    }
    table.print(std::cout);
    for (const auto& device : devices) {
        if (device["cutOffRecording"].get<bool>()) {
            noteCutOffRecording(client, device["index"].get<uint32_t>());
        }
    }
}

Json portJson(client::Client& client, uint32_t device, uint8_t port) {
    const PortConfig config = client.getPortConfig(device, port);
    return {{"index", port},
            {"name", client.portName(device, port)},
            {"camera", client.pairedTo(device, port)},
            {"framesPerPacket", client.framesPerPacket(device, port)},
            {"width", config.width},
            {"height", config.height},
            {"pixelFormat", config.pixelFormat},
            {"tapGeometry", config.tapGeometry}};
}

void listPorts(Session& session, uint32_t device) {
    session.requireDevice(device);
    client::Client& client = session.client();
    Json ports = Json::array();
    const uint8_t count = client.portCount(device);
    attempt("cannot read the ports of device " + std::to_string(device), [&] {
        for (uint8_t port = 0; port < count; ++port) {
            ports.push_back(portJson(client, device, port));
        }
    });
    if (session.json()) {
        session.emit({{"device", device}, {"ports", ports}});
        return;
    }
    if (ports.empty()) {
        std::cout << "Device " << device << " has no ports at the moment (is it connected?).\n";
        return;
    }
    Table table({"PORT", "NAME", "CAMERA", "FRAMES/PACKET", "SIZE", "PIXEL FORMAT", "TAP GEOMETRY"});
    for (const auto& port : ports) {
        const std::string camera = port["camera"].get<std::string>();
        table.add({port["index"].dump(), port["name"].get<std::string>(), camera.empty() ? "(unpaired)" : camera,
                   port["framesPerPacket"].dump(), port["width"].dump() + "x" + port["height"].dump(),
                   port["pixelFormat"].dump(), port["tapGeometry"].dump()});
    }
    table.print(std::cout);
}

// Prepares the drives for recording, which erases every recording on them.
void setup(Session& session, uint32_t device, bool assumeYes) {
    session.requireDevice(device);
    client::Client& client = session.client();
    const auto recordings = optionalValue([&] { return client.listFiles(device).size(); }).value_or(0);
    const std::string question = "Prepare the drives of device " + std::to_string(device) + " (" +
                                 client.deviceName(device) + ")? This erases its " + std::to_string(recordings) +
                                 (recordings == 1 ? " recording." : " recordings.");
    if (!confirm(question, assumeYes)) {
        throw Failure(exitcode::Failed, "nothing changed");
    }
    attempt("cannot prepare the drives of device " + std::to_string(device), [&] { client.setup(device); });
    if (session.json()) {
        session.emit({{"device", device}, {"erasedRecordings", recordings}});
    } else {
        std::cout << "Prepared the drives of device " << device << " for recording.\n";
    }
}

}  // namespace

CLI::Option* addDeviceArgument(CLI::App& command, uint32_t& device) {
    return command.add_option("DEV", device, "Device index, as 'tavuctl devices' lists it")
        ->required()
        ->check(wholeNumber(0, UINT32_MAX));
}

CLI::Option* addPortArgument(CLI::App& command, unsigned& port) {
    return command.add_option("PORT", port, "Port index, as 'tavuctl ports DEV' lists it")
        ->required()
        ->check(wholeNumber(0, 255));
}

void addDeviceCommands(CLI::App& app, Session& session) {
    auto* devices = app.add_subcommand("devices", "List the recorders the service knows");
    devices->callback([&session] { listDevices(session); });

    auto* ports = app.add_subcommand("ports", "List the ports of a device: camera, packet size, frame size");
    auto device = std::make_shared<uint32_t>();
    addDeviceArgument(*ports, *device);
    ports->callback([&session, device] { listPorts(session, *device); });

    auto* prepare = app.add_subcommand("setup", "Prepare a recorder's drives for recording; erases all its recordings");
    auto setupDevice = std::make_shared<uint32_t>();
    auto yes = std::make_shared<bool>(false);
    addDeviceArgument(*prepare, *setupDevice);
    prepare->add_flag("-y,--yes", *yes, "Don't ask; needed when there is no terminal to ask on");
    prepare->callback([&session, setupDevice, yes] { setup(session, *setupDevice, *yes); });
}

}  // namespace tavu::tavuctl
