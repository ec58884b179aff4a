#pragma once
#include "library/Forward.h"
#include "library/String.h"

#include <boost/optional.hpp>
#include <boost/shared_ptr.hpp>

#include <cstdint>

namespace Quillon {

// The recording controller of a recorder.
class Record {
public:
    struct Status {
        // state of a port that is filling its pre-trigger loop.
        static constexpr uint32_t StatePretrigger = 2;

        uint32_t state = 0;
        uint64_t frames = 0;
        bool finished = false;

        // The port's recording has reached its end.
        bool isRecordingFinished() const { return finished; }
    };

    virtual ~Record() = default;

    // Takes the port into the coming recording and returns its stream id. portNumber counts from 1.
    virtual uint32_t addPort(const boost::shared_ptr<Port>& port, uint64_t timestamp, uint32_t portNumber,
                             const boost::optional<uint64_t>& option, const String& label) = 0;
    virtual void start(uint32_t flags) = 0;
    // Ends the port's recording; returns the drive file it went to, 0 for none.
    virtual uint32_t stopPort(const boost::shared_ptr<Port>& port, uint32_t flags) = 0;
    virtual boost::shared_ptr<Status> status(const boost::shared_ptr<Port>& port) = 0;
    virtual void attachDriveSet(const boost::shared_ptr<DriveSet>& driveSet, const boost::shared_ptr<Port>& port) = 0;
    // Harmless on a port that is not attached.
    virtual void detachPort(const boost::shared_ptr<Port>& port) = 0;
};

}  // namespace Quillon
