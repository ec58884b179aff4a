#include "sim/Recording.h"

#include "sim/Errors.h"
#include "sim/FramePattern.h"
#include "sim/Recorder.h"

#include <fcntl.h>

#include <algorithm>
#include <cmath>

namespace sim {
namespace {

// A recording that waits for nothing in particular still looks at its cameras this often, as
// their frame rates may change.
constexpr std::chrono::milliseconds Poll{50};

Recording::Clock::duration seconds(double value) {
    return std::chrono::duration_cast<Recording::Clock::duration>(std::chrono::duration<double>(value));
}

}  // namespace

struct Recording::Port {
    StoredStream stream;
    Phase phase = Phase::Armed;
    // The camera's clock: frame f is due at origin + (f - originFrame) / rate.
    double rate = 0.0;
    bool rateKnown = false;
    Clock::time_point origin;
    uint64_t originFrame = 0;
    uint64_t nextFrame = 0;
    // The pre-trigger loop holds the camera frames [loopFirst, nextFrame); at the start event
    // they become the first frames of the stream.
    uint64_t loopFirst = 0;
    std::optional<std::pair<uint64_t, uint64_t>> loopToWrite;
    Clock::time_point startedAt;
    uint64_t recorded = 0;
    bool stopRequested = false;
    bool closed = false;
    std::unique_ptr<StreamWriter> writer;  // used by the thread only

    Clock::time_point dueTime(uint64_t frame) const {
        return origin + seconds(static_cast<double>(frame - originFrame) / rate);
    }
    // A new rate restarts the clock at the next frame, so that frame numbers go on without a jump.
    // The first rate runs from the recording's creation, however late the thread first looks: a
    // recorder's camera does not wait for a busy host.
    void follow(double newRate, Clock::time_point now) {
        if (!rateKnown) {
            rateKnown = true;
            rate = newRate;
        } else if (newRate != rate) {
            rate = newRate;
            origin = now;
            originFrame = nextFrame;
        }
    }
};

Recording::Recording(Recorder& recorder, uint32_t setId, uint32_t fileId, const std::filesystem::path& dataPath,
                     uint64_t blockBytes, std::vector<StoredStream> streams, const TriggerSettings& trigger,
                     const Conditions& conditions)
    : recorder_(recorder), setId_(setId), fileId_(fileId), trigger_(trigger), file_(dataPath, O_WRONLY) {
    const Clock::time_point now = Clock::now();
    for (StoredStream& stream : streams) {
        auto port = std::make_unique<Port>();
        port->stream = std::move(stream);
        port->origin = now;
        port->writer = std::make_unique<StreamWriter>(
            file_, blockBytes, port->stream.id, [this](uint64_t count) { return reserveBlocks(count); },
            [this, blockWriteTime = conditions.blockWriteTime] {
                recorder_.dataPathCall("DriveFile::writeBlock");
                // A slow set holds the thread up, which then falls behind the cameras.
                if (blockWriteTime > Clock::duration::zero()) {
                    std::this_thread::sleep_for(blockWriteTime);
                }
            });
        if (conditions.withoutCamera.count(port->stream.portIndex) != 0) {
            port->phase = Phase::Idle;
        } else if (!trigger_.startEnable) {
            begin(*port, now);
        } else {
            port->phase = trigger_.pretriggerEnable ? Phase::Pretrigger : Phase::Armed;
        }
        ports_.push_back(std::move(port));
    }
    // A software trigger that was left set fires at once.
    if (trigger_.softwareStartTrigger) {
        pulse(trigger::SoftwareSource, false);
    }
    thread_ = std::thread([this] { run(); });
}

Recording::~Recording() {
    if (thread_.joinable()) {
        thread_.join();
    }
}

bool Recording::records(uint32_t portIndex) const {
    return std::any_of(ports_.begin(), ports_.end(),
                       [&](const auto& port) { return port->stream.portIndex == portIndex && !port->closed; });
}

Quillon::Record::Status Recording::status(uint32_t portIndex) const {
    const Port& recorded = port(portIndex);
    Quillon::Record::Status status;
    status.state = static_cast<uint32_t>(recorded.phase);
    status.frames = recorded.phase == Phase::Pretrigger ? recorded.nextFrame - recorded.loopFirst : recorded.recorded;
    status.finished = recorded.phase == Phase::Finished || recorded.phase == Phase::Idle;
    return status;
}

void Recording::pulse(uint32_t sourceKind, bool variant) {
    const Clock::time_point now = Clock::now();
    for (const auto& port : ports_) {
        const bool waiting = port->phase == Phase::Armed || port->phase == Phase::Pretrigger;
        if (waiting && trigger_.startsOn(sourceKind, variant)) {
            begin(*port, now);
        } else if (port->phase == Phase::Recording && trigger_.stopsOn(sourceKind, variant)) {
            port->phase = Phase::Finished;
        }
    }
    changed_.notify_all();
}

void Recording::requestStop(uint32_t portIndex) {
    port(portIndex).stopRequested = true;
    changed_.notify_all();
}

bool Recording::isClosed(uint32_t portIndex) const { return port(portIndex).closed; }

bool Recording::allClosed() const {
    return std::all_of(ports_.begin(), ports_.end(), [](const auto& port) { return port->closed; });
}

std::vector<StoredStream> Recording::streams() const {
    std::vector<StoredStream> streams;
    for (const auto& port : ports_) {
        streams.push_back(port->stream);
    }
    return streams;
}

void Recording::end() {
    {
        Recorder::Session session = recorder_.internalSession();
        ending_ = true;
    }
    changed_.notify_all();
    if (thread_.joinable()) {
        thread_.join();
    }
}

void Recording::run() {
    Recorder::Session session = recorder_.internalSession();
    std::unique_lock<std::mutex>& lock = session.lock();
    while (!ending_) {
        const Clock::time_point now = Clock::now();
        std::vector<double> rates;
        for (const auto& port : ports_) {
            rates.push_back(session.frameRate(port->stream.portIndex));
        }
        const std::vector<Job> jobs = plan(now, rates);
        if (jobs.empty()) {
            changed_.wait_until(lock, wakeUpTime(now));
            continue;
        }
        lock.unlock();
        const std::vector<Outcome> outcomes = execute(jobs);
        lock.lock();
        settle(outcomes);
        changed_.notify_all();
        // The last lock release of the thread: whoever saw the last port closed may join it.
        if (allClosed()) {
            return;
        }
    }
}

std::vector<Recording::Job> Recording::plan(Clock::time_point now, const std::vector<double>& rates) {
    std::vector<Job> jobs;
    for (size_t index = 0; index < ports_.size(); ++index) {
        planPort(*ports_[index], index, now, rates[index], jobs);
    }
    return jobs;
}

void Recording::planPort(Port& port, size_t index, Clock::time_point now, double rate, std::vector<Job>& jobs) {
    if (port.closed) {
        return;
    }
    if (port.stopRequested) {
        if (port.phase != Phase::Idle) {
            port.phase = Phase::Finished;
        }
        jobs.push_back(Job{index, {}, false, true});
        return;
    }
    if (port.phase == Phase::Finished || port.phase == Phase::Idle) {
        return;
    }
    port.follow(rate, now);
    uint64_t dueEnd = port.nextFrame;
    if (port.rate >= SilentRate) {
        const double elapsed = std::chrono::duration<double>(now - port.origin).count();
        dueEnd = std::max(dueEnd, port.originFrame + static_cast<uint64_t>(std::floor(elapsed * port.rate)) + 1);
    }
    if (port.phase == Phase::Recording) {
        Job job{index, {}, false, false};
        planFrames(port, job, dueEnd, now);
        if (!job.frames.empty() || job.finish) {
            jobs.push_back(std::move(job));
        }
        return;
    }
    port.nextFrame = dueEnd;
    if (port.phase == Phase::Pretrigger && port.rate >= SilentRate) {
        const auto loopLength =
            static_cast<uint64_t>(static_cast<double>(trigger_.pretriggerMicroseconds) * port.rate / 1e6);
        port.loopFirst = std::max(port.loopFirst, dueEnd - std::min(dueEnd, loopLength));
    }
}

void Recording::planFrames(Port& port, Job& job, uint64_t dueEnd, Clock::time_point now) {
    const std::optional<uint32_t> limit = trigger_.stopFrameCount;
    const auto take = [&](uint64_t frame) {
        if (limit && port.recorded + job.frames.size() >= *limit) {
            return false;
        }
        job.frames.push_back(frame);
        return true;
    };
    if (port.loopToWrite) {
        for (uint64_t frame = port.loopToWrite->first; frame < port.loopToWrite->second && take(frame); ++frame) {
        }
        port.loopToWrite.reset();
    }
    std::optional<Clock::time_point> deadline;
    if (trigger_.stopMicroseconds) {
        deadline = port.startedAt + std::chrono::microseconds(*trigger_.stopMicroseconds);
    }
    const uint64_t first = dueEnd - port.nextFrame > MaxFramesPerWakeUp ? dueEnd - MaxFramesPerWakeUp : port.nextFrame;
    for (uint64_t frame = first; frame < dueEnd && !(deadline && port.dueTime(frame) >= *deadline); ++frame) {
        if (!take(frame)) {
            break;
        }
    }
    port.nextFrame = dueEnd;
    job.finish = (limit && port.recorded + job.frames.size() >= *limit) || (deadline && now >= *deadline) ||
                 (deadline && port.rate >= SilentRate && port.dueTime(dueEnd) >= *deadline);
}

std::vector<Recording::Outcome> Recording::execute(const std::vector<Job>& jobs) {
    std::vector<Outcome> outcomes;
    for (const Job& job : jobs) {
        Port& port = *ports_[job.port];
        Outcome outcome{job.port, job.finish};
        try {
            const uint64_t bytes = port.stream.frameBytes();
            frame_.resize(std::max<uint64_t>(frame_.size(), bytes));
            for (const uint64_t frame : job.frames) {
                fillFrame(frame_.data(), port.stream.portIndex, frame, port.stream.width, port.stream.height, 16);
                if (!port.writer->append(frame_.data(), bytes)) {
                    outcome.finish = true;
                    break;
                }
            }
            if (job.flush) {
                port.writer->flush();
            }
        } catch (const Common::GeneralException&) {
            // The drive failed: the stream ends with what reached it, as on a full set.
            port.writer->abandon(port.stream.frameBytes());
            outcome.finish = true;
        }
        outcome.flushed = job.flush;
        outcomes.push_back(outcome);
    }
    return outcomes;
}

void Recording::settle(const std::vector<Outcome>& outcomes) {
    for (const Outcome& outcome : outcomes) {
        Port& port = *ports_[outcome.port];
        port.recorded = port.writer->frames();
        if (outcome.finish) {
            port.phase = Phase::Finished;
        }
        if (outcome.flushed) {
            port.closed = true;
            port.stream.frames = port.writer->frames();
            port.stream.blocks = port.writer->blocks();
        }
    }
}

Recording::Clock::time_point Recording::wakeUpTime(Clock::time_point now) const {
    Clock::time_point wakeUp = now + Poll;
    for (const auto& port : ports_) {
        if (port->closed || port->phase == Phase::Finished || port->phase == Phase::Idle) {
            continue;
        }
        if (port->rate >= SilentRate) {
            wakeUp = std::min(wakeUp, port->dueTime(port->nextFrame));
        }
        if (port->phase == Phase::Recording && trigger_.stopMicroseconds) {
            wakeUp = std::min(wakeUp, port->startedAt + std::chrono::microseconds(*trigger_.stopMicroseconds));
        }
    }
    return wakeUp;
}

void Recording::begin(Port& port, Clock::time_point now) {
    if (port.phase == Phase::Pretrigger && port.nextFrame > port.loopFirst) {
        port.loopToWrite = std::make_pair(port.loopFirst, port.nextFrame);
    }
    port.phase = Phase::Recording;
    port.startedAt = now;
}

std::optional<uint64_t> Recording::reserveBlocks(uint64_t count) {
    try {
        Recorder::Session session = recorder_.internalSession();
        return session.storage().set(setId_).reserveBlocks(fileId_, count);
    } catch (const Common::GeneralException&) {
        return std::nullopt;
    }
}

Recording::Port& Recording::port(uint32_t portIndex) {
    return const_cast<Port&>(static_cast<const Recording&>(*this).port(portIndex));
}

const Recording::Port& Recording::port(uint32_t portIndex) const {
    const auto found = std::find_if(ports_.begin(), ports_.end(),
                                    [&](const auto& port) { return port->stream.portIndex == portIndex; });
    if (found == ports_.end()) {
        fail("Port " + std::to_string(portIndex) + " does not take part in this recording.");
    }
    return **found;
}

}  // namespace sim
