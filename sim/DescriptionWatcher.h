#pragma once
#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <filesystem>
#include <functional>
#include <mutex>
#include <stop_token>
#include <thread>

namespace sim {

// What tells one version of a file from the next without reading it.
struct FileSignature {
    bool exists = false;
    uint64_t inode = 0;
    uint64_t size = 0;
    int64_t modifiedNanoseconds = 0;

    static FileSignature of(const std::filesystem::path& path);
    bool operator==(const FileSignature&) const = default;
};

// Follows the description file from a thread of its own, polling its signature, so that an edit
// (a recorder added, a recorder unplugged) shows within a fraction of a second. Polling takes
// in-place edits and replacements by rename alike, in any folder.
class DescriptionWatcher {
public:
    static constexpr std::chrono::milliseconds Interval{100};

    // `reload` runs on the watcher's thread for each new version. It returns false when it could
    // not take the file (half written, or faulty), so that the next poll tries again.
    DescriptionWatcher(std::filesystem::path file, FileSignature seen, std::function<bool()> reload);
    DescriptionWatcher(const DescriptionWatcher&) = delete;
    DescriptionWatcher& operator=(const DescriptionWatcher&) = delete;
    ~DescriptionWatcher();

private:
    void run(std::stop_token stop);

    std::filesystem::path file_;
    FileSignature seen_;
    std::function<bool()> reload_;
    std::mutex mutex_;
    std::condition_variable_any wake_;
    std::jthread thread_;  // last: it starts once everything above is in place
};

}  // namespace sim
