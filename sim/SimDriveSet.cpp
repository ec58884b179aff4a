#include "sim/SimDriveSet.h"

#include "sim/Errors.h"
#include "sim/SimDriveFile.h"
#include "sim/SimDrives.h"
#include "sim/SimRecovery.h"

#include <boost/make_shared.hpp>

namespace sim {

boost::shared_ptr<Quillon::DriveSet::Info> SimDriveSet::info() {
    auto session = recorder_->session("DriveSet::info");
    return boost::make_shared<Info>(Info{session.storage().set(id_).settings().clusterBytes});
}

boost::shared_ptr<Quillon::DriveFile> SimDriveSet::openFile(uint32_t fileId) {
    recorder_->session("DriveSet::openFile").storage().set(id_).file(fileId);
    return boost::make_shared<SimDriveFile>(recorder_, id_, fileId);
}

Quillon::Vector<uint32_t> SimDriveSet::fileIds() {
    Quillon::Vector<uint32_t> ids;
    for (const uint32_t id : recorder_->session("DriveSet::fileIds").storage().set(id_).recordingIds()) {
        ids.push_back(id);
    }
    return ids;
}

uint32_t SimDriveSet::findFile(const Quillon::String& name) {
    return recorder_->session("DriveSet::findFile").storage().set(id_).findFile(name.c_str());
}

uint32_t SimDriveSet::incompleteFileId() {
    return recorder_->session("DriveSet::incompleteFileId").storage().set(id_).incompleteFileId();
}

boost::shared_ptr<Quillon::DriveFileEntry> SimDriveSet::fileEntry(uint32_t fileId) {
    const uint64_t size = recorder_->session("DriveSet::fileEntry").storage().set(id_).file(fileId).sizeClusters;
    return boost::make_shared<Quillon::DriveFileEntry>(Quillon::DriveFileEntry{size});
}

uint32_t SimDriveSet::createFile(const Quillon::String& name, uint64_t sizeClusters, uint64_t timestamp) {
    return recorder_->session("DriveSet::createFile").storage().set(id_).createFile(name.c_str(), sizeClusters,
                                                                                    timestamp);
}

void SimDriveSet::removeFile(uint32_t fileId) {
    recorder_->session("DriveSet::removeFile").storage().set(id_).removeFile(fileId);
}

boost::shared_ptr<Quillon::Recovery> SimDriveSet::recover(uint32_t fileId) {
    auto session = recorder_->session("DriveSet::recover");
    StoredDriveSet& set = session.storage().set(id_);
    const StoredFile& file = set.file(fileId);
    if (file.complete || file.recording) {
        fail("File " + std::to_string(fileId) + " of drive set " + std::to_string(id_) + " needs no recovery.");
    }
    SimRecovery::Job job{id_, fileId, set.dataPath(fileId), set.blockBytes(), set.streams(fileId),
                         std::chrono::milliseconds(session.description().recoveryMillisecondsPerBlock)};
    return boost::make_shared<SimRecovery>(recorder_, std::move(job));
}

boost::shared_ptr<Quillon::DriveSet::CapacityInfo> SimDriveSet::capacityInfo(bool) {
    auto session = recorder_->session("DriveSet::capacityInfo");
    const StoredDriveSet& set = session.storage().set(id_);
    return boost::make_shared<CapacityInfo>(CapacityInfo{set.totalBytes(), set.usedBytes()});
}

Quillon::Vector<boost::shared_ptr<Quillon::Drive>> SimDriveSet::drives() {
    Quillon::Vector<boost::shared_ptr<Quillon::Drive>> drives;
    auto session = recorder_->session("DriveSet::drives");
    for (const DriveDescription& drive : session.storage().set(id_).settings().drives) {
        drives.push_back(boost::make_shared<SimDrive>(recorder_, drive.physicalIndex));
    }
    return drives;
}

}  // namespace sim
