#include "sim/DescriptionWatcher.h"

#include <sys/stat.h>

#include <utility>

namespace sim {

FileSignature FileSignature::of(const std::filesystem::path& path) {
    struct stat status {};
    if (::stat(path.c_str(), &status) != 0) {
        return {};
    }
    return FileSignature{true, static_cast<uint64_t>(status.st_ino), static_cast<uint64_t>(status.st_size),
                         static_cast<int64_t>(status.st_mtim.tv_sec) * 1'000'000'000 + status.st_mtim.tv_nsec};
}

DescriptionWatcher::DescriptionWatcher(std::filesystem::path file, FileSignature seen, std::function<bool()> reload)
    : file_(std::move(file)),
      seen_(seen),
      reload_(std::move(reload)),
      thread_([this](std::stop_token stop) { run(std::move(stop)); }) {}

DescriptionWatcher::~DescriptionWatcher() {
    thread_.request_stop();
    thread_.join();
}

void DescriptionWatcher::run(std::stop_token stop) {
    std::unique_lock lock(mutex_);
    // The wait ends early only when a stop is requested.
    while (!wake_.wait_for(lock, stop, Interval, [] { return false; })) {
        if (stop.stop_requested()) {
            return;
        }
        const FileSignature now = FileSignature::of(file_);
        // Taken before the reload reads the file: an edit during the read shows at the next poll.
        if (now != seen_ && reload_()) {
            seen_ = now;
        }
    }
}

}  // namespace sim
