#pragma once
#include "library/Record.h"
#include "sim/Recorder.h"

#include <cstdint>
#include <map>
#include <memory>
#include <vector>

namespace sim {

class Recording;

// The recording controller of one recorder, shared by all its Record handles: the ports added
// for the coming recording, and the recordings that run. A start makes one drive file per drive
// set that the added ports are attached to, with one stream per port. Every operation runs with
// the recorder's lock held, through the caller's session. A recorder that keeps a file per port
// makes one drive file per added port instead.
class RecordController {
public:
    explicit RecordController(Recorder& recorder) : recorder_(recorder) {}
    RecordController(const RecordController&) = delete;
    RecordController& operator=(const RecordController&) = delete;
    // Without the recorder's lock: ends the recordings as the death of the process would.
    ~RecordController();

    // Adding a port again replaces its stream.
    uint32_t addPort(uint32_t portIndex, uint64_t timestamp);
    void start(Recorder::Session& session);
    // Waits for the port's stream to reach the drive, and completes the file with its last port.
    // 0 for a port that records nothing.
    uint32_t stopPort(Recorder::Session& session, uint32_t portIndex);
    // A port that records nothing reports its last recording, finished.
    Quillon::Record::Status status(uint32_t portIndex) const;
    // The unit was switched off: ports added for a coming recording and the statuses of past
    // ones are forgotten. Recordings that run go on, as the recorder records by itself.
    void powerCycle();
    // An event of a trigger source: the software source, or an edge of the external input.
    void pulse(uint32_t sourceKind, bool variant);

private:
    struct Added {
        uint32_t streamId = 0;
        uint64_t timestamp = 0;
    };

    std::shared_ptr<Recording> recordingOf(uint32_t portIndex) const;
    // The streams of the added ports by drive set, checked before anything is made.
    std::map<uint32_t, std::vector<StoredStream>> streamsBySet(Recorder::Session& session) const;

    Recorder& recorder_;
    std::map<uint32_t, Added> added_;
    uint32_t nextStreamId_ = 1;
    std::vector<std::shared_ptr<Recording>> recordings_;
    std::map<uint32_t, Quillon::Record::Status> lastStatus_;
};

}  // namespace sim
