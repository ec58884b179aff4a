#pragma once
#include "hardware/OpenHandles.h"
#include "transport/SharedRegion.h"

#include <cstdint>

namespace tavu {

// One entry of a hardware device's table of recordings open for playback; its position in the
// table is the openFileId that clients hold. Slots are reused and never removed.
struct OpenFileSlot {
    uint32_t id = 0;
    bool inUse = false;
    // 0 and 0 while closed.
    uint32_t fileId = 0;
    uint32_t streamId = 0;
    // One frame of shared memory, which readFrame fills.
    SharedRegion region;
    // The stream's reader, shared with other slots that play the same stream; empty while closed.
    OpenStreamShare stream;
    uint16_t width = 0;
    uint16_t height = 0;
    uint64_t numFrames = 0;
    uint64_t size = 0;
    // Bytes of one frame: width times height times 2.
    uint32_t imageSize = 0;
};

}  // namespace tavu
