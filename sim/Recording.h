#pragma once
#include "library/Record.h"
#include "sim/Files.h"
#include "sim/RecordingFormat.h"
#include "sim/StreamWriter.h"
#include "sim/TriggerNetwork.h"

#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <filesystem>
#include <memory>
#include <optional>
#include <set>
#include <thread>
#include <vector>

namespace sim {

class Recorder;

// One recording into one drive file: the ports that record to one drive set, from a start to
// the stop of its last port. A thread of the library plays the cameras: each port's camera
// delivers frame f at f / rate seconds after the start, on a steady clock, and the trigger
// settings decide which frames go into the port's stream. All state is guarded by the
// recorder's lock; the thread writes to the drive without it.
class Recording {
public:
    using Clock = std::chrono::steady_clock;
    // Frames of one port written at one wake-up at most: when writing falls behind the camera,
    // older frames are skipped, and the stream shows the gap in the cameras' frame numbers.
    static constexpr uint64_t MaxFramesPerWakeUp = 16;

    // Values of Record::Status::state. A port without a camera at the start stays idle: it
    // records nothing and counts as finished.
    enum class Phase : uint32_t { Idle = 0, Armed = 1, Pretrigger = 2, Recording = 3, Finished = 4 };

    // What the recorder is like at the start.
    struct Conditions {
        std::set<uint32_t> withoutCamera;  // ports with no camera
        Clock::duration blockWriteTime{};  // how long the drive set takes to write one block
    };

    // Under the recorder's lock; the thread starts at once.
    Recording(Recorder& recorder, uint32_t setId, uint32_t fileId, const std::filesystem::path& dataPath,
              uint64_t blockBytes, std::vector<StoredStream> streams, const TriggerSettings& trigger,
              const Conditions& conditions);
    Recording(const Recording&) = delete;
    Recording& operator=(const Recording&) = delete;
    // Without the recorder's lock, unless every port was closed.
    ~Recording();

    // The rest, except end(), with the recorder's lock held.
    uint32_t setId() const { return setId_; }
    uint32_t fileId() const { return fileId_; }
    // The port takes part and was not closed yet.
    bool records(uint32_t portIndex) const;
    Quillon::Record::Status status(uint32_t portIndex) const;
    void pulse(uint32_t sourceKind, bool variant);
    // Asks the thread to end the port's stream and write what it holds; isClosed tells when it has.
    void requestStop(uint32_t portIndex);
    bool isClosed(uint32_t portIndex) const;
    bool allClosed() const;
    std::vector<StoredStream> streams() const;
    std::condition_variable& changed() { return changed_; }

    // Without the recorder's lock: the thread ends at once and writes nothing more, as when the
    // process dies, so the file stays incomplete.
    void end();

private:
    struct Port;
    struct Job {
        size_t port;
        std::vector<uint64_t> frames;  // camera frame numbers, in stream order
        // A stop condition is reached with these frames: the port finishes once they are counted.
        bool finish = false;
        bool flush = false;
    };
    struct Outcome {
        size_t port;
        bool finish = false;
        bool flushed = false;
    };

    void run();
    // What the cameras delivered up to `now` and where it goes; `rates` per port.
    std::vector<Job> plan(Clock::time_point now, const std::vector<double>& rates);
    void planPort(Port& port, size_t index, Clock::time_point now, double rate, std::vector<Job>& jobs);
    void planFrames(Port& port, Job& job, uint64_t dueEnd, Clock::time_point now);
    std::vector<Outcome> execute(const std::vector<Job>& jobs);
    void settle(const std::vector<Outcome>& outcomes);
    Clock::time_point wakeUpTime(Clock::time_point now) const;
    void begin(Port& port, Clock::time_point now);
    std::optional<uint64_t> reserveBlocks(uint64_t count);
    Port& port(uint32_t portIndex);
    const Port& port(uint32_t portIndex) const;

    Recorder& recorder_;
    const uint32_t setId_;
    const uint32_t fileId_;
    const TriggerSettings trigger_;
    FileDescriptor file_;
    std::vector<std::unique_ptr<Port>> ports_;
    std::vector<uint8_t> frame_;  // the frame being written; used by the thread only
    bool ending_ = false;
    std::condition_variable changed_;
    std::thread thread_;  // last: it starts once everything above is in place
};

}  // namespace sim
