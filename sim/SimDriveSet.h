#pragma once
#include "library/DriveSet.h"
#include "sim/Recorder.h"

#include <cstdint>
#include <memory>

namespace sim {

// One drive set of a recorder, by id. Every operation finds the set anew, so a handle of a
// removed set fails cleanly.
class SimDriveSet : public Quillon::DriveSet {
public:
    SimDriveSet(std::shared_ptr<Recorder> recorder, uint32_t id) : recorder_(std::move(recorder)), id_(id) {}

    const Recorder& recorder() const { return *recorder_; }
    uint32_t id() const { return id_; }

    boost::shared_ptr<Info> info() override;
    boost::shared_ptr<Quillon::DriveFile> openFile(uint32_t fileId) override;
    // Only the files that hold recordings: named files are reached by name.
    Quillon::Vector<uint32_t> fileIds() override;
    uint32_t findFile(const Quillon::String& name) override;
    uint32_t incompleteFileId() override;
    boost::shared_ptr<Quillon::DriveFileEntry> fileEntry(uint32_t fileId) override;
    uint32_t createFile(const Quillon::String& name, uint64_t sizeClusters, uint64_t timestamp) override;
    void removeFile(uint32_t fileId) override;
    boost::shared_ptr<Quillon::Recovery> recover(uint32_t fileId) override;
    boost::shared_ptr<CapacityInfo> capacityInfo(bool flag) override;
    Quillon::Vector<boost::shared_ptr<Quillon::Drive>> drives() override;

private:
    std::shared_ptr<Recorder> recorder_;
    uint32_t id_;
};

}  // namespace sim
