#include "sim/LiveCamera.h"

#include "sim/FramePattern.h"

#include <algorithm>
#include <cmath>

namespace sim {

void LiveCamera::start() {
    std::lock_guard lock(mutex_);
    origin_ = Clock::now();
    originFrame_ = 0;
    nextFrame_ = 0;
}

void LiveCamera::interrupt() {
    {
        std::lock_guard lock(mutex_);
        ++interrupts_;
    }
    wake_.notify_all();
}

std::optional<uint64_t> LiveCamera::waitForFrame(std::chrono::milliseconds timeout, double rate) {
    std::unique_lock lock(mutex_);
    const Clock::time_point now = Clock::now();
    const Clock::time_point deadline = now + timeout;
    const uint64_t interruptsBefore = interrupts_;
    follow(rate, now);
    const bool silent = rate < SilentRate;
    uint64_t frame = nextFrame_;
    if (!silent) {
        // Frames that were due before the grab have passed by.
        const double elapsed = std::chrono::duration<double>(now - origin_).count();
        frame = std::max(frame, originFrame_ + static_cast<uint64_t>(std::ceil(elapsed * rate_)));
    }
    const Clock::time_point due = silent ? deadline : std::min(deadline, dueTime(frame));
    const bool interrupted = wake_.wait_until(lock, due, [&] { return interrupts_ != interruptsBefore; });
    // A grab that runs out of time gets no frame, like an interrupted one, rather than an error:
    // that is how the recorder library answers, and what the service reports to its client.
    if (interrupted || silent || dueTime(frame) > deadline) {
        return std::nullopt;
    }
    nextFrame_ = frame + 1;
    return frame;
}

void LiveCamera::follow(double rate, Clock::time_point now) {
    if (rate == rate_) {
        return;
    }
    rate_ = rate;
    origin_ = now;
    originFrame_ = nextFrame_;
}

LiveCamera::Clock::time_point LiveCamera::dueTime(uint64_t frame) const {
    const double seconds = static_cast<double>(frame - originFrame_) / rate_;
    return origin_ + std::chrono::duration_cast<Clock::duration>(std::chrono::duration<double>(seconds));
}

}  // namespace sim
