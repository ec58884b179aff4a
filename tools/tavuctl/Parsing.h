#pragma once
#include <CLI/CLI.hpp>
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

// Checks of an option's text before CLI11 converts it, so that "-1", "nan" or "inf" never turn
// into a number; the message gives the valid range.
CLI::Validator wholeNumber(uint64_t min, uint64_t max);
CLI::Validator finiteNumber(double min, double max, const std::string& range);

// "ID?\r" with the escapes \r \n \t \\ \0 and \xHH, as bytes.
std::vector<uint8_t> parseEscapedText(const std::string& text);

}  // namespace tavu::tavuctl
