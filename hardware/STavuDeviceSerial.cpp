// Serial and register traffic with the camera on a port. Transfers hold the port's own lock and
// give up the device mutex, so that a slow camera holds up only its port.
#include "hardware/STavuDevice.h"

#include "library/Buffer.h"
#include "library/Port.h"
#include "library/SerialPort.h"

#include <boost/make_shared.hpp>

#include <algorithm>
#include <stdexcept>

namespace tavu {

namespace {

// receive's time limit, in the library's units.
constexpr uint32_t kReceiveTimeout = 100;
// The channel's watermark is this fraction of its limit.
constexpr uint32_t kWatermarkDivisor = 16;

// Takes the port's lock and only then gives up the device mutex.
std::unique_lock<std::mutex> handOver(std::unique_lock<std::mutex>& deviceLock, PortState& port) {
    std::unique_lock portLock(port.portLock);
    deviceLock.unlock();
    return portLock;
}

boost::shared_ptr<Quillon::SerialPort> openChannel(const PortState& port) {
    if (!port.serialPort) {
        throw std::runtime_error("Serial port not open.");
    }
    return port.serialPort;
}

void requireEnabled(Quillon::SerialPort& serial) {
    if (!serial.isEnabled()) {
        throw std::runtime_error("Serial port not enabled.");
    }
}

boost::shared_ptr<Common::Buffer> transferBuffer(uint32_t size) { return boost::make_shared<Common::Buffer>(size); }

}  // namespace

void STavuDevice::serialOpen(uint8_t port, uint32_t baudRate, uint8_t parity, uint8_t stopBits) {
    std::lock_guard guard(lock_);
    PortState& state = portAt(port);
    if (state.serialPort) {
        throw std::runtime_error("Serial port already open.");
    }
    boost::shared_ptr<Quillon::Port> libraryPort = libraryDevice()->port(port);
    if (!libraryPort->hasSerial()) {
        throw std::runtime_error("serial not supported on this device");
    }
    if (!libraryPort->isCameraDetected()) {
        throw std::runtime_error("camera not detected");
    }
    state.serialPort = libraryPort->serial();
    if (!state.serialPort) {
        throw std::runtime_error("failed to get serial port from camera port.");
    }
    // From here on the port counts as open, also when the library fails: the client closes it.
    Quillon::SerialPort& serial = *state.serialPort;
    serial.setBaudRate(baudRate);
    serial.setParity(parity);
    serial.setStopBits(stopBits);
    serial.setWatermark(serial.watermarkLimit() / kWatermarkDivisor);
    serial.setEnabled(true);
}

uint32_t STavuDevice::serialGetBaudRate(uint8_t port) {
    std::unique_lock deviceLock(lock_);
    PortState& state = portAt(port);
    boost::shared_ptr<Quillon::SerialPort> serial = openChannel(state);
    std::unique_lock portLock = handOver(deviceLock, state);
    return serial->baudRate();
}

void STavuDevice::serialSetBaudRate(uint8_t port, uint32_t baudRate) {
    std::unique_lock deviceLock(lock_);
    PortState& state = portAt(port);
    boost::shared_ptr<Quillon::SerialPort> serial = openChannel(state);
    std::unique_lock portLock = handOver(deviceLock, state);
    // Left enabled whatever it was before.
    serial->setEnabled(false);
    serial->setBaudRate(baudRate);
    serial->setEnabled(true);
}

uint32_t STavuDevice::serialRead(uint8_t port, std::span<uint8_t> buffer) {
    const auto size = static_cast<uint32_t>(buffer.size());
    std::unique_lock deviceLock(lock_);
    PortState& state = portAt(port);
    boost::shared_ptr<Quillon::SerialPort> serial = openChannel(state);
    std::unique_lock portLock = handOver(deviceLock, state);
    requireEnabled(*serial);
    boost::shared_ptr<Common::Buffer> received = transferBuffer(size);
    // All or nothing: the full size arrives, or the read fails.
    if (!serial->receive(received, kReceiveTimeout, Quillon::String())) {
        throw std::runtime_error("Serial port recieve failed.");
    }
    std::copy_n(received->data(), size, buffer.data());
    return size;
}

uint32_t STavuDevice::serialWrite(uint8_t port, std::span<const uint8_t> data) {
    const auto size = static_cast<uint32_t>(data.size());
    std::unique_lock deviceLock(lock_);
    PortState& state = portAt(port);
    boost::shared_ptr<Quillon::SerialPort> serial = openChannel(state);
    std::unique_lock portLock = handOver(deviceLock, state);
    requireEnabled(*serial);
    boost::shared_ptr<Common::Buffer> sent = transferBuffer(size);
    std::copy_n(data.data(), size, sent->data());
    // send reports nothing, so the whole size counts as sent.
    serial->send(sent);
    return size;
}

void STavuDevice::serialClear(uint8_t port) {
    std::unique_lock deviceLock(lock_);
    PortState& state = portAt(port);
    boost::shared_ptr<Quillon::SerialPort> serial = openChannel(state);
    std::unique_lock portLock = handOver(deviceLock, state);
    requireEnabled(*serial);
    serial->clear(0);
}

void STavuDevice::serialClose(uint8_t port) {
    std::lock_guard guard(lock_);
    PortState& state = portAt(port);
    openChannel(state);
    // Waits for a transfer under way. The channel is not disabled: dropping it is all.
    std::lock_guard portGuard(state.portLock);
    state.serialPort.reset();
}

void STavuDevice::registerRead(uint8_t port, uint32_t addr, std::span<uint8_t> buffer) {
    const auto size = static_cast<uint32_t>(buffer.size());
    std::unique_lock deviceLock(lock_);
    PortState& state = portAt(port);
    boost::shared_ptr<Quillon::Port> libraryPort = libraryDevice()->port(port);
    std::unique_lock portLock = handOver(deviceLock, state);
    boost::shared_ptr<Common::Buffer> memory = transferBuffer(size);
    // Bytes in camera memory order: the client orders them.
    libraryPort->readMemory(memory, addr, 0);
    std::copy_n(memory->data(), size, buffer.data());
}

void STavuDevice::registerWrite(uint8_t port, uint32_t addr, std::span<const uint8_t> data) {
    const auto size = static_cast<uint32_t>(data.size());
    std::unique_lock deviceLock(lock_);
    PortState& state = portAt(port);
    boost::shared_ptr<Quillon::Port> libraryPort = libraryDevice()->port(port);
    std::unique_lock portLock = handOver(deviceLock, state);
    boost::shared_ptr<Common::Buffer> memory = transferBuffer(size);
    std::copy_n(data.data(), size, memory->data());
    libraryPort->writeMemory(memory, addr, 0);
}

}  // namespace tavu
