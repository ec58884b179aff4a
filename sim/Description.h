#pragma once
#include <cstdint>
#include <filesystem>
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

    bool operator==(const DriveDescription&) const = default;
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
    // Operations that fail on this recorder, by "<Class>::<operation>".
    std::vector<std::string> faults;
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
