#include "hardware/DriveSets.h"

#include "library/Drive.h"

#include <boost/make_shared.hpp>

#include <stdexcept>

namespace tavu {

boost::shared_ptr<Quillon::DriveSet> firstDriveSet(Quillon::Device& device, const char* noDriveSetMessage) {
    boost::shared_ptr<Quillon::DriveSetCollection> driveSets = device.storage(0)->driveSets();
    Quillon::Vector<uint32_t> ids = driveSets->ids();
    if (ids.size() == 0) {
        throw std::runtime_error(noDriveSetMessage);
    }
    return driveSets->open(ids[0]);
}

void createDefaultDriveSet(Quillon::Device& device, Quillon::DriveSetCollection& driveSets) {
    auto parameters = boost::make_shared<Quillon::DriveSet::CreateParameters>();
    boost::shared_ptr<Quillon::DriveGroupList> groups = device.storage(0)->driveGroups();
    parameters->name = "TAVU";
    parameters->firstSetting = 100;
    parameters->secondSetting = 0;
    for (uint32_t groupIndex = 0; groupIndex < groups->size(); ++groupIndex) {
        boost::shared_ptr<Quillon::DriveGroup> group = groups->group(groupIndex);
        for (uint32_t driveIndex = 0; driveIndex < group->size(); ++driveIndex) {
            parameters->source.add(Quillon::Drive::PhysicalLocation(group->drive(driveIndex)));
        }
    }
    // Made even with no drives at all: what that gives is the library's answer.
    driveSets.create(parameters);
}

}  // namespace tavu
