#pragma once
#include <cstddef>
#include <cstdint>
#include <span>
#include <string>

#include "transport/SharedRegion.h"

namespace tavu::client {

// A shared region of the service mapped into this process by its "mapping" name. The service
// writes one frame of 16-bit little-endian pixels into it per readFrame or liveFrame; the
// bytes stay valid here until this view goes, even after the service closed the region.
class FrameView {
public:
    // Raises ClientError when no region of that name exists.
    explicit FrameView(const std::string& mapping);

    // The first imageSize bytes; raises ClientError when the region is smaller.
    std::span<const uint8_t> frame(uint64_t imageSize) const;

private:
    SharedRegion region_;
};

// Pixel `index` of a frame of 16-bit little-endian pixels.
inline uint16_t pixelAt(std::span<const uint8_t> frame, size_t index) {
    return static_cast<uint16_t>(frame[2 * index] | (frame[2 * index + 1] << 8));
}

}  // namespace tavu::client
