#include <string>
#include <vector>

#include "protocol/Commands.h"
#include "registry/DeviceManager.h"

namespace tavu::commands {

namespace {

// What pairPort and repairPort both take. The identity is a copy of our own; the info block
// stays in the request, and any limit on its size is the device's.
struct Pairing {
    uint32_t device;
    uint8_t port;
    std::string identity;
    BlobView info;
    uint16_t numFramesPerPacket;
};

Pairing pairingParams(const CommandContext& context) {
    // A braced list is evaluated left to right: the parameters are read in order.
    return Pairing{context.deviceId(), context.port(), context.text("identity"), context.blob("info"),
                   context.u16("numFramesPerPacket")};
}

}  // namespace

void setup(CommandContext& context) {
    const uint32_t device = context.deviceId();
    context.manager.deviceAt(device).setup();
    context.reply();
}

void pairPort(CommandContext& context) {
    const Pairing pairing = pairingParams(context);
    context.manager.deviceAt(pairing.device).pairPort(pairing.port, pairing.identity, pairing.info,
                                                      pairing.numFramesPerPacket);
    context.manager.broadcast(DeviceEvent{DeviceEvent::PairingChanged, pairing.device, pairing.port});
    context.reply();
}

void pairedTo(CommandContext& context) {
    const uint32_t device = context.deviceId();
    const uint8_t port = context.port();
    context.reply("pairedTo", context.manager.deviceAt(device).pairedTo(port));
}

void repairPort(CommandContext& context) {
    const Pairing pairing = pairingParams(context);
    // Unlike its neighbours, a repair changes no pairing that other clients show, and posts nothing.
    context.manager.deviceAt(pairing.device).repairPort(pairing.port, pairing.identity, pairing.info,
                                                        pairing.numFramesPerPacket);
    context.reply();
}

void unpairPort(CommandContext& context) {
    const uint32_t device = context.deviceId();
    const uint8_t port = context.port();
    context.manager.deviceAt(device).unpairPort(port);
    context.manager.broadcast(DeviceEvent{DeviceEvent::PairingChanged, device, port});
    context.reply();
}

void portIdentity(CommandContext& context) {
    const uint32_t device = context.deviceId();
    const uint8_t port = context.port();
    context.reply("data", context.manager.deviceAt(device).portIdentity(port));
}

void framesPerPacket(CommandContext& context) {
    const uint32_t device = context.deviceId();
    const uint8_t port = context.port();
    context.reply("numFramesPerPacket", context.manager.deviceAt(device).framesPerPacket(port));
}

void getPortConfig(CommandContext& context) {
    const uint32_t device = context.deviceId();
    const uint8_t port = context.port();
    const PortConfig config = context.manager.deviceAt(device).getPortConfig(port);
    context.reply("width", config.width, "height", config.height, "pixelFormat", config.pixelFormat, "tapGeometry",
                  config.tapGeometry);
}

void setPortConfig(CommandContext& context) {
    const uint32_t device = context.deviceId();
    const uint8_t port = context.port();
    PortConfig config;
    config.width = context.u16("width");
    config.height = context.u16("height");
    config.pixelFormat = context.u32("pixelFormat");
    config.tapGeometry = context.u32("tapGeometry");
    context.manager.deviceAt(device).setPortConfig(port, config);
    context.reply();
}

}  // namespace tavu::commands
