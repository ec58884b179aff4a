#pragma once
#include <cstdint>

namespace Quillon {

// The library's own enumerations; the service names only numbers of them.
enum class Scope : uint32_t {};
enum class HostInterfaceType : uint32_t {};

// Tagged value of a trigger parameter or a data descriptor field.
class ParameterValue {
public:
    static constexpr uint32_t BooleanTag = 0;
    static constexpr uint32_t Unsigned32Tag = 2;
    static constexpr uint32_t Unsigned64Tag = 3;

    ParameterValue() = default;
    static ParameterValue boolean(bool value) { return ParameterValue(BooleanTag, value ? 1 : 0); }
    static ParameterValue unsigned32(uint32_t value) { return ParameterValue(Unsigned32Tag, value); }
    static ParameterValue unsigned64(uint64_t value) { return ParameterValue(Unsigned64Tag, value); }

    uint32_t tag() const { return tag_; }
    bool asBoolean() const { return value_ != 0; }
    uint32_t asUnsigned32() const { return static_cast<uint32_t>(value_); }
    uint64_t asUnsigned64() const { return value_; }

    bool operator==(const ParameterValue&) const = default;

private:
    ParameterValue(uint32_t tag, uint64_t value) : tag_(tag), value_(value) {}

    uint32_t tag_ = BooleanTag;
    uint64_t value_ = 0;
};

struct VersionInfo {
    uint32_t major = 0;
    uint32_t minor = 0;
    uint32_t third = 0;
    uint32_t fourth = 0;

    bool operator==(const VersionInfo&) const = default;
};

struct HardwareInfo {
    // The recorder model's type number.
    uint32_t deviceType = 0;
};

struct DriveFileEntry {
    // Allocated size in the clusters of DriveSet::createFile.
    uint64_t sizeClusters = 0;
};

struct DriveFileInfo {
    // Bytes of one block on one drive; a block of the file spans all drives.
    uint32_t clusterBytes = 0;
};

// First argument of Port::startGrab; the meaning of the two values is the library's.
struct GrabOptions {
    bool flag = false;
    uint32_t value = 0;
};

}  // namespace Quillon
