#pragma once
// The files of a drive set in memory, for a mock drive set to delegate to.
#include "LibraryMocks.h"

#include <cstdint>
#include <map>
#include <string>
#include <vector>

namespace tavu::test {

struct StoredFile {
    std::string name;
    uint64_t sizeClusters = 0;
    std::vector<std::vector<uint8_t>> blocks;
    std::vector<uint8_t> metadata;
};

class DriveStore {
public:
    static constexpr uint32_t MetadataBytes = 4096;

    // Makes `driveSet` behave as a set of `driveCount` drives holding these files.
    void serve(MockDriveSet& driveSet, const Ptr<Quillon::DriveSet>& handle);

    uint32_t add(const std::string& name, uint64_t sizeClusters);
    bool has(const std::string& name) const;
    void remove(const std::string& name);
    StoredFile& file(const std::string& name);
    // All blocks of a file, back to back.
    std::vector<uint8_t> contents(const std::string& name) const;

    uint32_t clusterBytes = 256;
    uint32_t driveCount = 2;
    std::map<uint32_t, StoredFile> files;

private:
    uint32_t findFile(const std::string& name) const;

    uint32_t nextId_ = 100;
};

}  // namespace tavu::test
