#include "sim/SimRecord.h"

#include "sim/Errors.h"
#include "sim/OwnHandle.h"
#include "sim/RecordController.h"
#include "sim/SimDriveSet.h"
#include "sim/SimPort.h"

#include <boost/make_shared.hpp>

#include <string>

namespace sim {

uint32_t SimRecord::addPort(const boost::shared_ptr<Quillon::Port>& port, uint64_t timestamp, uint32_t portNumber,
                            const boost::optional<uint64_t>&, const Quillon::String&) {
    const uint32_t portIndex = portIndexOf(port);
    // A recorder numbers its ports from 1 and refuses a number that is not the port's own.
    if (portNumber != portIndex + 1) {
        fail("Port number " + std::to_string(portNumber) + " is not that of the port.");
    }
    auto session = recorder_->session("Record::addPort", portIndex);
    session.portDescription(portIndex);
    return session.record().addPort(portIndex, timestamp);
}

void SimRecord::start(uint32_t) {
    auto session = recorder_->session("Record::start");
    session.record().start(session);
}

uint32_t SimRecord::stopPort(const boost::shared_ptr<Quillon::Port>& port, uint32_t) {
    const uint32_t portIndex = portIndexOf(port);
    auto session = recorder_->session("Record::stopPort", portIndex);
    // The stop did not take: no file, and the port goes on recording.
    if (session.givesNoFile()) {
        return 0;
    }
    return session.record().stopPort(session, portIndex);
}

boost::shared_ptr<Quillon::Record::Status> SimRecord::status(const boost::shared_ptr<Quillon::Port>& port) {
    const uint32_t portIndex = portIndexOf(port);
    auto session = recorder_->session("Record::status", portIndex);
    return boost::make_shared<Status>(session.record().status(portIndex));
}

void SimRecord::attachDriveSet(const boost::shared_ptr<Quillon::DriveSet>& driveSet,
                               const boost::shared_ptr<Quillon::Port>& port) {
    const uint32_t setId = ownHandle<SimDriveSet>(driveSet, *recorder_, "The drive set").id();
    const uint32_t portIndex = portIndexOf(port);
    auto session = recorder_->session("Record::attachDriveSet", portIndex);
    session.portDescription(portIndex);
    session.storage().set(setId);
    session.hardware().port(portIndex).driveSet = setId;
    session.publishState();
}

void SimRecord::detachPort(const boost::shared_ptr<Quillon::Port>& port) {
    const uint32_t portIndex = portIndexOf(port);
    auto session = recorder_->session("Record::detachPort", portIndex);
    session.portDescription(portIndex);
    session.hardware().port(portIndex).driveSet.reset();
    session.publishState();
}

uint32_t SimRecord::portIndexOf(const boost::shared_ptr<Quillon::Port>& port) const {
    return ownHandle<SimPort>(port, *recorder_, "The port").index();
}

}  // namespace sim
