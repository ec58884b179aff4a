#include "sim/SimDriveFile.h"

#include "library/Buffer.h"
#include "sim/Errors.h"
#include "sim/SimDriveSet.h"
#include "sim/SimRecordedStream.h"

#include <boost/make_shared.hpp>

#include <algorithm>

namespace sim {

boost::shared_ptr<Quillon::DriveSet> SimDriveFile::driveSet(bool) {
    recorder_->session("DriveFile::driveSet").storage().set(driveSetId_).file(fileId_);
    return boost::make_shared<SimDriveSet>(recorder_, driveSetId_);
}

boost::shared_ptr<Quillon::DriveFileInfo> SimDriveFile::info() {
    auto session = recorder_->session("DriveFile::info");
    const StoredDriveSet& set = session.storage().set(driveSetId_);
    set.file(fileId_);
    return boost::make_shared<Quillon::DriveFileInfo>(Quillon::DriveFileInfo{set.settings().clusterBytes});
}

boost::shared_ptr<Common::Buffer> SimDriveFile::readMetadata() {
    const std::vector<uint8_t> bytes =
        recorder_->session("DriveFile::readMetadata").storage().set(driveSetId_).readMetadata(fileId_);
    auto buffer = boost::make_shared<Common::Buffer>(bytes.size());
    std::copy(bytes.begin(), bytes.end(), buffer->data());
    return buffer;
}

void SimDriveFile::writeMetadata(const boost::shared_ptr<Common::Buffer>& buffer) {
    if (!buffer) {
        fail("A buffer is needed.");
    }
    recorder_->session("DriveFile::writeMetadata")
        .storage()
        .set(driveSetId_)
        .writeMetadata(fileId_, buffer->data(), buffer->size());
}

uint32_t SimDriveFile::metadataCapacity() {
    recorder_->requireConnected("DriveFile::metadataCapacity");
    return StoredDriveSet::MetadataCapacity;
}

void SimDriveFile::readBlock(const boost::shared_ptr<Common::Buffer>& buffer, uint32_t) {
    auto session = recorder_->session("DriveFile::readBlock");
    const StoredDriveSet& set = session.storage().set(driveSetId_);
    set.readBlock(fileId_, nextBlock_, blockBuffer(buffer, set).data());
    ++nextBlock_;
}

void SimDriveFile::writeBlock(const boost::shared_ptr<Common::Buffer>& buffer) {
    auto session = recorder_->session("DriveFile::writeBlock");
    const StoredDriveSet& set = session.storage().set(driveSetId_);
    set.writeBlock(fileId_, nextBlock_, blockBuffer(buffer, set).data());
    ++nextBlock_;
}

uint32_t SimDriveFile::streamCount() { return static_cast<uint32_t>(streams("DriveFile::streamCount").size()); }

boost::shared_ptr<Quillon::RecordedStream> SimDriveFile::streamByIndex(uint32_t index) {
    return boost::make_shared<SimRecordedStream>(recorder_, driveSetId_, fileId_,
                                                 streamAt(index, "DriveFile::streamByIndex"));
}

uint32_t SimDriveFile::streamIdByIndex(uint32_t index) { return streamAt(index, "DriveFile::streamIdByIndex").id; }

boost::shared_ptr<Quillon::RecordedStream> SimDriveFile::streamById(uint32_t streamId) {
    const std::vector<StoredStream> all = streams("DriveFile::streamById");
    const auto found = std::find_if(all.begin(), all.end(), [&](const StoredStream& s) { return s.id == streamId; });
    if (found == all.end()) {
        failNoStream("with id " + std::to_string(streamId));
    }
    return boost::make_shared<SimRecordedStream>(recorder_, driveSetId_, fileId_, *found);
}

Common::Buffer& SimDriveFile::blockBuffer(const boost::shared_ptr<Common::Buffer>& buffer,
                                          const StoredDriveSet& set) const {
    if (!buffer || buffer->size() != set.blockBytes()) {
        fail("A block of drive set " + std::to_string(driveSetId_) + " is " + std::to_string(set.blockBytes()) +
             " bytes; the buffer holds " + std::to_string(buffer ? buffer->size() : 0) + ".");
    }
    return *buffer;
}

std::vector<StoredStream> SimDriveFile::streams(const char* operation) const {
    return recorder_->session(operation).storage().set(driveSetId_).streams(fileId_);
}

StoredStream SimDriveFile::streamAt(uint32_t index, const char* operation) const {
    const std::vector<StoredStream> all = streams(operation);
    if (index >= all.size()) {
        failNoStream("at index " + std::to_string(index));
    }
    return all[index];
}

void SimDriveFile::failNoStream(const std::string& which) const {
    fail("File " + std::to_string(fileId_) + " has no stream " + which + ".");
}

}  // namespace sim
