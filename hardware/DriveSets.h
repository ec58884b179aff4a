#pragma once
#include "library/Device.h"
#include "library/DriveSet.h"

#include <boost/shared_ptr.hpp>

namespace tavu {

// The device's drive set: the first in the library's list, found afresh by every operation. An
// empty list throws `noDriveSetMessage`, as the callers differ in the text they owe their clients.
boost::shared_ptr<Quillon::DriveSet> firstDriveSet(Quillon::Device& device, const char* noDriveSetMessage);

// Creates the one drive set that the service uses: named "TAVU", over every drive of every group.
// The library picks the cluster size.
void createDefaultDriveSet(Quillon::Device& device, Quillon::DriveSetCollection& driveSets);

}  // namespace tavu
