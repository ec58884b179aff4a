#include "sim/SimDriveFile.h"

#include "hardware/library/Buffer.h"
#include "sim/Errors.h"
#include "sim/SimDriveSet.h"

#include <boost/make_shared.hpp>

#include <algorithm>

namespace sim {

boost::shared_ptr<Quillon::DriveSet> SimDriveFile::driveSet(bool) {
    recorder_->session().storage().set(driveSetId_).file(fileId_);
    return boost::make_shared<SimDriveSet>(recorder_, driveSetId_);
}

boost::shared_ptr<Quillon::DriveFileInfo> SimDriveFile::info() {
    auto session = recorder_->session();
    const StoredDriveSet& set = session.storage().set(driveSetId_);
    set.file(fileId_);
    return boost::make_shared<Quillon::DriveFileInfo>(Quillon::DriveFileInfo{set.settings().clusterBytes});
}

boost::shared_ptr<Common::Buffer> SimDriveFile::readMetadata() {
    const std::vector<uint8_t> bytes = recorder_->session().storage().set(driveSetId_).readMetadata(fileId_);
    auto buffer = boost::make_shared<Common::Buffer>(bytes.size());
    std::copy(bytes.begin(), bytes.end(), buffer->data());
    return buffer;
}

void SimDriveFile::writeMetadata(const boost::shared_ptr<Common::Buffer>& buffer) {
    if (!buffer) {
        fail("A buffer is needed.");
    }
    recorder_->session().storage().set(driveSetId_).writeMetadata(fileId_, buffer->data(), buffer->size());
}

uint32_t SimDriveFile::metadataCapacity() { return StoredDriveSet::MetadataCapacity; }

void SimDriveFile::readBlock(const boost::shared_ptr<Common::Buffer>& buffer, uint32_t) {
    auto session = recorder_->session();
    const StoredDriveSet& set = session.storage().set(driveSetId_);
    set.readBlock(fileId_, nextBlock_, blockBuffer(buffer, set).data());
    ++nextBlock_;
}

void SimDriveFile::writeBlock(const boost::shared_ptr<Common::Buffer>& buffer) {
    auto session = recorder_->session();
    const StoredDriveSet& set = session.storage().set(driveSetId_);
    set.writeBlock(fileId_, nextBlock_, blockBuffer(buffer, set).data());
    ++nextBlock_;
}

uint32_t SimDriveFile::streamCount() {
    recorder_->session().storage().set(driveSetId_).file(fileId_);
    // Only named files exist until recording is simulated, and they hold no streams.
    return 0;
}

boost::shared_ptr<Quillon::RecordedStream> SimDriveFile::streamByIndex(uint32_t index) {
    failNoStream("at index " + std::to_string(index));
}

uint32_t SimDriveFile::streamIdByIndex(uint32_t index) { failNoStream("at index " + std::to_string(index)); }

boost::shared_ptr<Quillon::RecordedStream> SimDriveFile::streamById(uint32_t streamId) {
    failNoStream("with id " + std::to_string(streamId));
}

Common::Buffer& SimDriveFile::blockBuffer(const boost::shared_ptr<Common::Buffer>& buffer,
                                          const StoredDriveSet& set) const {
    if (!buffer || buffer->size() != set.blockBytes()) {
        fail("A block of drive set " + std::to_string(driveSetId_) + " is " + std::to_string(set.blockBytes()) +
             " bytes; the buffer holds " + std::to_string(buffer ? buffer->size() : 0) + ".");
    }
    return *buffer;
}

void SimDriveFile::failNoStream(const std::string& which) const {
    recorder_->session().storage().set(driveSetId_).file(fileId_);
    fail("File " + std::to_string(fileId_) + " has no stream " + which + ".");
}

}  // namespace sim
