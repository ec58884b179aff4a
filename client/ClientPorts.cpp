// Pairing and configuration of ports, and the serial and register passthrough.
#include "client/CallSupport.h"
#include "client/Client.h"

namespace tavu::client {

using detail::forDevice;
using detail::forPort;
using detail::Params;
using detail::Reply;

namespace {

Params pairing(uint32_t device, uint8_t port, const std::string& camera, std::span<const uint8_t> info,
               uint16_t framesPerPacket) {
    Params params = forPort(device, port);
    params.text("identity", camera).bytes("info", info).number("numFramesPerPacket", framesPerPacket);
    return params;
}

}  // namespace

void Client::setup(uint32_t device) { connection_.call(Command::Setup, forDevice(device).map()); }

void Client::pairPort(uint32_t device, uint8_t port, const std::string& camera, std::span<const uint8_t> info,
                      uint16_t framesPerPacket) {
    connection_.call(Command::PairPort, pairing(device, port, camera, info, framesPerPacket).map());
}

std::string Client::pairedTo(uint32_t device, uint8_t port) {
    const ObjectValue result = connection_.call(Command::PairedTo, forPort(device, port).map());
    return Reply(Command::PairedTo, result).text("pairedTo");
}

void Client::repairPort(uint32_t device, uint8_t port, const std::string& camera, std::span<const uint8_t> info,
                        uint16_t framesPerPacket) {
    connection_.call(Command::RepairPort, pairing(device, port, camera, info, framesPerPacket).map());
}

void Client::unpairPort(uint32_t device, uint8_t port) {
    connection_.call(Command::UnpairPort, forPort(device, port).map());
}

std::vector<uint8_t> Client::portIdentity(uint32_t device, uint8_t port) {
    const ObjectValue result = connection_.call(Command::PortIdentity, forPort(device, port).map());
    return Reply(Command::PortIdentity, result).bytes("data");
}

uint16_t Client::framesPerPacket(uint32_t device, uint8_t port) {
    const ObjectValue result = connection_.call(Command::FramesPerPacket, forPort(device, port).map());
    return static_cast<uint16_t>(Reply(Command::FramesPerPacket, result).number("numFramesPerPacket", UINT16_MAX));
}

PortConfig Client::getPortConfig(uint32_t device, uint8_t port) {
    const ObjectValue result = connection_.call(Command::GetPortConfig, forPort(device, port).map());
    const Reply reply(Command::GetPortConfig, result);
    return PortConfig{static_cast<uint16_t>(reply.number("width", UINT16_MAX)),
                      static_cast<uint16_t>(reply.number("height", UINT16_MAX)),
                      static_cast<uint32_t>(reply.number("pixelFormat", UINT32_MAX)),
                      static_cast<uint32_t>(reply.number("tapGeometry", UINT32_MAX))};
}

void Client::setPortConfig(uint32_t device, uint8_t port, const PortConfig& config) {
    Params params = forPort(device, port);
    params.number("width", config.width)
        .number("height", config.height)
        .number("pixelFormat", config.pixelFormat)
        .number("tapGeometry", config.tapGeometry);
    connection_.call(Command::SetPortConfig, params.map());
}

void Client::serialOpen(uint32_t device, uint8_t port, uint32_t baudRate, uint8_t parity, uint8_t stopBits) {
    Params params = forPort(device, port);
    params.number("baudRate", baudRate).number("parity", parity).number("stopBits", stopBits);
    connection_.call(Command::SerialOpen, params.map());
}

uint32_t Client::serialGetBaudRate(uint32_t device, uint8_t port) {
    const ObjectValue result = connection_.call(Command::SerialGetBaudRate, forPort(device, port).map());
    return static_cast<uint32_t>(Reply(Command::SerialGetBaudRate, result).number("baudRate", UINT32_MAX));
}

void Client::serialSetBaudRate(uint32_t device, uint8_t port, uint32_t baudRate) {
    Params params = forPort(device, port);
    params.number("baudRate", baudRate);
    connection_.call(Command::SerialSetBaudRate, params.map());
}

std::vector<uint8_t> Client::serialRead(uint32_t device, uint8_t port, uint32_t size) {
    Params params = forPort(device, port);
    params.number("size", size);
    const ObjectValue result = connection_.call(Command::SerialRead, params.map());
    return Reply(Command::SerialRead, result).bytes("data");
}

uint32_t Client::serialWrite(uint32_t device, uint8_t port, std::span<const uint8_t> data) {
    Params params = forPort(device, port);
    params.bytes("data", data);
    const ObjectValue result = connection_.call(Command::SerialWrite, params.map());
    return static_cast<uint32_t>(Reply(Command::SerialWrite, result).number("size", UINT32_MAX));
}

void Client::serialClear(uint32_t device, uint8_t port) {
    connection_.call(Command::SerialClear, forPort(device, port).map());
}

void Client::serialClose(uint32_t device, uint8_t port) {
    connection_.call(Command::SerialClose, forPort(device, port).map());
}

std::vector<uint8_t> Client::registerRead(uint32_t device, uint8_t port, uint32_t address, uint32_t size) {
    Params params = forPort(device, port);
    params.number("addr", address).number("size", size);
    const ObjectValue result = connection_.call(Command::RegisterRead, params.map());
    return Reply(Command::RegisterRead, result).bytes("data");
}

void Client::registerWrite(uint32_t device, uint8_t port, uint32_t address, std::span<const uint8_t> data) {
    Params params = forPort(device, port);
    params.number("addr", address).bytes("data", data);
    connection_.call(Command::RegisterWrite, params.map());
}

}  // namespace tavu::client
