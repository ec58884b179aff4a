#pragma once
#include <condition_variable>
#include <cstdint>
#include <mutex>
#include <optional>
#include <span>
#include <thread>

namespace tavu {

// Reads up to bytes.size() from the descriptor at offset, again after a partial read or an
// interruption; stops at the end of the file or an error. Returns the count read.
uint64_t readFully(int fd, std::span<uint8_t> bytes, uint64_t offset) noexcept;

// Reads a large frame with two threads: the caller reads the near half while a thread of its own
// reads the far half. Copying out of the page cache is what a frame read costs, and two threads
// copy about a third faster than one, well more than the wake-up of the second costs. Small reads,
// machines with one processor, and a helper that can't be started read on the caller's thread
// alone. Not for concurrent use: the caller serialises its reads.
class SplitReader {
public:
    static constexpr uint64_t SplitFrom = 2 * 1024 * 1024;

    SplitReader() = default;
    SplitReader(const SplitReader&) = delete;
    SplitReader& operator=(const SplitReader&) = delete;
    ~SplitReader() = default;

    // Reads as readFully does: what is returned is the length of the frame's readable beginning.
    uint64_t read(int fd, std::span<uint8_t> bytes, uint64_t offset) noexcept;

private:
    struct Job {
        int fd;
        std::span<uint8_t> bytes;
        uint64_t offset;
    };

    bool startHelper() noexcept;
    void serve(std::stop_token stop);

    std::mutex mutex_;
    std::condition_variable_any posted_;
    std::condition_variable finished_;
    std::optional<Job> job_;
    std::optional<uint64_t> result_;
    bool failed_ = false;
    // Last, so that it stops before the members that it uses go.
    std::jthread helper_;
};

}  // namespace tavu
