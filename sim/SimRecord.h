#pragma once
#include "library/Record.h"
#include "sim/Recorder.h"

#include <memory>

namespace sim {

// A handle of the recorder's recording controller, which all handles share.
class SimRecord : public Quillon::Record {
public:
    explicit SimRecord(std::shared_ptr<Recorder> recorder) : recorder_(std::move(recorder)) {}

    uint32_t addPort(const boost::shared_ptr<Quillon::Port>& port, uint64_t timestamp, uint32_t portNumber,
                     const boost::optional<uint64_t>& option, const Quillon::String& label) override;
    void start(uint32_t flags) override;
    uint32_t stopPort(const boost::shared_ptr<Quillon::Port>& port, uint32_t flags) override;
    boost::shared_ptr<Status> status(const boost::shared_ptr<Quillon::Port>& port) override;
    void attachDriveSet(const boost::shared_ptr<Quillon::DriveSet>& driveSet,
                        const boost::shared_ptr<Quillon::Port>& port) override;
    void detachPort(const boost::shared_ptr<Quillon::Port>& port) override;

private:
    uint32_t portIndexOf(const boost::shared_ptr<Quillon::Port>& port) const;

    std::shared_ptr<Recorder> recorder_;
};

}  // namespace sim
