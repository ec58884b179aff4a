#include "protocol/ClientHoldings.h"
#include "protocol/Commands.h"
#include "registry/DeviceManager.h"

namespace tavu::commands {

void deviceCount(CommandContext& context) { context.reply("count", context.manager.deviceCount()); }

void deviceName(CommandContext& context) {
    const uint32_t device = context.deviceId();
    context.reply("name", context.manager.deviceAt(device).name());
}

void deviceConnected(CommandContext& context) {
    const uint32_t device = context.deviceId();
    context.reply("connected", context.manager.deviceAt(device).isConnected());
}

void isCxp(CommandContext& context) {
    const uint32_t device = context.deviceId();
    context.reply("isCxp", context.manager.deviceAt(device).isCxp());
}

void portCount(CommandContext& context) {
    const uint32_t device = context.deviceId();
    context.reply("count", context.manager.deviceAt(device).portCount());
}

void portName(CommandContext& context) {
    const uint32_t device = context.deviceId();
    const uint8_t port = context.port();
    context.reply("name", context.manager.deviceAt(device).portName(port));
}

void percentUsed(CommandContext& context) {
    const uint32_t device = context.deviceId();
    context.reply("percent", context.manager.deviceAt(device).percentUsed());
}

void hardwareType(CommandContext& context) {
    const uint32_t device = context.deviceId();
    context.reply("hardwareType", context.manager.deviceAt(device).hardwareType());
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
