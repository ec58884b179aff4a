#include "sim/SimDevice.h"

#include "sim/SimPort.h"
#include "sim/SimRecord.h"
#include "sim/SimStorage.h"
#include "sim/SimTrigger.h"

#include <boost/make_shared.hpp>

namespace sim {

uint32_t SimDevice::kind() { return recorder_->description().kind; }

Quillon::String SimDevice::name() { return recorder_->name().c_str(); }

Quillon::String SimDevice::altName() { return recorder_->description().altName.c_str(); }

uint32_t SimDevice::connectionState() { return recorder_->connected() ? 0 : 1; }

// The model of a recorder is known also while it is unplugged, as its names are.
boost::shared_ptr<Quillon::HardwareInfo> SimDevice::hardwareInfo(uint32_t) {
    return boost::make_shared<Quillon::HardwareInfo>(Quillon::HardwareInfo{recorder_->description().deviceType});
}

boost::shared_ptr<Quillon::Storage> SimDevice::storage(uint32_t) {
    recorder_->requireConnected("Device::storage");
    return boost::make_shared<SimStorage>(recorder_);
}

uint32_t SimDevice::portCount() {
    return static_cast<uint32_t>(recorder_->session("Device::portCount").description().ports.size());
}

boost::shared_ptr<Quillon::Port> SimDevice::port(uint32_t index) {
    recorder_->session("Device::port").portDescription(index);
    return boost::make_shared<SimPort>(recorder_, index);
}

boost::shared_ptr<Quillon::TriggerBank> SimDevice::triggerBank() {
    recorder_->requireConnected("Device::triggerBank");
    return boost::make_shared<SimTriggerBank>(recorder_);
}

boost::shared_ptr<Quillon::Record> SimDevice::record() {
    recorder_->requireConnected("Device::record");
    return boost::make_shared<SimRecord>(recorder_);
}

}  // namespace sim
