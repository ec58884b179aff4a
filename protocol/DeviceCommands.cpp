#include "protocol/ClientHoldings.h"
#include "protocol/Commands.h"
#include "registry/DeviceManager.h"

namespace tavu::commands {

void deviceCount(CommandContext& context) { context.reply("count", context.manager.deviceCount()); }

void deviceName(CommandContext& context) {
    const uint32_t device = context.deviceId();
    context.reply("name", context.manager.name(device));
}

void deviceConnected(CommandContext& context) {
    const uint32_t device = context.deviceId();
    context.reply("connected", context.manager.isConnected(device));
}

void isCxp(CommandContext& context) {
    const uint32_t device = context.deviceId();
    context.reply("isCxp", context.manager.isCxp(device));
}

void portCount(CommandContext& context) {
    const uint32_t device = context.deviceId();
    context.reply("count", context.manager.portCount(device));
}

void portName(CommandContext& context) {
    const uint32_t device = context.deviceId();
    const uint8_t port = context.port();
    context.reply("name", context.manager.portName(device, port));
}

void percentUsed(CommandContext& context) {
    const uint32_t device = context.deviceId();
    context.reply("percent", context.manager.percentUsed(device));
}

void hardwareType(CommandContext& context) {
    const uint32_t device = context.deviceId();
    context.reply("hardwareType", context.manager.hardwareType(device));
}

// The flag records the hold so that a client that goes away gives the lock back. Neither
// command checks it: pairing the two is the client's business.
void lockGlobal(CommandContext& context) {
    context.manager.lockGlobal();
    context.holdings.holdsGlobalLock = true;
    context.reply();
}

void unlockGlobal(CommandContext& context) {
    context.manager.unlockGlobal();
    context.holdings.holdsGlobalLock = false;
    context.reply();
}

}  // namespace tavu::commands
