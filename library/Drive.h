#pragma once
#include <boost/shared_ptr.hpp>

#include <cstdint>
#include <utility>

namespace Quillon {

class Drive {
public:
    // Where a drive sits; drive set sources are ordered by it.
    class PhysicalLocation {
    public:
        explicit PhysicalLocation(const boost::shared_ptr<Drive>& drive)
            : drive_(drive), index_(drive->physicalIndex()) {}

        const boost::shared_ptr<Drive>& drive() const { return drive_; }
        uint32_t index() const { return index_; }

    private:
        boost::shared_ptr<Drive> drive_;
        uint32_t index_;
    };

    virtual ~Drive() = default;

    virtual uint32_t physicalIndex() = 0;
};

class DriveGroup {
public:
    virtual ~DriveGroup() = default;

    virtual uint32_t size() = 0;
    virtual boost::shared_ptr<Drive> drive(uint32_t index) = 0;
};

class DriveGroupList {
public:
    virtual ~DriveGroupList() = default;

    virtual uint32_t size() = 0;
    virtual boost::shared_ptr<DriveGroup> group(uint32_t index) = 0;
};

}  // namespace Quillon
