// pair, unpair, config
#include <fstream>
#include <iostream>
#include <iterator>

#include "tools/tavuctl/Commands.h"
#include "tools/tavuctl/Failure.h"
#include "tools/tavuctl/Format.h"
#include "tools/tavuctl/Parsing.h"

namespace tavu::tavuctl {

namespace {

struct PairOptions {
    uint32_t device = 0;
    unsigned port = 0;
    std::string camera;
    std::string infoFile;
    uint16_t framesPerPacket = 1;
};

std::vector<uint8_t> readWholeFile(const std::string& path) {
    std::ifstream in(path, std::ios::binary);
    if (!in) {
        throw Failure(exitcode::Failed, "cannot read the camera information file " + path);
    }
    return {std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
}

void pair(Session& session, const PairOptions& options) {
    session.requirePort(options.device, options.port);
    const auto port = static_cast<uint8_t>(options.port);
    const std::vector<uint8_t> info = options.infoFile.empty() ? std::vector<uint8_t>{} : readWholeFile(options.infoFile);
    client::Client& client = session.client();
    const std::string label = session.portLabel(options.device, port);
    const std::string previous = client.pairedTo(options.device, port);
    attempt("cannot pair camera " + quoted(options.camera) + " with " + label,
            [&] { client.pairPort(options.device, port, options.camera, info, options.framesPerPacket); });
    if (session.json()) {
        session.emit({{"device", options.device},
                      {"port", port},
                      {"camera", options.camera},
                      {"previousCamera", previous},
                      {"framesPerPacket", options.framesPerPacket},
                      {"infoBytes", info.size()}});
        return;
    }
    std::cout << "Paired camera " << quoted(options.camera) << " with " << label << " ("
              << options.framesPerPacket << (options.framesPerPacket == 1 ? " frame" : " frames") << " per packet, "
              << info.size() << " bytes of camera information)";
    if (!previous.empty() && previous != options.camera) {
        std::cout << "; it was paired with " << quoted(previous);
    }
    std::cout << ".\n";
}

void unpair(Session& session, uint32_t device, unsigned portIndex) {
    session.requirePort(device, portIndex);
    const auto port = static_cast<uint8_t>(portIndex);
    client::Client& client = session.client();
    const std::string label = session.portLabel(device, port);
    const std::string previous = client.pairedTo(device, port);
    attempt("cannot unpair " + label, [&] { client.unpairPort(device, port); });
    if (session.json()) {
        session.emit({{"device", device}, {"port", port}, {"previousCamera", previous}});
    } else if (previous.empty()) {
        std::cout << label << " was not paired; it still isn't.\n";
    } else {
        std::cout << "Unpaired camera " << quoted(previous) << " from " << label << ".\n";
    }
}

struct ConfigOptions {
    uint32_t device = 0;
    unsigned port = 0;
    std::optional<uint16_t> width;
    std::optional<uint16_t> height;
    std::optional<uint32_t> pixelFormat;
    std::optional<uint32_t> tapGeometry;
};

void showConfig(Session& session, uint32_t device, uint8_t port, const PortConfig& config, bool changed) {
    if (session.json()) {
        session.emit({{"device", device},
                      {"port", port},
                      {"width", config.width},
                      {"height", config.height},
                      {"pixelFormat", config.pixelFormat},
                      {"tapGeometry", config.tapGeometry}});
        return;
    }
    std::string label = session.portLabel(device, port);
    if (changed) {
        label = "Configured " + label;
    } else {
        label[0] = 'P';
    }
    std::cout << label << ": " << config.width << " x " << config.height << " pixels, pixel format "
              << config.pixelFormat << ", tap geometry " << config.tapGeometry << ".\n";
}

void config(Session& session, const ConfigOptions& options) {
    session.requirePort(options.device, options.port);
    const auto port = static_cast<uint8_t>(options.port);
    client::Client& client = session.client();
    PortConfig config = client.getPortConfig(options.device, port);
    if (!options.width) {
        showConfig(session, options.device, port, config, false);
        return;
    }
    // Values not given stay as they are.
    config.width = *options.width;
    config.height = *options.height;
    config.pixelFormat = options.pixelFormat.value_or(config.pixelFormat);
    config.tapGeometry = options.tapGeometry.value_or(config.tapGeometry);
    attempt("cannot configure " + session.portLabel(options.device, port),
            [&] { client.setPortConfig(options.device, port, config); });
    showConfig(session, options.device, port, client.getPortConfig(options.device, port), true);
}

void addPair(CLI::App& app, Session& session) {
    auto options = std::make_shared<PairOptions>();
    auto* command = app.add_subcommand("pair", "Pair a camera with a port; replaces any earlier pairing");
    addDeviceArgument(*command, options->device);
    addPortArgument(*command, options->port);
    command->add_option("CAMERA", options->camera, "The camera's name, kept by the recorder")->required();
    command->add_option("--info", options->infoFile,
                        "File whose bytes are stored with the pairing as the camera's information block")
        ->check(CLI::ExistingFile);
    command->add_option("--frames-per-packet", options->framesPerPacket, "Frames per packet of the camera")
        ->check(wholeNumber(0, 65535))
        ->capture_default_str();
    command->callback([&session, options] { pair(session, *options); });
}

void addUnpair(CLI::App& app, Session& session) {
    auto device = std::make_shared<uint32_t>();
    auto port = std::make_shared<unsigned>();
    auto* command = app.add_subcommand("unpair", "Forget the camera of a port; its frame size stays");
    addDeviceArgument(*command, *device);
    addPortArgument(*command, *port);
    command->callback([&session, device, port] { unpair(session, *device, *port); });
}

void addConfig(CLI::App& app, Session& session) {
    auto options = std::make_shared<ConfigOptions>();
    auto* command = app.add_subcommand(
        "config", "Show a port's frame configuration, or set it when WIDTH and HEIGHT are given");
    addDeviceArgument(*command, options->device);
    addPortArgument(*command, options->port);
    auto* width = command->add_option("WIDTH", options->width, "Frame width in pixels")->check(wholeNumber(1, 65535));
    auto* height =
        command->add_option("HEIGHT", options->height, "Frame height in pixels")->check(wholeNumber(1, 65535));
    width->needs(height);
    height->needs(width);
    command->add_option("--pixel-format", options->pixelFormat, "Pixel format number, as the recorder knows it")
        ->check(wholeNumber(0, UINT32_MAX))
        ->needs(width);
    command->add_option("--tap-geometry", options->tapGeometry, "Tap geometry number, as the recorder knows it")
        ->check(wholeNumber(0, UINT32_MAX))
        ->needs(width);
    command->footer("Values not given keep their current setting.");
    command->callback([&session, options] { config(session, *options); });
}

}  // namespace

void addPortCommands(CLI::App& app, Session& session) {
    addPair(app, session);
    addUnpair(app, session);
    addConfig(app, session);
}

}  // namespace tavu::tavuctl
