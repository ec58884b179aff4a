#include "tools/tavuctl/FrameWriterPool.h"

namespace tavu::tavuctl {

FrameWriterPool::FrameWriterPool(unsigned workers, Writer writer)
    : writer_(std::move(writer)), capacity_(2 * static_cast<size_t>(std::max(workers, 1U))) {
    for (unsigned i = 0; i < std::max(workers, 1U); ++i) {
        workers_.emplace_back([this] { work(); });
    }
}

FrameWriterPool::~FrameWriterPool() {
    {
        std::lock_guard lock(mutex_);
        closing_ = true;
        queue_.clear();
    }
    jobReady_.notify_all();
    // The jthreads join here, before the members they use go.
    workers_.clear();
}

void FrameWriterPool::submit(uint64_t frame, std::vector<uint8_t> pixels) {
    std::unique_lock lock(mutex_);
    jobDone_.wait(lock, [this] { return queue_.size() < capacity_ || failure_; });
    rethrowFailure();
    queue_.push_back(Job{frame, std::move(pixels)});
    lock.unlock();
    jobReady_.notify_one();
}

void FrameWriterPool::finish() {
    std::unique_lock lock(mutex_);
    jobDone_.wait(lock, [this] { return queue_.empty() && busy_ == 0; });
    rethrowFailure();
}

uint64_t FrameWriterPool::written() const {
    std::lock_guard lock(mutex_);
    return written_;
}

void FrameWriterPool::rethrowFailure() {
    if (failure_) {
        std::rethrow_exception(failure_);
    }
}

void FrameWriterPool::work() {
    for (;;) {
        std::unique_lock lock(mutex_);
        jobReady_.wait(lock, [this] { return closing_ || !queue_.empty(); });
        if (queue_.empty()) {
            return;
        }
        Job job = std::move(queue_.front());
        queue_.pop_front();
        ++busy_;
        lock.unlock();
        jobDone_.notify_all();

        std::exception_ptr failure;
        try {
            writer_(job.frame, job.pixels);
        } catch (...) {
            failure = std::current_exception();
        }

        lock.lock();
        --busy_;
        if (failure && !failure_) {
            failure_ = failure;
        } else if (!failure) {
            ++written_;
        }
        lock.unlock();
        jobDone_.notify_all();
    }
}

}  // namespace tavu::tavuctl
