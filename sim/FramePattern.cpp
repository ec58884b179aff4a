#include "sim/FramePattern.h"

namespace sim {

uint16_t pixelValue(uint32_t portIndex, uint64_t frame, uint32_t x, uint32_t y) {
    return static_cast<uint16_t>(frame + x + 2 * uint64_t{y} + 4096 * uint64_t{portIndex});
}

uint64_t frameBytes(uint32_t width, uint32_t height, uint32_t bitDepth) {
    return uint64_t{width} * height * (bitDepth > 8 ? 2 : 1);
}

void fillFrame(uint8_t* target, uint32_t portIndex, uint64_t frame, uint32_t width, uint32_t height,
               uint32_t bitDepth) {
    const uint32_t mask = bitDepth >= 16 ? 0xFFFF : (1u << bitDepth) - 1;
    for (uint32_t y = 0; y < height; ++y) {
        // A row is a ramp: its first value and then one more per pixel.
        uint16_t value = pixelValue(portIndex, frame, 0, y);
        for (uint32_t x = 0; x < width; ++x, ++value) {
            const uint16_t cut = static_cast<uint16_t>(value & mask);
            if (bitDepth > 8) {
                *target++ = static_cast<uint8_t>(cut);
                *target++ = static_cast<uint8_t>(cut >> 8);
            } else {
                *target++ = static_cast<uint8_t>(cut);
            }
        }
    }
}

}  // namespace sim
