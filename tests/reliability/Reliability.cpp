#include "Reliability.h"

#include <sched.h>
#include <sys/mount.h>
#include <sys/stat.h>

#include <fstream>
#include <string>

namespace tavu::test {

namespace fs = std::filesystem;

namespace {

size_t entriesIn(const fs::path& folder) {
    std::error_code error;
    size_t count = 0;
    for (fs::directory_iterator entry(folder, error), end; !error && entry != end; entry.increment(error)) {
        ++count;
    }
    return count;
}

bool privateNamespace() {
    static const bool made = ::unshare(CLONE_NEWNS) == 0 && ::mount(nullptr, "/", nullptr, MS_REC | MS_PRIVATE, nullptr) == 0;
    return made;
}

}  // namespace

Footprint footprintOf(pid_t pid) {
    const fs::path proc = "/proc/" + std::to_string(pid);
    Footprint footprint;
    footprint.descriptors = entriesIn(proc / "fd");
    footprint.threads = entriesIn(proc / "task");
    std::ifstream maps(proc / "maps");
    for (std::string line; std::getline(maps, line);) {
        footprint.sharedMappings += line.find("/dev/shm/") != std::string::npos ? 1 : 0;
    }
    std::ifstream status(proc / "status");
    for (std::string line; std::getline(status, line);) {
        if (line.rfind("VmRSS:", 0) == 0) {
            footprint.residentKiB = std::stoull(line.substr(6));
        }
    }
    return footprint;
}

bool sharedRegionExists(const std::string& mapping) {
    std::error_code ignored;
    return fs::exists("/dev/shm/" + mapping, ignored);
}

size_t sharedRegionCount() { return entriesIn("/dev/shm"); }

std::set<std::string> sharedRegionsMapped() {
    std::set<std::string> names;
    std::error_code error;
    for (fs::directory_iterator entry("/proc", error), end; !error && entry != end; entry.increment(error)) {
        std::ifstream maps(entry->path() / "maps");
        for (std::string line; std::getline(maps, line);) {
            const auto at = line.find("/dev/shm/");
            if (at != std::string::npos) {
                names.insert(line.substr(at + 9, line.find(' ', at) - at - 9));
            }
        }
    }
    return names;
}

unsigned modeOf(const fs::path& path) {
    struct stat info {};
    return ::lstat(path.c_str(), &info) == 0 ? info.st_mode & 07777 : 0xFFFFFFFF;
}

ScopedMount ScopedMount::tmpfs(const fs::path& where, uint64_t bytes) {
    const std::string options = "size=" + std::to_string(bytes) + ",mode=1777";
    if (!privateNamespace() || ::mount("tavutest", where.c_str(), "tmpfs", 0, options.c_str()) != 0) {
        return ScopedMount({});
    }
    return ScopedMount(where);
}

ScopedMount ScopedMount::readOnly(const fs::path& where) {
    if (!privateNamespace() || ::mount(where.c_str(), where.c_str(), nullptr, MS_BIND, nullptr) != 0) {
        return ScopedMount({});
    }
    ScopedMount mount(where);
    if (::mount(nullptr, where.c_str(), nullptr, MS_BIND | MS_REMOUNT | MS_RDONLY, nullptr) != 0) {
        return ScopedMount({});  // `mount` unmounts the writable bind on its way out
    }
    return mount;
}

ScopedMount::ScopedMount(ScopedMount&& other) noexcept : where_(std::move(other.where_)) { other.where_.clear(); }

ScopedMount::~ScopedMount() {
    if (!where_.empty()) {
        ::umount2(where_.c_str(), MNT_DETACH);
    }
}

}  // namespace tavu::test
