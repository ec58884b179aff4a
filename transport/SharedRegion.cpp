#include "transport/SharedRegion.h"

#include <fcntl.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <sys/sysmacros.h>
#include <unistd.h>

#include <cctype>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <map>
#include <optional>
#include <utility>
#include <vector>

namespace tavu {

namespace {

constexpr int MaxAttempts = 10000;

std::string objectName(const std::string& name) { return "/" + name; }

// Where shm_open keeps the objects on Linux.
const std::filesystem::path SharedMemoryFolder = "/dev/shm";

// Objects are told apart by device and inode, as /proc shows them: a name means nothing across
// mount namespaces, and a killed copy's names are drawn again by every copy.
using ObjectKey = std::pair<dev_t, ino_t>;

std::optional<ObjectKey> keyOf(const std::filesystem::path& path, bool follow) {
    struct stat info {};
    if ((follow ? ::stat(path.c_str(), &info) : ::lstat(path.c_str(), &info)) != 0) {
        return std::nullopt;
    }
    return ObjectKey{info.st_dev, info.st_ino};
}

// The entries of a folder, none when it can't be read: a process may end while it is looked at.
std::vector<std::filesystem::path> entriesOf(const std::filesystem::path& folder) {
    std::vector<std::filesystem::path> entries;
    std::error_code error;
    for (std::filesystem::directory_iterator entry(folder, error), end; !error && entry != end;
         entry.increment(error)) {
        entries.push_back(entry->path());
    }
    return entries;
}

// Drops from `unused` what the process holds open or maps; a process we may not look into
// counts as using nothing of ours.
void dropUsedBy(const std::filesystem::path& process, const std::string& baseName,
                std::map<ObjectKey, std::string>& unused) {
    for (const auto& descriptor : entriesOf(process / "fd")) {
        if (const auto key = keyOf(descriptor, true)) {
            unused.erase(*key);
        }
    }
    std::ifstream maps(process / "maps");
    for (std::string line; std::getline(maps, line);) {
        unsigned major = 0, minor = 0;
        unsigned long long inode = 0;
        if (line.find(baseName) != std::string::npos &&
            std::sscanf(line.c_str(), "%*s %*s %*s %x:%x %llu", &major, &minor, &inode) == 3) {
            unused.erase(ObjectKey{makedev(major, minor), inode});
        }
    }
}

}  // namespace

void removeUnusedRegions(const std::string& baseName) {
    std::map<ObjectKey, std::string> unused;
    for (const auto& entry : entriesOf(SharedMemoryFolder)) {
        const std::string name = entry.filename();
        struct stat info {};
        if (name.rfind(baseName, 0) == 0 && ::lstat(entry.c_str(), &info) == 0 && S_ISREG(info.st_mode) &&
            info.st_uid == ::geteuid()) {
            unused.emplace(ObjectKey{info.st_dev, info.st_ino}, name);
        }
    }
    // Listed before the processes are looked at, so a region made meanwhile is no candidate, and
    // one made before is held open by its maker from the start, then mapped.
    for (const auto& process : entriesOf("/proc")) {
        if (std::isdigit(static_cast<unsigned char>(process.filename().c_str()[0])) != 0) {
            dropUsedBy(process, baseName, unused);
        }
    }
    for (const auto& [key, name] : unused) {
        // The name may have gone to a new region since it was listed.
        if (keyOf(SharedMemoryFolder / name, false) == key) {
            ::shm_unlink(objectName(name).c_str());
        }
    }
}

SharedRegion::~SharedRegion() { close(); }

SharedRegion::SharedRegion(SharedRegion&& other) noexcept
    : mappingName_(std::move(other.mappingName_)),
      handle_(std::exchange(other.handle_, -1)),
      view_(std::exchange(other.view_, nullptr)),
      viewSize_(std::exchange(other.viewSize_, 0)),
      owner_(std::exchange(other.owner_, false)) {
    other.mappingName_.clear();
}

SharedRegion& SharedRegion::operator=(SharedRegion&& other) noexcept {
    if (this != &other) {
        close();
        mappingName_ = std::move(other.mappingName_);
        other.mappingName_.clear();
        handle_ = std::exchange(other.handle_, -1);
        view_ = std::exchange(other.view_, nullptr);
        viewSize_ = std::exchange(other.viewSize_, 0);
        owner_ = std::exchange(other.owner_, false);
    }
    return *this;
}

SharedRegion::Created SharedRegion::create(const std::string& name, uint64_t size) {
    const int handle = ::shm_open(objectName(name).c_str(), O_CREAT | O_EXCL | O_RDWR | O_CLOEXEC, 0600);
    if (handle < 0) {
        return errno == EEXIST ? Created::NameTaken : Created::Failed;
    }
    if (::ftruncate(handle, static_cast<off_t>(size)) != 0) {
        ::close(handle);
        ::shm_unlink(objectName(name).c_str());
        return Created::Failed;
    }
    handle_ = handle;
    mappingName_ = name;
    owner_ = true;
    return Created::Yes;
}

bool SharedRegion::createUnique(const std::string& baseName, uint64_t size, bool /*global*/) {
    close();
    for (int attempt = 0; attempt < MaxAttempts; ++attempt) {
        // The generator is never seeded, so every run draws the same names; a clash with a
        // region of another process or thread only costs another pass.
        char name[512];
        std::snprintf(name, sizeof(name), "%s%X", baseName.c_str(), static_cast<unsigned>(std::rand()));
        if (create(name, size) == Created::Yes) {
            return map(size);
        }
    }
    return false;
}

bool SharedRegion::createNamed(const std::string& name, uint64_t size, bool /*global*/) {
    close();
    const uint64_t high = size >> 32;
    const uint64_t effectiveSize = (high << 32) | high;
    if (create(name, effectiveSize) != Created::Yes) {
        return false;
    }
    return map(size);
}

bool SharedRegion::map(uint64_t size) {
    struct stat info {};
    if (::fstat(handle_, &info) == 0 && static_cast<uint64_t>(info.st_size) >= size && size > 0) {
        void* view = ::mmap(nullptr, size, PROT_READ | PROT_WRITE, MAP_SHARED, handle_, 0);
        if (view != MAP_FAILED) {
            view_ = view;
            viewSize_ = size;
            return true;
        }
    }
    close();
    return false;
}

bool SharedRegion::open(const std::string& name) {
    close();
    const int handle = ::shm_open(objectName(name).c_str(), O_RDWR | O_CLOEXEC, 0);
    if (handle < 0) {
        return false;
    }
    handle_ = handle;
    mappingName_ = name;
    struct stat info {};
    if (::fstat(handle_, &info) != 0 || info.st_size <= 0) {
        close();
        return false;
    }
    const uint64_t page = static_cast<uint64_t>(::sysconf(_SC_PAGESIZE));
    const uint64_t size = (static_cast<uint64_t>(info.st_size) + page - 1) / page * page;
    void* view = ::mmap(nullptr, size, PROT_READ | PROT_WRITE, MAP_SHARED, handle_, 0);
    if (view == MAP_FAILED) {
        close();
        return false;
    }
    view_ = view;
    viewSize_ = size;
    return true;
}

void SharedRegion::close() noexcept {
    if (view_ != nullptr) {
        ::munmap(view_, viewSize_);
    }
    if (handle_ >= 0) {
        ::close(handle_);
    }
    if (owner_) {
        ::shm_unlink(objectName(mappingName_).c_str());
    }
    mappingName_.clear();
    handle_ = -1;
    view_ = nullptr;
    viewSize_ = 0;
    owner_ = false;
}

}  // namespace tavu
