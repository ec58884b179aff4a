#pragma once
#include <chrono>
#include <cstdint>
#include <span>
#include <string>

// Text forms of values for people.
namespace tavu::tavuctl {

// "61.4 MB"
std::string formatBytes(uint64_t bytes);
// A recording's time stamp (100 ns units since 1601-01-01 UTC) in local time,
// "2024-05-01 12:34:56"; "-" for 0.
std::string formatTimestamp(uint64_t fileTime);
// The same time stamp as ISO 8601 UTC for JSON, "2024-05-01T10:34:56Z"; empty for 0.
std::string isoTimestamp(uint64_t fileTime);
// Local wall-clock time with milliseconds, "12:34:56.789".
std::string clockTime(std::chrono::system_clock::time_point when);
// Local time with date, milliseconds and zone, ISO 8601: "2024-05-01T12:34:56.789+02:00".
std::string isoClockTime(std::chrono::system_clock::time_point when);
// "1:05", "1:02:03"
std::string formatElapsed(std::chrono::steady_clock::duration elapsed);
// "de ad be ef"
std::string hexBytes(std::span<const uint8_t> bytes, const char* separator = " ");
// "\"text\"", for names in messages.
std::string quoted(const std::string& text);

}  // namespace tavu::tavuctl
