#include "emulator/RecordingWorker.h"

#include "emulator/SyntheticFrames.h"

#include <chrono>
#include <thread>

namespace tavu {

namespace {

using Clock = std::chrono::steady_clock;
constexpr auto kFramePeriod = std::chrono::milliseconds(kFramePeriodMs);

// A time limit too far out to reach counts as none.
Clock::time_point endOfTimedRecording(Clock::time_point start, uint64_t micros) {
    const auto room = std::chrono::duration_cast<std::chrono::microseconds>(Clock::time_point::max() - start);
    if (micros >= static_cast<uint64_t>(room.count())) {
        return Clock::time_point::max();
    }
    return start + std::chrono::microseconds(micros);
}

// The time limit is tested against the schedule, not the clock, so that a late frame doesn't
// change how many frames a timed recording has.
bool limitReached(const RecordingJob& job, uint64_t recorded, Clock::time_point schedule,
                  Clock::time_point end) {
    switch (job.type) {
        case StopCondition::FrameCount:
            return recorded >= job.count;
        case StopCondition::Time:
            return schedule >= end;
        default:
            return false;
    }
}

void sleepUntil(Clock::time_point when) {
    while (Clock::now() < when) {
        std::this_thread::sleep_until(when);
    }
}

}  // namespace

void runRecording(RecordingJob job, RecordingFlags& flags, const std::atomic<uint16_t>& width) {
    Clock::time_point schedule = Clock::now();
    const Clock::time_point end = endOfTimedRecording(schedule, job.count);
    FrameSequence frames(job.pixelsPerFrame);
    for (;;) {
        job.file.write(frames.next(width.load(std::memory_order_relaxed)));
        const uint64_t recorded = flags.recordedFrames.fetch_add(1) + 1;
        if (flags.stop.load() || limitReached(job, recorded, schedule, end)) {
            break;
        }
        // Absolute schedule: after a delay, frames follow without a pause until caught up.
        schedule += kFramePeriod;
        sleepUntil(schedule);
    }
    job.file.close();
    flags.done.store(true);
}

}  // namespace tavu
