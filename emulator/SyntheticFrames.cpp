#include "emulator/SyntheticFrames.h"

#include <algorithm>
#include <bit>
#include <cstring>

namespace tavu {

namespace {

constexpr uint64_t kMsPerDay = 86'400'000;
constexpr uint64_t kMsPerHour = 3'600'000;
constexpr uint64_t kMsPerMinute = 60'000;

using Header = std::array<uint8_t, kFrameHeaderSize>;

void put16(Header& header, size_t offset, uint16_t value) {
    header[offset] = static_cast<uint8_t>(value);
    header[offset + 1] = static_cast<uint8_t>(value >> 8);
}

void put32(Header& header, size_t offset, uint32_t value) {
    put16(header, offset, static_cast<uint16_t>(value));
    put16(header, offset + 2, static_cast<uint16_t>(value >> 16));
}

// Day, time of day and microseconds packed as the camera's four time words.
void putTime(Header& header, uint64_t clockMs) {
    const uint64_t day = clockMs / kMsPerDay;
    const uint64_t hour = (clockMs / kMsPerHour) % 24;
    const uint64_t minute = (clockMs / kMsPerMinute) % 60;
    const uint64_t second = (clockMs / 1000) % 60;
    const uint64_t micros = (clockMs % 1000) * 1000;
    put16(header, 2, static_cast<uint16_t>((day % 366) * 4 | ((hour >> 4) & 3)));
    put16(header, 4, static_cast<uint16_t>(hour << 12 | minute << 6 | second));
    put16(header, 6, static_cast<uint16_t>(micros >> 16));
    put16(header, 8, static_cast<uint16_t>(micros));
}

}  // namespace

// Whole 16-bit stores rather than two byte stores per pixel: the compiler then fills a vector
// register of pixels per step instead of splitting each value into bytes, which makes a frame
// of 8 MiB noticeably cheaper.
uint32_t fillRamp(std::span<uint8_t> pixels, uint32_t counter) {
    const size_t count = pixels.size() / 2;
    uint8_t* out = pixels.data();
    auto value = static_cast<uint16_t>(counter);
    // Several vector stores per turn, so that the loop's speed no longer hangs on where the
    // linker happens to place it against instruction fetch boundaries.
#pragma GCC unroll 8
    for (size_t i = 0; i < count; ++i, ++value) {
        uint16_t stored = value;
        if constexpr (std::endian::native == std::endian::big) {
            stored = static_cast<uint16_t>(value << 8 | value >> 8);
        }
        std::memcpy(out + 2 * i, &stored, sizeof(stored));
    }
    return counter + static_cast<uint32_t>(count);
}

Header frameHeader(uint32_t frameNumber, uint64_t clockMs) {
    Header header{};
    header[0] = 0x0F;
    putTime(header, clockMs);
    put32(header, 10, 0x77AA0000);
    std::memcpy(&header[14], "Fwrx", 4);
    put16(header, 18, 0x1DD8);
    put32(header, 20, frameNumber);
    put32(header, 24, 12500);
    put32(header, 28, 0x003F0000);
    put16(header, 44, 15000);
    put32(header, 50, 208333);
    put32(header, 54, 16383);
    header[59] = 9;
    header[60] = 3;
    header[61] = 1;
    put32(header, 62, 0x780E08FC);
    put32(header, 66, 0x78407822);
    put16(header, 70, 0x7A52);
    put32(header, 90, 0x0001000E);
    return header;
}

FrameSequence::FrameSequence(uint32_t pixelsPerFrame)
    : storage_(std::make_unique_for_overwrite<uint8_t[]>(size_t{pixelsPerFrame} * 2)),
      frame_(storage_.get(), size_t{pixelsPerFrame} * 2) {}

std::span<const uint8_t> FrameSequence::next(uint16_t width) {
    ramp_ = fillRamp(frame_, ramp_);
    const Header header = frameHeader(frameNumber_, clockMs_);
    // The header covers the first row at most, and never more than the frame.
    const size_t clip = std::min({size_t{width} * 2, header.size(), frame_.size()});
    std::copy_n(header.begin(), clip, frame_.begin());
    clockMs_ += kFramePeriodMs;
    ++frameNumber_;
    return frame_;
}

}  // namespace tavu
