// Event queues, device enquiries, notification and the global lock.
#include "client/CallSupport.h"
#include "client/Client.h"

namespace tavu::client {

using detail::forDevice;
using detail::forPort;
using detail::Params;
using detail::Reply;

namespace {

DeviceEvent eventOf(const Reply& reply, const ObjectValue& event) {
    const Reply fields = reply.nested(event);
    return DeviceEvent{static_cast<uint32_t>(fields.number("type", UINT32_MAX)),
                       static_cast<uint32_t>(fields.number("device", UINT32_MAX)),
                       static_cast<uint32_t>(fields.number("port", UINT32_MAX))};
}

Params forQueue(uint32_t queueId) {
    Params params;
    params.number("queueId", queueId);
    return params;
}

}  // namespace

Client::Client(const ConnectOptions& options) : connection_(options) {}

uint32_t Client::createEventQueue() {
    const ObjectValue result = connection_.call(Command::CreateEventQueue);
    return static_cast<uint32_t>(Reply(Command::CreateEventQueue, result).number("queueId", UINT32_MAX));
}

void Client::destroyEventQueue(uint32_t queueId) {
    connection_.call(Command::DestroyEventQueue, forQueue(queueId).map());
}

DeviceEvent Client::readEvent(uint32_t queueId) {
    const ObjectValue result = connection_.call(Command::ReadEvent, forQueue(queueId).map());
    const Reply reply(Command::ReadEvent, result);
    return eventOf(reply, reply.value("event"));
}

std::optional<DeviceEvent> Client::tryReadEvent(uint32_t queueId) {
    const ObjectValue result = connection_.call(Command::TryReadEvent, forQueue(queueId).map());
    const Reply reply(Command::TryReadEvent, result);
    if (!reply.flag("ok")) {
        return std::nullopt;
    }
    return eventOf(reply, reply.value("event"));
}

uint32_t Client::deviceCount() {
    const ObjectValue result = connection_.call(Command::DeviceCount);
    return static_cast<uint32_t>(Reply(Command::DeviceCount, result).number("count", UINT32_MAX));
}

std::string Client::deviceName(uint32_t device) {
    const ObjectValue result = connection_.call(Command::DeviceName, forDevice(device).map());
    return Reply(Command::DeviceName, result).text("name");
}

bool Client::deviceConnected(uint32_t device) {
    const ObjectValue result = connection_.call(Command::DeviceConnected, forDevice(device).map());
    return Reply(Command::DeviceConnected, result).flag("connected");
}

bool Client::isCxp(uint32_t device) {
    const ObjectValue result = connection_.call(Command::IsCxp, forDevice(device).map());
    return Reply(Command::IsCxp, result).flag("isCxp");
}

uint8_t Client::portCount(uint32_t device) {
    const ObjectValue result = connection_.call(Command::PortCount, forDevice(device).map());
    return static_cast<uint8_t>(Reply(Command::PortCount, result).number("count", UINT8_MAX));
}

std::string Client::portName(uint32_t device, uint8_t port) {
    const ObjectValue result = connection_.call(Command::PortName, forPort(device, port).map());
    return Reply(Command::PortName, result).text("name");
}

uint8_t Client::percentUsed(uint32_t device) {
    const ObjectValue result = connection_.call(Command::PercentUsed, forDevice(device).map());
    return static_cast<uint8_t>(Reply(Command::PercentUsed, result).number("percent", UINT8_MAX));
}

uint8_t Client::hardwareType(uint32_t device) {
    const ObjectValue result = connection_.call(Command::HardwareType, forDevice(device).map());
    return static_cast<uint8_t>(Reply(Command::HardwareType, result).number("hardwareType", UINT8_MAX));
}

void Client::notifyFilesChanged(uint32_t device) {
    connection_.call(Command::NotifyFilesChanged, forDevice(device).map());
}

void Client::lockGlobal() { connection_.call(Command::LockGlobal); }

void Client::unlockGlobal() { connection_.call(Command::UnlockGlobal); }

}  // namespace tavu::client
