#include "tools/tavuctl/Parsing.h"

#include <algorithm>
#include <cctype>
#include <charconv>
#include <cmath>
#include <cstdlib>
#include <optional>

#include "tools/tavuctl/Failure.h"

namespace tavu::tavuctl {

namespace {

std::optional<uint64_t> number(std::string_view text, int base = 10) {
    uint64_t value = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value, base);
    if (text.empty() || error != std::errc() || end != text.data() + text.size()) {
        return std::nullopt;
    }
    return value;
}

[[noreturn]] void usage(const std::string& message) { throw Failure(exitcode::Usage, message); }

void addPorts(std::string_view item, std::vector<uint8_t>& ports) {
    constexpr uint64_t MaxPort = 31;
    const size_t dash = item.find('-');
    const auto first = number(item.substr(0, dash));
    const auto last = dash == std::string_view::npos ? first : number(item.substr(dash + 1));
    if (!first || !last || *first > *last || *last > MaxPort) {
        usage("bad port list entry \"" + std::string(item) + "\": give ports 0 to 31 as in 0,1,3 or 0-2");
    }
    for (uint64_t port = *first; port <= *last; ++port) {
        ports.push_back(static_cast<uint8_t>(port));
    }
}

}  // namespace

std::vector<uint8_t> parsePortList(const std::string& text) {
    std::vector<uint8_t> ports;
    size_t start = 0;
    while (start <= text.size()) {
        const size_t comma = std::min(text.find(',', start), text.size());
        addPorts(std::string_view(text).substr(start, comma - start), ports);
        start = comma + 1;
    }
    std::sort(ports.begin(), ports.end());
    ports.erase(std::unique(ports.begin(), ports.end()), ports.end());
    return ports;
}

FrameRange parseFrameRange(const std::string& text, uint64_t frameCount) {
    if (frameCount == 0) {
        usage("the recording has no frames");
    }
    const std::string available = "the recording has frames 0-" + std::to_string(frameCount - 1);
    const size_t dash = text.find('-');
    const auto first = number(std::string_view(text).substr(0, dash));
    std::optional<uint64_t> last = first;
    if (dash != std::string::npos) {
        last = dash + 1 == text.size() ? std::optional<uint64_t>(frameCount - 1)
                                       : number(std::string_view(text).substr(dash + 1));
    }
    if (!first || !last || *first > *last) {
        usage("bad frame range \"" + text + "\": give N, FIRST-LAST or FIRST- (to the end); " + available);
    }
    if (*last >= frameCount) {
        usage("frame range " + text + " goes past the end: " + available);
    }
    return FrameRange{*first, *last};
}

std::vector<uint8_t> parseHex(const std::string& text) {
    std::string digits;
    std::string_view rest(text);
    if (rest.starts_with("0x") || rest.starts_with("0X")) {
        rest.remove_prefix(2);
    }
    for (const char c : rest) {
        if (c == ' ' || c == ':' || c == '\t') {
            continue;
        }
        if (!std::isxdigit(static_cast<unsigned char>(c))) {
            usage("bad hexadecimal data \"" + text + "\": give bytes as in \"de ad be ef\" or deadbeef");
        }
        digits += c;
    }
    if (digits.size() % 2 != 0) {
        usage("bad hexadecimal data \"" + text + "\": an odd number of digits");
    }
    std::vector<uint8_t> bytes;
    for (size_t i = 0; i < digits.size(); i += 2) {
        bytes.push_back(static_cast<uint8_t>(*number(std::string_view(digits).substr(i, 2), 16)));
    }
    return bytes;
}

uint32_t parseAddress(const std::string& text) {
    const bool hex = text.starts_with("0x") || text.starts_with("0X");
    const auto value = hex ? number(std::string_view(text).substr(2), 16) : number(text);
    if (!value || *value > UINT32_MAX) {
        usage("bad register address \"" + text + "\": give 0x300C or 12300");
    }
    return static_cast<uint32_t>(*value);
}

CLI::Validator wholeNumber(uint64_t min, uint64_t max) {
    const std::string range = std::to_string(min) + " to " + std::to_string(max);
    return CLI::Validator(
        [min, max, range](std::string& text) -> std::string {
            const auto value = number(text);
            if (!value || *value < min || *value > max) {
                return "\"" + text + "\" is not a whole number from " + range;
            }
            return {};
        },
        "whole number from " + range);
}

CLI::Validator finiteNumber(double min, double max, const std::string& range) {
    return CLI::Validator(
        [min, max, text = range](std::string& input) -> std::string {
            char* end = nullptr;
            const double value = std::strtod(input.c_str(), &end);
            if (input.empty() || end != input.c_str() + input.size() || !std::isfinite(value) || value < min ||
                value > max) {
                return "\"" + input + "\" is not a number from " + text;
            }
            return {};
        },
        std::string("number from ") + range);
}

std::vector<uint8_t> parseEscapedText(const std::string& text) {
    std::vector<uint8_t> bytes;
    for (size_t i = 0; i < text.size(); ++i) {
        if (text[i] != '\\') {
            bytes.push_back(static_cast<uint8_t>(text[i]));
            continue;
        }
        const char kind = i + 1 < text.size() ? text[++i] : '\0';
        switch (kind) {
            case 'r': bytes.push_back('\r'); break;
            case 'n': bytes.push_back('\n'); break;
            case 't': bytes.push_back('\t'); break;
            case '0': bytes.push_back(0); break;
            case '\\': bytes.push_back('\\'); break;
            case 'x': {
                const auto value = i + 2 < text.size() ? number(std::string_view(text).substr(i + 1, 2), 16) : std::nullopt;
                if (!value) {
                    usage("bad escape in \"" + text + "\": \\x takes two hexadecimal digits, as in \\x0d");
                }
                bytes.push_back(static_cast<uint8_t>(*value));
                i += 2;
                break;
            }
            default:
                usage("bad escape in \"" + text + "\": use \\r, \\n, \\t, \\0, \\\\ or \\xHH");
        }
    }
    return bytes;
}

}  // namespace tavu::tavuctl
