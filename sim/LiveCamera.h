#pragma once
#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <mutex>
#include <optional>

namespace sim {

// The frame clock of one port's live acquisition. Frame f of an acquisition is due f / rate
// seconds after its start; a grab takes the next frame that nobody took yet, and never one that
// is due before the grab began. It has its own lock, so that a waiting grab holds up nothing else
// of the recorder.
class LiveCamera {
public:
    using Clock = std::chrono::steady_clock;

    // A new acquisition: frame numbers count from 0 again.
    void start();
    // Ends the grabs that wait now; later grabs are not affected.
    void interrupt();
    // Waits until the next frame is due and gives its number; none when interrupted or when no
    // frame is due within `timeout`. A rate below 0.001 delivers nothing.
    std::optional<uint64_t> waitForFrame(std::chrono::milliseconds timeout, double rate);

private:
    // Frame numbers go on without a jump when the rate changes.
    void follow(double rate, Clock::time_point now);
    Clock::time_point dueTime(uint64_t frame) const;

    std::mutex mutex_;
    std::condition_variable wake_;
    uint64_t interrupts_ = 0;
    double rate_ = 0.0;
    Clock::time_point origin_ = Clock::now();
    uint64_t originFrame_ = 0;
    uint64_t nextFrame_ = 0;
};

}  // namespace sim
