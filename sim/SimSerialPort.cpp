#include "sim/SimSerialPort.h"

#include "library/Buffer.h"
#include "sim/Errors.h"

namespace sim {
namespace {

std::shared_ptr<SerialChannel> channelOf(Recorder::Session& session, uint32_t portIndex) {
    const PortDescription& port = session.portDescription(portIndex);
    if (!port.hasSerial) {
        fail("Port " + port.name + " has no serial channel.");
    }
    if (!port.cameraDetected) {
        fail("There is no camera on port " + port.name + ".");
    }
    return session.hardware().port(portIndex).serial;
}

}  // namespace

std::shared_ptr<SerialChannel> SimSerialPort::channel(Recorder& recorder, uint32_t portIndex, const char* operation) {
    auto session = recorder.session(operation, portIndex);
    return channelOf(session, portIndex);
}

void SimSerialPort::send(const boost::shared_ptr<Common::Buffer>& buffer) {
    Common::Buffer& source = checkedBuffer(buffer);
    channel("SerialPort::send")->send(source.data(), source.size());
}

void SimSerialPort::clear(uint32_t) { channel("SerialPort::clear")->clear(); }

bool SimSerialPort::receive(const boost::shared_ptr<Common::Buffer>& buffer, uint32_t timeout,
                            const Quillon::String&) {
    Common::Buffer& target = checkedBuffer(buffer);
    return channel("SerialPort::receive")->receive(target.data(), target.size(), std::chrono::milliseconds(timeout));
}

void SimSerialPort::setEnabled(bool enabled) {
    change("SerialPort::setEnabled", [&](SerialChannel& serial) { serial.setEnabled(enabled); });
}

bool SimSerialPort::isEnabled() { return channel("SerialPort::isEnabled")->isEnabled(); }

void SimSerialPort::setBaudRate(uint32_t baudRate) {
    change("SerialPort::setBaudRate", [&](SerialChannel& serial) { serial.setBaudRate(baudRate); });
}

uint32_t SimSerialPort::baudRate() { return channel("SerialPort::baudRate")->baudRate(); }

void SimSerialPort::setStopBits(uint8_t stopBits) {
    change("SerialPort::setStopBits", [&](SerialChannel& serial) { serial.setStopBits(stopBits); });
}

void SimSerialPort::setParity(uint8_t parity) {
    change("SerialPort::setParity", [&](SerialChannel& serial) { serial.setParity(parity); });
}

void SimSerialPort::setWatermark(uint32_t watermark) {
    change("SerialPort::setWatermark", [&](SerialChannel& serial) { serial.setWatermark(watermark); });
}

uint32_t SimSerialPort::watermarkLimit() {
    channel("SerialPort::watermarkLimit");
    return SerialChannel::WatermarkLimit;
}

std::shared_ptr<SerialChannel> SimSerialPort::channel(const char* operation) const {
    return channel(*recorder_, portIndex_, operation);
}

template <typename Change>
void SimSerialPort::change(const char* operation, Change&& change) {
    auto session = recorder_->session(operation, portIndex_);
    change(*channelOf(session, portIndex_));
    session.publishState();
}

}  // namespace sim
