#pragma once
#include "sim/StoredDriveSet.h"

#include <cstdint>
#include <filesystem>
#include <map>
#include <vector>

namespace sim {

// The drive sets of one recorder, each in a folder "set-<id>" of the recorder's folder, and
// "drivesets.json" with the next id, so that the id of a removed set is never given again.
class DriveSetStore {
public:
    // Reads the sets that the folder holds.
    explicit DriveSetStore(std::filesystem::path recorderFolder);

    std::vector<uint32_t> ids() const;
    StoredDriveSet& set(uint32_t id);
    // A drive can belong to one set only.
    uint32_t create(DriveSetSettings settings);
    // The set goes with all its files.
    void remove(uint32_t id);

private:
    std::filesystem::path setFolder(uint32_t id) const;
    void saveNextId() const;

    std::filesystem::path folder_;
    uint32_t nextId_ = 1;
    std::map<uint32_t, StoredDriveSet> sets_;
};

}  // namespace sim
