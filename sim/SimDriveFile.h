#pragma once
#include "library/DriveFile.h"
#include "sim/Recorder.h"

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

namespace sim {

// One open file of a drive set. Blocks of a named file are read and written in sequence from
// the first, each handle with a position of its own; a recording's file has streams.
class SimDriveFile : public Quillon::DriveFile {
public:
    SimDriveFile(std::shared_ptr<Recorder> recorder, uint32_t driveSetId, uint32_t fileId)
        : recorder_(std::move(recorder)), driveSetId_(driveSetId), fileId_(fileId) {}

    boost::shared_ptr<Quillon::DriveSet> driveSet(bool flag) override;
    boost::shared_ptr<Quillon::DriveFileInfo> info() override;
    boost::shared_ptr<Common::Buffer> readMetadata() override;
    // Up to metadataCapacity() bytes; the rest of the block reads as zeros afterwards.
    void writeMetadata(const boost::shared_ptr<Common::Buffer>& buffer) override;
    uint32_t metadataCapacity() override;
    // The buffer holds exactly one block: clusterBytes times the drives of the set.
    void readBlock(const boost::shared_ptr<Common::Buffer>& buffer, uint32_t flags) override;
    void writeBlock(const boost::shared_ptr<Common::Buffer>& buffer) override;
    uint32_t streamCount() override;
    boost::shared_ptr<Quillon::RecordedStream> streamByIndex(uint32_t index) override;
    uint32_t streamIdByIndex(uint32_t index) override;
    boost::shared_ptr<Quillon::RecordedStream> streamById(uint32_t streamId) override;

private:
    // The buffer of a block transfer, checked against the set's block size.
    Common::Buffer& blockBuffer(const boost::shared_ptr<Common::Buffer>& buffer, const StoredDriveSet& set) const;
    std::vector<StoredStream> streams(const char* operation) const;
    StoredStream streamAt(uint32_t index, const char* operation) const;
    [[noreturn]] void failNoStream(const std::string& which) const;

    std::shared_ptr<Recorder> recorder_;
    uint32_t driveSetId_;
    uint32_t fileId_;
    uint64_t nextBlock_ = 0;
};

}  // namespace sim
