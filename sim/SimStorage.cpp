#include "sim/SimStorage.h"

#include "sim/SimDriveSetCollection.h"
#include "sim/SimDrives.h"

#include <boost/make_shared.hpp>

namespace sim {

boost::shared_ptr<Quillon::DriveSetCollection> SimStorage::driveSets() {
    recorder_->requireConnected("Storage::driveSets");
    return boost::make_shared<SimDriveSetCollection>(recorder_);
}

boost::shared_ptr<Quillon::DriveGroupList> SimStorage::driveGroups() {
    recorder_->requireConnected("Storage::driveGroups");
    return boost::make_shared<SimDriveGroupList>(recorder_);
}

}  // namespace sim
