#include "sim/SimDriveSet.h"

#include "sim/Errors.h"
#include "sim/SimDriveFile.h"
#include "sim/SimDrives.h"

#include <boost/make_shared.hpp>

namespace sim {

boost::shared_ptr<Quillon::DriveSet::Info> SimDriveSet::info() {
    auto session = recorder_->session();
    return boost::make_shared<Info>(Info{session.storage().set(id_).settings().clusterBytes});
}

boost::shared_ptr<Quillon::DriveFile> SimDriveSet::openFile(uint32_t fileId) {
    recorder_->session().storage().set(id_).file(fileId);
    return boost::make_shared<SimDriveFile>(recorder_, id_, fileId);
}

Quillon::Vector<uint32_t> SimDriveSet::fileIds() {
    Quillon::Vector<uint32_t> ids;
    for (const uint32_t id : recorder_->session().storage().set(id_).recordingIds()) {
        ids.push_back(id);
    }
    return ids;
}

uint32_t SimDriveSet::findFile(const Quillon::String& name) {
    return recorder_->session().storage().set(id_).findFile(name.c_str());
}

uint32_t SimDriveSet::incompleteFileId() {
    recorder_->session().storage().set(id_);
    // Only a recording can be left incomplete, and nothing records yet.
    return 0;
}

boost::shared_ptr<Quillon::DriveFileEntry> SimDriveSet::fileEntry(uint32_t fileId) {
    const uint64_t size = recorder_->session().storage().set(id_).file(fileId).sizeClusters;
    return boost::make_shared<Quillon::DriveFileEntry>(Quillon::DriveFileEntry{size});
}

uint32_t SimDriveSet::createFile(const Quillon::String& name, uint64_t sizeClusters, uint64_t timestamp) {
    return recorder_->session().storage().set(id_).createFile(name.c_str(), sizeClusters, timestamp);
}

void SimDriveSet::removeFile(uint32_t fileId) { recorder_->session().storage().set(id_).removeFile(fileId); }

boost::shared_ptr<Quillon::Recovery> SimDriveSet::recover(uint32_t) { notSimulatedYet("DriveSet::recover"); }

boost::shared_ptr<Quillon::DriveSet::CapacityInfo> SimDriveSet::capacityInfo(bool) {
    auto session = recorder_->session();
    const StoredDriveSet& set = session.storage().set(id_);
    return boost::make_shared<CapacityInfo>(CapacityInfo{set.totalBytes(), set.usedBytes()});
}

Quillon::Vector<boost::shared_ptr<Quillon::Drive>> SimDriveSet::drives() {
    Quillon::Vector<boost::shared_ptr<Quillon::Drive>> drives;
    auto session = recorder_->session();
    for (const DriveDescription& drive : session.storage().set(id_).settings().drives) {
        drives.push_back(boost::make_shared<SimDrive>(recorder_, drive.physicalIndex));
    }
    return drives;
}

}  // namespace sim
