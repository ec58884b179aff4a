#include "sim/SimDriveSetCollection.h"

#include "sim/Errors.h"
#include "sim/OwnHandle.h"
#include "sim/SimDriveSet.h"
#include "sim/SimDrives.h"

#include <boost/make_shared.hpp>

#include <algorithm>

namespace sim {
namespace {

// The drive of the recorder's present description with that physical index.
DriveDescription describedDrive(const RecorderDescription& recorder, uint32_t physicalIndex) {
    for (const auto& group : recorder.driveGroups) {
        const auto found = std::find_if(group.begin(), group.end(), [&](const DriveDescription& drive) {
            return drive.physicalIndex == physicalIndex;
        });
        if (found != group.end()) {
            return *found;
        }
    }
    fail("Recorder " + recorder.name + " has no drive " + std::to_string(physicalIndex) + ".");
}

}  // namespace

boost::shared_ptr<Quillon::DriveSet> SimDriveSetCollection::open(uint32_t id) {
    recorder_->session("DriveSetCollection::open").storage().set(id);
    return boost::make_shared<SimDriveSet>(recorder_, id);
}

Quillon::Vector<uint32_t> SimDriveSetCollection::ids() {
    Quillon::Vector<uint32_t> ids;
    for (const uint32_t id : recorder_->session("DriveSetCollection::ids").storage().ids()) {
        ids.push_back(id);
    }
    return ids;
}

void SimDriveSetCollection::create(const boost::shared_ptr<Quillon::DriveSet::CreateParameters>& parameters) {
    if (!parameters) {
        fail("Drive set parameters are needed.");
    }
    if (parameters->source.drives().empty()) {
        fail("A drive set needs at least one drive.");
    }
    auto session = recorder_->session("DriveSetCollection::create");
    DriveSetSettings settings{parameters->name.c_str(), parameters->firstSetting, parameters->secondSetting,
                              session.description().clusterBytes, {}};
    for (const auto& [physicalIndex, drive] : parameters->source.drives()) {
        ownHandle<SimDrive>(drive, *recorder_, "Drive " + std::to_string(physicalIndex));
        settings.drives.push_back(describedDrive(session.description(), physicalIndex));
    }
    session.storage().create(std::move(settings));
}

void SimDriveSetCollection::remove(uint32_t id) {
    auto session = recorder_->session("DriveSetCollection::remove");
    session.storage().remove(id);
    session.hardware().detachDriveSet(id);
    session.publishState();
}

}  // namespace sim
