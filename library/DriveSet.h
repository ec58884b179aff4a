#pragma once
#include "library/Drive.h"
#include "library/Forward.h"
#include "library/String.h"
#include "library/Values.h"
#include "library/Vector.h"

#include <boost/shared_ptr.hpp>

#include <cstdint>
#include <map>

namespace Quillon {

// A stripe over drives, managed by the library as numbered files.
class DriveSet {
public:
    struct Info {
        uint32_t clusterBytes = 0;

        uint32_t clusterSizeBytes() const { return clusterBytes; }
    };

    struct CapacityInfo {
        uint64_t total = 0;
        uint64_t used = 0;

        uint64_t totalBytes() const { return total; }
        uint64_t usedBytes() const { return used; }
    };

    // The drives of a set to be created, kept in the order of their physical index whatever the
    // order of `add`.
    class Source {
    public:
        void add(const Drive::PhysicalLocation& location) { drives_.insert_or_assign(location.index(), location.drive()); }
        const std::map<uint32_t, boost::shared_ptr<Drive>>& drives() const { return drives_; }

    private:
        std::map<uint32_t, boost::shared_ptr<Drive>> drives_;
    };

    // Filled by the service in field order; the meaning of the two settings is the library's.
    struct CreateParameters {
        String name;
        uint32_t firstSetting = 0;
        Source source;
        uint32_t secondSetting = 0;
    };

    virtual ~DriveSet() = default;

    virtual boost::shared_ptr<Info> info() = 0;
    virtual boost::shared_ptr<DriveFile> openFile(uint32_t fileId) = 0;
    virtual Vector<uint32_t> fileIds() = 0;
    // 0 when there is no such name.
    virtual uint32_t findFile(const String& name) = 0;
    // The file of a recording that did not end; 0 when there is none.
    virtual uint32_t incompleteFileId() = 0;
    virtual boost::shared_ptr<DriveFileEntry> fileEntry(uint32_t fileId) = 0;
    // sizeClusters counts clusters of clusterSizeBytes times the number of drives.
    virtual uint32_t createFile(const String& name, uint64_t sizeClusters, uint64_t timestamp) = 0;
    virtual void removeFile(uint32_t fileId) = 0;
    // Starts the repair job and returns at once.
    virtual boost::shared_ptr<Recovery> recover(uint32_t fileId) = 0;
    virtual boost::shared_ptr<CapacityInfo> capacityInfo(bool flag) = 0;
    virtual Vector<boost::shared_ptr<Drive>> drives() = 0;
};

class DriveSetCollection {
public:
    virtual ~DriveSetCollection() = default;

    virtual boost::shared_ptr<DriveSet> open(uint32_t id) = 0;
    virtual Vector<uint32_t> ids() = 0;
    // Makes a new set and thereby lists it in ids().
    virtual void create(const boost::shared_ptr<DriveSet::CreateParameters>& parameters) = 0;
    // Destroys a set with its files.
    virtual void remove(uint32_t id) = 0;
};

class Storage {
public:
    virtual ~Storage() = default;

    virtual boost::shared_ptr<DriveSetCollection> driveSets() = 0;
    virtual boost::shared_ptr<DriveGroupList> driveGroups() = 0;
};

}  // namespace Quillon
