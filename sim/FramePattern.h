#pragma once
#include <cstdint>

namespace sim {

// A camera whose measured frame rate is below this delivers no frames at all.
constexpr double SilentRate = 0.001;

// What the simulated cameras see: a ramp that moves by one with each frame, so that every
// pixel of every frame is known to a test. Pixel (x, y) of camera frame f on the port with
// index p is (f + x + 2y + 4096p) mod 65536.
uint16_t pixelValue(uint32_t portIndex, uint64_t frame, uint32_t x, uint32_t y);

// One frame, row by row: 16-bit little-endian pixels for a depth above 8 bits, one byte per
// pixel otherwise; values are cut to `bitDepth` bits.
void fillFrame(uint8_t* target, uint32_t portIndex, uint64_t frame, uint32_t width, uint32_t height,
               uint32_t bitDepth);
uint64_t frameBytes(uint32_t width, uint32_t height, uint32_t bitDepth);

}  // namespace sim
