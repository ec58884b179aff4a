#include "sim/SimPort.h"

#include "library/Buffer.h"
#include "library/Frame.h"
#include "sim/Errors.h"
#include "sim/FramePattern.h"
#include "sim/SimDataDescriptor.h"
#include "sim/SimSerialPort.h"

#include <boost/make_shared.hpp>

#include <algorithm>

namespace sim {

Quillon::String SimPort::name() { return description("Port::name").name.c_str(); }

bool SimPort::isCameraDetected() { return description("Port::isCameraDetected").cameraDetected; }

void SimPort::setDataDescriptor(const boost::shared_ptr<Quillon::DataDescriptor>& descriptor) {
    const auto* own = dynamic_cast<const SimDataDescriptor*>(descriptor.get());
    if (own == nullptr) {
        fail("A data descriptor must come from this library's factory.");
    }
    auto session = recorder_->session("Port::setDataDescriptor", index_);
    session.portDescription(index_);
    session.hardware().port(index_).descriptor = std::make_shared<const SimDataDescriptor>(*own);
    session.publishState();
}

void SimPort::startGrab(const Quillon::GrabOptions&, uint32_t) {
    auto session = recorder_->session("Port::startGrab", index_);
    session.portDescription(index_);
    PortState& port = session.hardware().port(index_);
    port.grabbing = true;
    port.live->start();
    session.publishState();
}

void SimPort::stopGrab() {
    auto session = recorder_->session("Port::stopGrab", index_);
    session.portDescription(index_);
    PortState& port = session.hardware().port(index_);
    port.grabbing = false;
    port.live->interrupt();
    session.publishState();
}

bool SimPort::isGrabbing() {
    auto session = recorder_->session("Port::isGrabbing", index_);
    session.portDescription(index_);
    return session.hardware().port(index_).grabbing;
}

void SimPort::grab(boost::shared_ptr<Common::Frame>& frame, uint32_t timeout, bool, bool, bool, bool, bool) {
    frame.reset();
    std::shared_ptr<LiveCamera> camera;
    FrameSize size;
    uint32_t bitDepth = 16;
    double rate = 0.0;
    {
        auto session = recorder_->session("Port::grab", index_);
        const PortDescription& description = session.portDescription(index_);
        const PortState& port = session.hardware().port(index_);
        if (!port.grabbing) {
            return;
        }
        const std::optional<FrameSize> declared = port.descriptor ? port.descriptor->frameSize() : std::nullopt;
        if (!declared) {
            fail("Port " + description.name + " has no data descriptor with a frame size.");
        }
        camera = port.live;
        size = *declared;
        bitDepth = deliveredBitDepth(description, port);
        rate = session.frameRate(index_);
    }
    // The wait holds the camera's own lock only.
    const std::optional<uint64_t> number = camera->waitForFrame(std::chrono::milliseconds(timeout), rate);
    if (!number) {
        return;
    }
    auto buffer = boost::make_shared<Common::Buffer>(frameBytes(size.width, size.height, bitDepth));
    fillFrame(buffer->data(), index_, *number, size.width, size.height, bitDepth);
    frame = boost::make_shared<Common::Frame>(boost::make_shared<Common::DataType>(size.width, size.height, bitDepth),
                                              buffer);
}

void SimPort::interruptGrab() {
    std::shared_ptr<LiveCamera> camera;
    {
        auto session = recorder_->session("Port::interruptGrab", index_);
        session.portDescription(index_);
        camera = session.hardware().port(index_).live;
    }
    camera->interrupt();
}

bool SimPort::hasSerial() { return description("Port::hasSerial").hasSerial; }

boost::shared_ptr<Quillon::SerialPort> SimPort::serial() {
    SimSerialPort::channel(*recorder_, index_, "Port::serial");
    return boost::make_shared<SimSerialPort>(recorder_, index_);
}

double SimPort::measuredFrameRate() {
    auto session = recorder_->session("Port::measuredFrameRate", index_);
    session.portDescription(index_);
    return session.frameRate(index_);
}

uint32_t SimPort::linkMode() { return description("Port::linkMode").linkMode; }

void SimPort::writeMemory(const boost::shared_ptr<Common::Buffer>& buffer, uint32_t address, uint32_t) {
    Common::Buffer& source = checkedBuffer(buffer);
    auto session = recorder_->session("Port::writeMemory", index_);
    cameraMemory(session).write(address, source.data(), source.size());
    session.publishState();
}

void SimPort::readMemory(const boost::shared_ptr<Common::Buffer>& buffer, uint32_t address, uint32_t) {
    Common::Buffer& target = checkedBuffer(buffer);
    auto session = recorder_->session("Port::readMemory", index_);
    const std::vector<uint8_t> bytes = cameraMemory(session).read(address, target.size());
    std::copy(bytes.begin(), bytes.end(), target.data());
}

bool SimPort::hasBitDepthSetting() { return description("Port::hasBitDepthSetting").hasBitDepthSetting; }

void SimPort::setBitDepth(uint32_t bitDepth) {
    auto session = recorder_->session("Port::setBitDepth", index_);
    const PortDescription& port = session.portDescription(index_);
    if (!port.hasBitDepthSetting) {
        fail("Port " + port.name + " has no bit depth setting.");
    }
    if (bitDepth < 8 || bitDepth > 16) {
        fail("Port " + port.name + " delivers 8 to 16 bits per pixel, not " + std::to_string(bitDepth) + ".");
    }
    session.hardware().port(index_).bitDepth = bitDepth;
    session.publishState();
}

bool SimPort::hasPackingSetting() { return description("Port::hasPackingSetting").hasPackingSetting; }

void SimPort::setPacking(uint32_t packing) {
    auto session = recorder_->session("Port::setPacking", index_);
    if (!session.portDescription(index_).hasPackingSetting) {
        fail("Port " + session.portDescription(index_).name + " has no packing setting.");
    }
    session.hardware().port(index_).packing = packing;
    session.publishState();
}

PortDescription SimPort::description(const char* operation) {
    return recorder_->session(operation, index_).portDescription(index_);
}

CameraMemory& SimPort::cameraMemory(Recorder::Session& session) {
    const PortDescription& port = session.portDescription(index_);
    if (!port.cameraDetected) {
        fail("There is no camera on port " + port.name + ".");
    }
    return session.hardware().port(index_).memory;
}

}  // namespace sim
