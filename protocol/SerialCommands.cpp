#include <algorithm>
#include <vector>

#include "protocol/Commands.h"
#include "registry/DeviceManager.h"

// Traffic to a camera passes through uninterpreted: blobs in, blobs out.
//
// The size that a read asks for comes off the wire: the buffer is made only once the device is
// known, so that a request for gigabytes from a device that doesn't exist costs nothing.
namespace tavu::commands {

void serialOpen(CommandContext& context) {
    const uint32_t device = context.deviceId();
    const uint8_t port = context.port();
    const uint32_t baudRate = context.u32("baudRate");
    const uint8_t parity = context.u8("parity");
    const uint8_t stopBits = context.u8("stopBits");
    context.manager.deviceAt(device).serialOpen(port, baudRate, parity, stopBits);
    context.reply();
}

void serialGetBaudRate(CommandContext& context) {
    const uint32_t device = context.deviceId();
    const uint8_t port = context.port();
    context.reply("baudRate", context.manager.deviceAt(device).serialGetBaudRate(port));
}

void serialSetBaudRate(CommandContext& context) {
    const uint32_t device = context.deviceId();
    const uint8_t port = context.port();
    const uint32_t baudRate = context.u32("baudRate");
    context.manager.deviceAt(device).serialSetBaudRate(port, baudRate);
    context.reply();
}

// The reply carries only what the device delivered, which may be less than asked for.
void serialRead(CommandContext& context) {
    const uint32_t device = context.deviceId();
    const uint8_t port = context.port();
    const uint32_t size = context.u32("size");
    ITavuDevice& target = context.manager.deviceAt(device);
    std::vector<uint8_t> buffer(size);
    const uint32_t delivered = target.serialRead(port, buffer);
    // A device that claims more than the buffer holds must not make the reply read past it.
    context.reply("data", BlobView{buffer.data(), std::min(delivered, size)});
}

void serialWrite(CommandContext& context) {
    const uint32_t device = context.deviceId();
    const uint8_t port = context.port();
    const BlobView data = context.blob("data");
    context.reply("size", context.manager.deviceAt(device).serialWrite(port, data));
}

void serialClear(CommandContext& context) {
    const uint32_t device = context.deviceId();
    const uint8_t port = context.port();
    context.manager.deviceAt(device).serialClear(port);
    context.reply();
}

void serialClose(CommandContext& context) {
    const uint32_t device = context.deviceId();
    const uint8_t port = context.port();
    context.manager.deviceAt(device).serialClose(port);
    context.reply();
}

// The device fills the whole buffer or raises, so the reply always has the size asked for.
void registerRead(CommandContext& context) {
    const uint32_t device = context.deviceId();
    const uint8_t port = context.port();
    const uint32_t addr = context.u32("addr");
    const uint32_t size = context.u32("size");
    ITavuDevice& target = context.manager.deviceAt(device);
    std::vector<uint8_t> buffer(size);
    target.registerRead(port, addr, buffer);
    context.reply("data", buffer);
}

void registerWrite(CommandContext& context) {
    const uint32_t device = context.deviceId();
    const uint8_t port = context.port();
    const uint32_t addr = context.u32("addr");
    const BlobView data = context.blob("data");
    context.manager.deviceAt(device).registerWrite(port, addr, data);
    context.reply();
}

}  // namespace tavu::commands
