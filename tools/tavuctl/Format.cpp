#include "tools/tavuctl/Format.h"

#include <ctime>

namespace tavu::tavuctl {

namespace {

// Seconds between 1601-01-01 and 1970-01-01.
constexpr int64_t FileTimeEpochOffset = 11644473600;

std::time_t unixSeconds(uint64_t fileTime) {
    return static_cast<std::time_t>(static_cast<int64_t>(fileTime / 10000000) - FileTimeEpochOffset);
}

std::string formatTime(std::time_t seconds, const char* format, bool utc) {
    std::tm parts{};
    if (utc ? gmtime_r(&seconds, &parts) == nullptr : localtime_r(&seconds, &parts) == nullptr) {
        return "?";
    }
    char text[64];
    return std::strftime(text, sizeof text, format, &parts) > 0 ? text : "?";
}

}  // namespace

std::string formatBytes(uint64_t bytes) {
    static constexpr const char* Units[] = {"B", "kB", "MB", "GB", "TB"};
    double value = static_cast<double>(bytes);
    size_t unit = 0;
    while (value >= 1000 && unit + 1 < std::size(Units)) {
        value /= 1000;
        ++unit;
    }
    char text[32];
    std::snprintf(text, sizeof text, unit == 0 ? "%.0f %s" : "%.1f %s", value, Units[unit]);
    return text;
}

std::string formatTimestamp(uint64_t fileTime) {
    return fileTime == 0 ? "-" : formatTime(unixSeconds(fileTime), "%Y-%m-%d %H:%M:%S", false);
}

std::string isoTimestamp(uint64_t fileTime) {
    return fileTime == 0 ? "" : formatTime(unixSeconds(fileTime), "%Y-%m-%dT%H:%M:%SZ", true);
}

std::string clockTime(std::chrono::system_clock::time_point when) {
    const auto milliseconds =
        std::chrono::duration_cast<std::chrono::milliseconds>(when.time_since_epoch()).count() % 1000;
    char fraction[8];
    std::snprintf(fraction, sizeof fraction, ".%03d", static_cast<int>(milliseconds));
    return formatTime(std::chrono::system_clock::to_time_t(when), "%H:%M:%S", false) + fraction;
}

std::string isoClockTime(std::chrono::system_clock::time_point when) {
    const auto milliseconds =
        std::chrono::duration_cast<std::chrono::milliseconds>(when.time_since_epoch()).count() % 1000;
    std::string zone = formatTime(std::chrono::system_clock::to_time_t(when), "%z", false);
    if (zone.size() == 5) {
        zone.insert(3, ":");
    }
    char fraction[8];
    std::snprintf(fraction, sizeof fraction, ".%03d", static_cast<int>(milliseconds));
    return formatTime(std::chrono::system_clock::to_time_t(when), "%Y-%m-%dT%H:%M:%S", false) + fraction + zone;
}

std::string formatElapsed(std::chrono::steady_clock::duration elapsed) {
    const auto total = std::chrono::duration_cast<std::chrono::seconds>(elapsed).count();
    char text[32];
    if (total >= 3600) {
        std::snprintf(text, sizeof text, "%lld:%02lld:%02lld", static_cast<long long>(total / 3600),
                      static_cast<long long>(total / 60 % 60), static_cast<long long>(total % 60));
    } else {
        std::snprintf(text, sizeof text, "%lld:%02lld", static_cast<long long>(total / 60),
                      static_cast<long long>(total % 60));
    }
    return text;
}

std::string hexBytes(std::span<const uint8_t> bytes, const char* separator) {
    static constexpr char Digits[] = "0123456789abcdef";
    std::string text;
    for (size_t i = 0; i < bytes.size(); ++i) {
        if (i > 0) {
            text += separator;
        }
        text += Digits[bytes[i] >> 4];
        text += Digits[bytes[i] & 0x0F];
    }
    return text;
}

std::string quoted(const std::string& text) { return "\"" + text + "\""; }

}  // namespace tavu::tavuctl
