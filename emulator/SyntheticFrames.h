#pragma once
#include <array>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <span>

namespace tavu {

inline constexpr size_t kFrameHeaderSize = 126;
// The simulated camera clock: it starts at day 1, 00:00:00.000 and gains exactly one frame
// period per frame, however late the frame is really written.
inline constexpr uint64_t kClockStartMs = 86'400'000;
inline constexpr uint64_t kFramePeriodMs = 33;

// Stores the 16-bit ramp, little-endian, one value per pixel: the low 16 bits of `counter`,
// which goes up by 1 from pixel to pixel. Returns the counter after the last pixel.
uint32_t fillRamp(std::span<uint8_t> pixels, uint32_t counter);

// The camera-like header of a frame: time words of the simulated clock at `clockMs`, the frame
// number and fixed test data that reads back as a plausible camera header.
std::array<uint8_t, kFrameHeaderSize> frameHeader(uint32_t frameNumber, uint64_t clockMs);

// The frames of one recording: the ramp runs on from frame to frame, and each frame's first row
// is overwritten with as much of its header as the row holds.
class FrameSequence {
public:
    explicit FrameSequence(uint32_t pixelsPerFrame);

    // Builds the next frame; `width` is read anew for each frame, since the port may be
    // reconfigured during a recording while the frame size stays.
    std::span<const uint8_t> next(uint16_t width);

private:
    // Not zeroed first: every frame is written whole before it goes out, and 8 MiB of zeros
    // would cost as much as a good part of a frame.
    std::unique_ptr<uint8_t[]> storage_;
    std::span<uint8_t> frame_;
    uint32_t ramp_ = 0;
    uint64_t clockMs_ = kClockStartMs;
    uint32_t frameNumber_ = 0;
};

}  // namespace tavu
