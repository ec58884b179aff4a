#include <algorithm>
#include <stdexcept>
#include <string>

#include "protocol/ClientHoldings.h"
#include "protocol/Commands.h"
#include "registry/DeviceManager.h"

// A live view belongs to the connection that started it: it alone may stop it, and the
// clean-up at disconnect stops what is left. Frames are anyone's to take.
namespace tavu::commands {

void startLive(CommandContext& context) {
    const uint32_t device = context.deviceId();
    const uint8_t port = context.port();
    const std::string mapping = context.manager.deviceAt(device).startLive(port);
    context.holdings.livePorts.push_back({port, device});
    context.reply("mapping", mapping);
}

// The entry stays when the device fails, so that the clean-up at disconnect tries again.
void stopLive(CommandContext& context) {
    const uint32_t device = context.deviceId();
    const uint8_t port = context.port();
    const LivePortRef live{port, device};
    auto& livePorts = context.holdings.livePorts;
    if (std::find(livePorts.begin(), livePorts.end(), live) == livePorts.end()) {
        throw std::runtime_error("Live not started by this connection.");
    }
    context.manager.deviceAt(device).stopLive(port);
    std::erase(livePorts, live);
    context.reply();
}

void liveFrame(CommandContext& context) {
    const uint32_t device = context.deviceId();
    const uint8_t port = context.port();
    const FrameGeometry frame = context.manager.deviceAt(device).liveFrame(port);
    context.reply("width", frame.width, "height", frame.height, "imageSize", frame.imageSize);
}

}  // namespace tavu::commands
