#include "emulator/SplitReader.h"

#include <unistd.h>

#include <cerrno>
#include <system_error>

namespace tavu {

uint64_t readFully(int fd, std::span<uint8_t> bytes, uint64_t offset) noexcept {
    uint64_t done = 0;
    while (done < bytes.size()) {
        const ssize_t count =
            ::pread(fd, bytes.data() + done, bytes.size() - done, static_cast<off_t>(offset + done));
        if (count < 0 && errno == EINTR) {
            continue;
        }
        if (count <= 0) {
            break;
        }
        done += static_cast<uint64_t>(count);
    }
    return done;
}

uint64_t SplitReader::read(int fd, std::span<uint8_t> bytes, uint64_t offset) noexcept {
    if (bytes.size() < SplitFrom || !startHelper()) {
        return readFully(fd, bytes, offset);
    }
    // Split on a page boundary, so that no page of the destination is written by both threads.
    constexpr uint64_t kPage = 4096;
    const uint64_t near = bytes.size() / 2 / kPage * kPage;
    {
        std::lock_guard lock(mutex_);
        job_ = Job{fd, bytes.subspan(near), offset + near};
        result_.reset();
    }
    posted_.notify_one();
    const uint64_t nearCount = readFully(fd, bytes.first(near), offset);
    uint64_t farCount = 0;
    {
        std::unique_lock lock(mutex_);
        finished_.wait(lock, [this] { return result_.has_value(); });
        farCount = *result_;
    }
    // A near half that ends early ends the readable part there, whatever the far one found.
    return nearCount < near ? nearCount : near + farCount;
}

bool SplitReader::startHelper() noexcept {
    if (helper_.joinable()) {
        return true;
    }
    if (failed_ || std::thread::hardware_concurrency() < 2) {
        return false;
    }
    try {
        helper_ = std::jthread([this](std::stop_token stop) { serve(std::move(stop)); });
        return true;
    } catch (const std::system_error&) {
        // Out of threads: read on one, and don't try again for every frame.
        failed_ = true;
        return false;
    }
}

void SplitReader::serve(std::stop_token stop) {
    for (;;) {
        Job job{};
        {
            std::unique_lock lock(mutex_);
            if (!posted_.wait(lock, stop, [this] { return job_.has_value(); })) {
                return;
            }
            job = *job_;
            job_.reset();
        }
        const uint64_t count = readFully(job.fd, job.bytes, job.offset);
        {
            std::lock_guard lock(mutex_);
            result_ = count;
        }
        finished_.notify_one();
    }
}

}  // namespace tavu
