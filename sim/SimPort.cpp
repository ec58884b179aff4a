#include "sim/SimPort.h"

#include "hardware/library/Buffer.h"
#include "sim/Errors.h"
#include "sim/SimDataDescriptor.h"

#include <algorithm>

namespace sim {
namespace {

Common::Buffer& checkedBuffer(const boost::shared_ptr<Common::Buffer>& buffer) {
    if (!buffer) {
        fail("A buffer is needed.");
    }
    return *buffer;
}

}  // namespace

Quillon::String SimPort::name() { return description().name.c_str(); }

bool SimPort::isCameraDetected() { return description().cameraDetected; }

void SimPort::setDataDescriptor(const boost::shared_ptr<Quillon::DataDescriptor>& descriptor) {
    const auto* own = dynamic_cast<const SimDataDescriptor*>(descriptor.get());
    if (own == nullptr) {
        fail("A data descriptor must come from this library's factory.");
    }
    auto session = recorder_->session();
    session.portDescription(index_);
    session.hardware().port(index_).descriptor = std::make_shared<const SimDataDescriptor>(*own);
    session.publishState();
}

void SimPort::startGrab(const Quillon::GrabOptions&, uint32_t) {
    auto session = recorder_->session();
    session.portDescription(index_);
    session.hardware().port(index_).grabbing = true;
    session.publishState();
}

void SimPort::stopGrab() {
    auto session = recorder_->session();
    session.portDescription(index_);
    session.hardware().port(index_).grabbing = false;
    session.publishState();
}

bool SimPort::isGrabbing() {
    auto session = recorder_->session();
    session.portDescription(index_);
    return session.hardware().port(index_).grabbing;
}

void SimPort::grab(boost::shared_ptr<Common::Frame>&, uint32_t, bool, bool, bool, bool, bool) {
    notSimulatedYet("Port::grab");
}

void SimPort::interruptGrab() { notSimulatedYet("Port::interruptGrab"); }

bool SimPort::hasSerial() { return description().hasSerial; }

boost::shared_ptr<Quillon::SerialPort> SimPort::serial() { notSimulatedYet("Port::serial"); }

double SimPort::measuredFrameRate() {
    auto session = recorder_->session();
    const PortDescription& port = session.portDescription(index_);
    if (!port.cameraDetected) {
        return 0.0;
    }
    if (port.cameraAsleep && !session.hardware().port(index_).memory.acquisitionStarted()) {
        return 0.0;
    }
    return port.measuredFrameRate;
}

uint32_t SimPort::linkMode() { return description().linkMode; }

void SimPort::writeMemory(const boost::shared_ptr<Common::Buffer>& buffer, uint32_t address, uint32_t) {
    Common::Buffer& source = checkedBuffer(buffer);
    auto session = recorder_->session();
    cameraMemory(session).write(address, source.data(), source.size());
    session.publishState();
}

void SimPort::readMemory(const boost::shared_ptr<Common::Buffer>& buffer, uint32_t address, uint32_t) {
    Common::Buffer& target = checkedBuffer(buffer);
    auto session = recorder_->session();
    const std::vector<uint8_t> bytes = cameraMemory(session).read(address, target.size());
    std::copy(bytes.begin(), bytes.end(), target.data());
}

bool SimPort::hasBitDepthSetting() { return description().hasBitDepthSetting; }

void SimPort::setBitDepth(uint32_t bitDepth) {
    auto session = recorder_->session();
    if (!session.portDescription(index_).hasBitDepthSetting) {
        fail("Port " + session.portDescription(index_).name + " has no bit depth setting.");
    }
    session.hardware().port(index_).bitDepth = bitDepth;
    session.publishState();
}

bool SimPort::hasPackingSetting() { return description().hasPackingSetting; }

void SimPort::setPacking(uint32_t packing) {
    auto session = recorder_->session();
    if (!session.portDescription(index_).hasPackingSetting) {
        fail("Port " + session.portDescription(index_).name + " has no packing setting.");
    }
    session.hardware().port(index_).packing = packing;
    session.publishState();
}

PortDescription SimPort::description() { return recorder_->session().portDescription(index_); }

CameraMemory& SimPort::cameraMemory(Recorder::Session& session) {
    const PortDescription& port = session.portDescription(index_);
    if (!port.cameraDetected) {
        fail("There is no camera on port " + port.name + ".");
    }
    return session.hardware().port(index_).memory;
}

}  // namespace sim
