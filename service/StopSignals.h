#pragma once

namespace tavu {

// SIGTERM, SIGINT and SIGHUP, blocked and read from a descriptor instead, so that the accept
// loop can stop the service in order rather than the process dying mid-recording. Made before
// any thread starts, since threads inherit the blocked set from the thread that starts them.
class StopSignals {
public:
    StopSignals();
    // The signals stay blocked: one that comes during the tear-down is ignored.
    ~StopSignals();
    StopSignals(const StopSignals&) = delete;
    StopSignals& operator=(const StopSignals&) = delete;

    // Readable once a signal came; -1 when none could be made, and the signals then act as
    // they would without this object.
    int descriptor() const { return fd_; }

private:
    int fd_ = -1;
};

}  // namespace tavu
