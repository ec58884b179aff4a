#pragma once
#include <cstdint>
#include <string>

namespace tavu {

// The base name of every region that the service's devices share with clients: playback and live
// frames, and the names that a new service clears after a killed one.
inline constexpr const char* RegionBaseName = "orek_tavu";

// A named block of shared memory: a device creates it and hands its name to a client,
// which maps the same bytes by that name. Frames travel this way, never through the socket.
// The object that created a region removes its name when it closes; a client that mapped
// the region keeps its bytes until it unmaps them.
class SharedRegion {
public:
    SharedRegion() = default;
    ~SharedRegion();
    SharedRegion(SharedRegion&& other) noexcept;
    SharedRegion& operator=(SharedRegion&& other) noexcept;
    SharedRegion(const SharedRegion&) = delete;
    SharedRegion& operator=(const SharedRegion&) = delete;

    // Creates and maps a region under the base name and upper-case hexadecimal digits that
    // nobody uses yet. `global` has no meaning on this platform.
    bool createUnique(const std::string& baseName, uint64_t size, bool global);
    // Creates a region under exactly this name; the high 32 bits of size give both halves
    // of the size, so anything below 4 GiB asks for an empty region and fails.
    bool createNamed(const std::string& name, uint64_t size, bool global);
    // Maps an existing region; its size then is the region's, rounded up to whole pages.
    bool open(const std::string& name);
    void close() noexcept;

    void* view() const { return view_; }
    uint64_t viewSize() const { return viewSize_; }
    std::string mappingName() const { return mappingName_; }

private:
    enum class Created { Yes, NameTaken, Failed };
    Created create(const std::string& name, uint64_t size);
    bool map(uint64_t size);

    std::string mappingName_;
    int handle_ = -1;
    void* view_ = nullptr;
    uint64_t viewSize_ = 0;
    bool owner_ = false;
};

// Removes the regions of this user whose names begin with baseName and that no process holds
// open or maps, as far as /proc shows: what a killed copy of the service left behind.
void removeUnusedRegions(const std::string& baseName);

}  // namespace tavu
