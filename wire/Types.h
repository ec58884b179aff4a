#pragma once
#include <cstdint>
#include <string>

namespace tavu {

// The values that commands carry in and out when there is more than one, shared by the device
// interface, the service's handlers and the client. Widths are those of the wire.

// Values of hardwareType: the emulated recorder, and the recorder families by their model number.
struct HardwareType {
    static constexpr uint8_t Unknown = 0;
    static constexpr uint8_t Emulator = 1;
    static constexpr uint8_t FirstFamily = 2;
    static constexpr uint8_t SecondFamily = 3;
};

struct OpenedFile {
    uint32_t openFileId = 0;
    std::string mapping;  // shared region that receives each frame read
};

struct OpenFileInfo {
    uint16_t width = 0;
    uint16_t height = 0;
    uint32_t imageSize = 0;  // bytes of one frame
    uint64_t numFrames = 0;
    uint64_t size = 0;  // bytes of the whole stream
};

// New descriptive fields of a recording; the device may alter the name (see setFileInfo).
struct FileInfoUpdate {
    std::string name;
    uint16_t width = 0;
    uint16_t height = 0;
    uint64_t numImages = 0;
    uint64_t numDroppedFrames = 0;
    uint64_t startTime = 0;
    uint64_t endTime = 0;
    uint64_t duration = 0;
    // Whether the service tells every client; the device ignores it.
    bool notify = true;
};

struct PortConfig {
    uint16_t width = 0;
    uint16_t height = 0;
    uint32_t pixelFormat = 0;
    uint32_t tapGeometry = 0;

    bool operator==(const PortConfig&) const = default;
};

// Bits of RecordingRequest::externalTrigger.
inline constexpr uint8_t ExternalStart = 0x01;
inline constexpr uint8_t ExternalStop = 0x02;
inline constexpr uint8_t ExternalStartVariant = 0x10;
inline constexpr uint8_t ExternalStopVariant = 0x20;

// Values of RecordingRequest::type: what ends a recording by itself. Other numbers pass the wire
// untouched; the device decides what they mean.
enum class StopCondition : uint8_t {
    None = 0,        // the client stops it (or an external stop input)
    FrameCount = 1,  // count frames per port
    Time = 2,        // count in the recorder's time unit (microseconds on the emulator)
};

struct RecordingRequest {
    uint32_t portMask = 0;  // bit n selects port n
    uint8_t externalTrigger = 0;
    StopCondition type = StopCondition::None;
    uint64_t count = 0;
    bool usePretrigger = false;
    uint64_t pretriggerCount = 0;  // passed to the recorder untouched, in its own unit
};

struct RecordingFile {
    uint32_t fileId = 0;
    uint32_t streamId = 0;
};

struct RecordingProgress {
    uint64_t numFrames = 0;
    bool inPretrigger = false;
};

// On the wire as its number; a device may report others.
enum class RecoveryStatus : uint32_t {
    NotRun = 0,
    Running = 1,
    Failed = 2,  // recoveryError gives the reason
    Done = 3,
    Cancelled = 4,
};

struct FrameGeometry {
    uint16_t width = 0;
    uint16_t height = 0;
    uint32_t imageSize = 0;  // bytes
};

}  // namespace tavu
