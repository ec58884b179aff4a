#pragma once
#include "library/DriveSet.h"
#include "sim/Recorder.h"

#include <memory>

namespace sim {

class SimStorage : public Quillon::Storage {
public:
    explicit SimStorage(std::shared_ptr<Recorder> recorder) : recorder_(std::move(recorder)) {}

    boost::shared_ptr<Quillon::DriveSetCollection> driveSets() override;
    boost::shared_ptr<Quillon::DriveGroupList> driveGroups() override;

private:
    std::shared_ptr<Recorder> recorder_;
};

}  // namespace sim
