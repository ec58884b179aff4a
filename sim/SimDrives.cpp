#include "sim/SimDrives.h"

#include "sim/Errors.h"

#include <boost/make_shared.hpp>

namespace sim {
namespace {

const std::vector<DriveDescription>& groupOf(const Recorder::Session& session, uint32_t group) {
    const auto& groups = session.description().driveGroups;
    if (group >= groups.size()) {
        fail("Recorder " + session.description().name + " has no drive group " + std::to_string(group) + ".");
    }
    return groups[group];
}

}  // namespace

uint32_t SimDriveGroupList::size() {
    return static_cast<uint32_t>(recorder_->session("DriveGroupList::size").description().driveGroups.size());
}

boost::shared_ptr<Quillon::DriveGroup> SimDriveGroupList::group(uint32_t index) {
    groupOf(recorder_->session("DriveGroupList::group"), index);
    return boost::make_shared<SimDriveGroup>(recorder_, index);
}

uint32_t SimDriveGroup::size() { return static_cast<uint32_t>(groupOf(recorder_->session("DriveGroup::size"), group_).size()); }

boost::shared_ptr<Quillon::Drive> SimDriveGroup::drive(uint32_t index) {
    const auto session = recorder_->session("DriveGroup::drive");
    const auto& drives = groupOf(session, group_);
    if (index >= drives.size()) {
        fail("Drive group " + std::to_string(group_) + " has no drive " + std::to_string(index) + ".");
    }
    return boost::make_shared<SimDrive>(recorder_, drives[index].physicalIndex);
}

}  // namespace sim
