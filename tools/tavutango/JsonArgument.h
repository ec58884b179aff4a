#pragma once
#include <cstdint>
#include <initializer_list>
#include <optional>
#include <string>
#include <vector>

#include <nlohmann/json.hpp>

#include "wire/Types.h"

namespace tavu::tavutango {

// A command's argument: one JSON object whose keys the command knows. Every fault, from text that
// isn't JSON to a key nobody asked for or a number out of range, is a BadArgument naming it.
class JsonArgument {
public:
    JsonArgument(const std::string& text, std::initializer_list<const char*> keys);

    bool has(const char* key) const { return value_.contains(key); }
    uint64_t integer(const char* key, uint64_t max) const;
    std::optional<uint64_t> optionalInteger(const char* key, uint64_t max) const;
    double positiveNumber(const char* key) const;
    std::string text(const char* key) const;
    bool flag(const char* key, bool otherwise) const;
    std::vector<uint8_t> ports(const char* key) const;

private:
    const nlohmann::json& at(const char* key) const;

    nlohmann::json value_;
};

// StartRecording's argument, but for the ports when it names none.
struct RecordingArgument {
    std::optional<std::vector<uint8_t>> ports;
    RecordingRequest request;  // portMask left 0
};

// {"ports": [0, 1], "frames": 100} or "seconds": S, "trigger": "software" | "external-start" |
// "external-start-stop", "pretrigger": N.
RecordingArgument parseRecording(const std::string& text);

// The mask of a list of ports.
uint32_t portMask(const std::vector<uint8_t>& ports);

}  // namespace tavu::tavutango
