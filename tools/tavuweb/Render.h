#pragma once
#include <array>
#include <cstdint>
#include <span>
#include <string>
#include <vector>

#include <nlohmann/json.hpp>

namespace tavu::tavuweb {

// How the page wants a frame shown: which part of it (in frame pixels; a width of 0 means the
// whole frame), the largest image it can show, and the window that maps 16-bit values onto grey.
struct DisplayRequest {
    uint32_t x = 0, y = 0, width = 0, height = 0;
    uint32_t maxWidth = 1024, maxHeight = 1024;
    bool autoWindow = true;
    uint16_t low = 0, high = 65535;
};

// Reads the fields of a request that the page sent; missing ones keep their defaults.
DisplayRequest displayRequestFrom(const nlohmann::json& value);

// A frame reduced to what the page draws: 8-bit grey of at most maxWidth x maxHeight, never
// enlarged (the page enlarges a zoomed part itself), with the window used and a histogram.
struct DisplayFrame {
    uint16_t frameWidth = 0, frameHeight = 0;
    uint32_t x = 0, y = 0, width = 0, height = 0;  // the part shown, clipped to the frame
    uint32_t outWidth = 0, outHeight = 0;
    uint16_t low = 0, high = 0;  // the window used
    uint16_t min = 0, max = 0;   // of the pixels looked at
    std::array<uint32_t, 256> histogram{};  // 256 bins from min to max
    std::vector<uint8_t> grey;
};

// frame: width x height 16-bit little-endian pixels. With autoWindow the window spans the
// values between the 0.1 % and 99.9 % points of the pixels shown, so that a few hot pixels
// don't flatten the image.
DisplayFrame render(std::span<const uint8_t> frame, uint16_t width, uint16_t height, const DisplayRequest& request);

// One WebSocket or HTTP message: a 4-byte little-endian length, a JSON header of that length
// (the geometry, window and histogram, plus `extra`), then the grey pixels row by row.
std::string displayMessage(const DisplayFrame& frame, const nlohmann::json& extra);

}  // namespace tavu::tavuweb
