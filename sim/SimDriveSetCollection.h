#pragma once
#include "library/DriveSet.h"
#include "sim/Recorder.h"

#include <memory>

namespace sim {

class SimDriveSetCollection : public Quillon::DriveSetCollection {
public:
    explicit SimDriveSetCollection(std::shared_ptr<Recorder> recorder) : recorder_(std::move(recorder)) {}

    boost::shared_ptr<Quillon::DriveSet> open(uint32_t id) override;
    Quillon::Vector<uint32_t> ids() override;
    // Takes the drives of the source, which must be this recorder's and in no other set; the
    // cluster size is the recorder's, and the two settings are only kept.
    void create(const boost::shared_ptr<Quillon::DriveSet::CreateParameters>& parameters) override;
    void remove(uint32_t id) override;

private:
    std::shared_ptr<Recorder> recorder_;
};

}  // namespace sim
