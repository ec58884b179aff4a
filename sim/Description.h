#pragma once
#include <cstdint>
#include <filesystem>
#include <optional>
#include <string>
#include <vector>

namespace sim {

// One camera port as recorders.json describes it: what the recorder reports about the camera.
struct PortDescription {
    std::string name;
    bool cameraDetected = true;
    // What the port reports while its camera acquires.
    double measuredFrameRate = 0.0;
    uint32_t linkMode = 1;
    bool hasSerial = false;
    bool hasBitDepthSetting = false;
    bool hasPackingSetting = false;
    // Bits per pixel that the camera delivers.
    uint32_t bitDepth = 16;
    // An asleep camera reports no frame rate until a non-zero value is written to its
    // acquisition-start register, whose address camera register 0x300C holds.
    bool cameraAsleep = false;
    uint32_t acquisitionStartAddress = 0x4000;

    bool operator==(const PortDescription&) const = default;
};

struct DriveDescription {
    uint32_t physicalIndex = 0;
    uint64_t capacity = 0;  // bytes
    // How fast the drive writes, from its group's description; 0 for no limit.
    uint64_t bytesPerSecond = 0;

    bool operator==(const DriveDescription&) const = default;
};

// An operation that fails on a recorder. Calls are counted from the edit that brought the fault:
// the first `after` calls pass, then `times` calls fail (every later one when it is not given).
struct FaultDescription {
    std::string operation;  // "<Class>::<operation>"
    uint64_t after = 0;
    std::optional<uint64_t> times;
    // Only calls on this port count and fail.
    std::optional<std::string> port;
    // Record::stopPort only: a call that the fault strikes gives file id 0 and leaves the port
    // recording, instead of throwing.
    bool givesNoFile = false;

    bool operator==(const FaultDescription&) const = default;
};

struct RecorderDescription {
    std::string name;  // also the name of the recorder's folder
    std::string altName;
    uint32_t kind = 0;
    uint32_t deviceType = 0;
    bool connected = true;
    // Bytes of one block on one drive for the drive sets that this recorder makes.
    uint32_t clusterBytes = 262144;
    std::vector<PortDescription> ports;
    std::vector<std::vector<DriveDescription>> driveGroups;
    // The level of the recorder's external trigger input: each change is an edge that the trigger
    // network sees.
    bool externalInput = false;
    std::vector<FaultDescription> faults;
    // A recording writes each port's stream to a drive file of its own, instead of one file per
    // drive set.
    bool filePerPort = false;
    // How long the repair of an incomplete file dwells on each of its blocks.
    uint32_t recoveryMillisecondsPerBlock = 0;

    bool operator==(const RecorderDescription&) const = default;
};

// The name of the description in the simulation's folder.
inline constexpr const char* DescriptionFileName = "recorders.json";

// Reads and checks the whole description; any fault throws a text that names the file, the
// place in it and what is wrong.
std::vector<RecorderDescription> readDescription(const std::filesystem::path& file);

}  // namespace sim
