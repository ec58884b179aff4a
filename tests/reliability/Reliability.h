#pragma once
#include <sys/types.h>

#include <cstdint>
#include <filesystem>
#include <set>
#include <string>

namespace tavu::test {

// What the service process holds of the system: open descriptors, threads, mapped shared
// regions and resident memory.
struct Footprint {
    size_t descriptors = 0;
    size_t threads = 0;
    size_t sharedMappings = 0;
    uint64_t residentKiB = 0;
};
Footprint footprintOf(pid_t pid);

// Whether a shared region of that name still exists.
bool sharedRegionExists(const std::string& mapping);

// Shared regions in /dev/shm.
size_t sharedRegionCount();

// Names of the shared regions that any process maps.
std::set<std::string> sharedRegionsMapped();

// Mode bits (permissions only) of a path, not following a link.
unsigned modeOf(const std::filesystem::path& path);

// A file system mounted over a folder for the life of the object. The first mount moves the
// test process into a mount namespace of its own, which the service started afterwards
// shares: nothing can stay mounted for others when a test dies.
class ScopedMount {
public:
    // A tmpfs of `bytes` bytes.
    static ScopedMount tmpfs(const std::filesystem::path& where, uint64_t bytes);
    // The folder itself again, read-only.
    static ScopedMount readOnly(const std::filesystem::path& where);

    ScopedMount(ScopedMount&& other) noexcept;
    ScopedMount& operator=(ScopedMount&&) = delete;
    ~ScopedMount();

    // False when mounting is not allowed here; the test then skips.
    bool mounted() const { return !where_.empty(); }

private:
    explicit ScopedMount(std::filesystem::path where) : where_(std::move(where)) {}
    std::filesystem::path where_;
};

}  // namespace tavu::test
