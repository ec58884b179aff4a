#pragma once
#include <condition_variable>
#include <cstdint>
#include <deque>
#include <exception>
#include <functional>
#include <mutex>
#include <thread>
#include <vector>

namespace tavu::tavuctl {

// Encodes and writes frames on worker threads while the caller fetches the next ones: image
// encoding, not the service, is what limits an export. The queue is bounded, so memory stays
// at a few frames per worker.
class FrameWriterPool {
public:
    using Writer = std::function<void(uint64_t frame, const std::vector<uint8_t>& pixels)>;

    FrameWriterPool(unsigned workers, Writer writer);
    // Frames still queued are dropped; those being written are completed.
    ~FrameWriterPool();
    FrameWriterPool(const FrameWriterPool&) = delete;
    FrameWriterPool& operator=(const FrameWriterPool&) = delete;

    // Waits while the queue is full. Raises the first failure of a writer.
    void submit(uint64_t frame, std::vector<uint8_t> pixels);
    // Waits until everything submitted is written. Raises the first failure of a writer.
    void finish();
    uint64_t written() const;

private:
    struct Job {
        uint64_t frame;
        std::vector<uint8_t> pixels;
    };

    void work();
    void rethrowFailure();

    Writer writer_;
    size_t capacity_;
    mutable std::mutex mutex_;
    std::condition_variable jobReady_;
    std::condition_variable jobDone_;
    std::deque<Job> queue_;
    size_t busy_ = 0;
    uint64_t written_ = 0;
    bool closing_ = false;
    std::exception_ptr failure_;
    std::vector<std::jthread> workers_;
};

}  // namespace tavu::tavuctl
