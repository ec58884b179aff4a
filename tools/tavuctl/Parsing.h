#pragma once
#include <cstdint>
#include <string>
#include <vector>

// Arguments that CLI11 can't check by itself. Each raises a usage Failure that shows the
// expected form.
namespace tavu::tavuctl {

// "0,1,3" or "0-2", ports 0 to 31, ascending without repeats.
std::vector<uint8_t> parsePortList(const std::string& text);

struct FrameRange {
    uint64_t first = 0;
    uint64_t last = 0;  // inclusive
    uint64_t count() const { return last - first + 1; }
};
// "7", "0-99" or "10-" (to the end), checked against the frames the recording has.
FrameRange parseFrameRange(const std::string& text, uint64_t frameCount);

// "de ad be ef", "deadbeef", "0xdeadbeef" or "de:ad:be:ef".
std::vector<uint8_t> parseHex(const std::string& text);

// "0x300C" or "12300".
uint32_t parseAddress(const std::string& text);

}  // namespace tavu::tavuctl
