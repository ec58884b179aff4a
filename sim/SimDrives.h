#pragma once
#include "library/Drive.h"
#include "sim/Recorder.h"

#include <cstdint>
#include <memory>

namespace sim {

// A drive, known by its physical index within its recorder.
class SimDrive : public Quillon::Drive {
public:
    SimDrive(std::shared_ptr<Recorder> recorder, uint32_t physicalIndex)
        : recorder_(std::move(recorder)), physicalIndex_(physicalIndex) {}

    const Recorder& recorder() const { return *recorder_; }
    uint32_t physicalIndex() override { return physicalIndex_; }

private:
    std::shared_ptr<Recorder> recorder_;
    uint32_t physicalIndex_;
};

// The drives of the recorder as its description groups them.
class SimDriveGroupList : public Quillon::DriveGroupList {
public:
    explicit SimDriveGroupList(std::shared_ptr<Recorder> recorder) : recorder_(std::move(recorder)) {}

    uint32_t size() override;
    boost::shared_ptr<Quillon::DriveGroup> group(uint32_t index) override;

private:
    std::shared_ptr<Recorder> recorder_;
};

class SimDriveGroup : public Quillon::DriveGroup {
public:
    SimDriveGroup(std::shared_ptr<Recorder> recorder, uint32_t group) : recorder_(std::move(recorder)), group_(group) {}

    uint32_t size() override;
    boost::shared_ptr<Quillon::Drive> drive(uint32_t index) override;

private:
    std::shared_ptr<Recorder> recorder_;
    uint32_t group_;
};

}  // namespace sim
