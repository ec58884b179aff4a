#include "sim/SimRecord.h"

#include "sim/Errors.h"
#include "sim/OwnHandle.h"
#include "sim/SimDriveSet.h"
#include "sim/SimPort.h"

namespace sim {

uint32_t SimRecord::addPort(const boost::shared_ptr<Quillon::Port>&, uint64_t, uint32_t,
                            const boost::optional<uint64_t>&, const Quillon::String&) {
    notSimulatedYet("Record::addPort");
}

void SimRecord::start(uint32_t) { notSimulatedYet("Record::start"); }

uint32_t SimRecord::stopPort(const boost::shared_ptr<Quillon::Port>&, uint32_t) {
    notSimulatedYet("Record::stopPort");
}

boost::shared_ptr<Quillon::Record::Status> SimRecord::status(const boost::shared_ptr<Quillon::Port>&) {
    notSimulatedYet("Record::status");
}

void SimRecord::attachDriveSet(const boost::shared_ptr<Quillon::DriveSet>& driveSet,
                               const boost::shared_ptr<Quillon::Port>& port) {
    const uint32_t setId = ownHandle<SimDriveSet>(driveSet, *recorder_, "The drive set").id();
    const uint32_t portIndex = ownHandle<SimPort>(port, *recorder_, "The port").index();
    auto session = recorder_->session();
    session.portDescription(portIndex);
    session.storage().set(setId);
    session.hardware().port(portIndex).driveSet = setId;
    session.publishState();
}

void SimRecord::detachPort(const boost::shared_ptr<Quillon::Port>& port) {
    const uint32_t portIndex = ownHandle<SimPort>(port, *recorder_, "The port").index();
    auto session = recorder_->session();
    session.portDescription(portIndex);
    session.hardware().port(portIndex).driveSet.reset();
    session.publishState();
}

}  // namespace sim
