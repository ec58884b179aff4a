#pragma once
#include "emulator/FrameFile.h"
#include "wire/Types.h"

#include <atomic>
#include <cstdint>

namespace tavu {

// What the device and its record thread share; the worker takes no lock.
struct RecordingFlags {
    std::atomic<bool> stop{false};
    std::atomic<bool> done{false};
    std::atomic<uint64_t> recordedFrames{0};
};

// `count` is a number of frames, or a time in microseconds. Any other type records until stopped.
struct RecordingJob {
    StopCondition type = StopCondition::None;
    uint64_t count = 0;
    uint32_t pixelsPerFrame = 0;
    FrameFile file;
};

// The body of the record thread: writes one synthetic frame every 33 ms on an absolute schedule
// until the job's limit or the stop flag, and at least one frame in any case, since both tests
// follow the write. Then closes the file and sets the done flag. `width` is the port's live
// configuration, read for each frame's header.
void runRecording(RecordingJob job, RecordingFlags& flags, const std::atomic<uint16_t>& width);

}  // namespace tavu
