#pragma once
#include <sys/types.h>

#include <atomic>
#include <chrono>
#include <cstdint>
#include <string>
#include <thread>
#include <vector>

namespace tavu::bench {

using Clock = std::chrono::steady_clock;
using Seconds = std::chrono::duration<double>;

// Runs `op` over and over for `window` and returns how many times a second it ran.
template <typename Op>
double ratePerSecond(Seconds window, Op op) {
    uint64_t count = 0;
    const auto start = Clock::now();
    const auto end = start + std::chrono::duration_cast<Clock::duration>(window);
    auto now = start;
    do {
        op();
        ++count;
        now = Clock::now();
    } while (now < end);
    return static_cast<double>(count) / Seconds(now - start).count();
}

// A warm-up run of a tenth of the window, then the measured one.
template <typename Op>
double warmRate(Seconds window, Op op) {
    ratePerSecond(window / 10, op);
    return ratePerSecond(window, op);
}

// Runs one loop of `op(i)` per worker i, all started together, for `window`; returns the
// total of runs a second. Each worker's setup (a connection, say) happens before the start.
template <typename Setup, typename Op>
double aggregateRate(unsigned workers, Seconds window, Setup setup, Op op) {
    std::atomic<unsigned> ready{0};
    std::atomic<bool> go{false};
    std::atomic<bool> stop{false};
    std::atomic<uint64_t> total{0};
    std::vector<std::jthread> threads;
    for (unsigned i = 0; i < workers; ++i) {
        threads.emplace_back([&, i] {
            auto state = setup(i);
            ready.fetch_add(1);
            go.wait(false);
            uint64_t count = 0;
            while (!stop.load(std::memory_order_relaxed)) {
                op(state);
                ++count;
            }
            total.fetch_add(count);
        });
    }
    while (ready.load() < workers) {
        std::this_thread::yield();
    }
    const auto start = Clock::now();
    go = true;
    go.notify_all();
    std::this_thread::sleep_for(window);
    stop = true;
    threads.clear();
    return static_cast<double>(total.load()) / Seconds(Clock::now() - start).count();
}

// Binds the calling thread to one processor, or to all of them again with -1. Threads that
// it starts afterwards inherit the binding.
void pinThisThread(int cpu);
// Binds every thread of a process to the processors of a list such as "0" or "0-3", with
// taskset. Threads that the process starts later inherit the binding of their creator.
void pinProcess(pid_t pid, const std::string& processors);
// The list of every processor, for undoing a pinProcess.
std::string allProcessors();

// Waits until every one of these threads of this process sleeps; false after ten seconds.
bool waitUntilAsleep(const std::vector<pid_t>& threads);
// The middle value.
double median(std::vector<double> values);

// User and system time of a process so far.
double processCpuSeconds(pid_t pid);
// Resident memory of a process, from /proc.
uint64_t residentBytes(pid_t pid);
// CPU time of the calling thread so far.
double threadCpuSeconds();

}  // namespace tavu::bench
