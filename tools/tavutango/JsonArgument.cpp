#include "tools/tavutango/JsonArgument.h"

#include <cmath>

#include "tools/tavutango/TangoErrors.h"

namespace tavu::tavutango {

namespace {

// Ports are bits of a 32-bit mask.
constexpr uint64_t MaxPort = 31;

}  // namespace

JsonArgument::JsonArgument(const std::string& text, std::initializer_list<const char*> keys) {
    try {
        value_ = nlohmann::json::parse(text);
    } catch (const nlohmann::json::parse_error& error) {
        throw BadArgument(std::string("the argument is not JSON: ") + error.what());
    }
    if (!value_.is_object()) {
        throw BadArgument("the argument must be a JSON object, not " + std::string(value_.type_name()));
    }
    for (const auto& item : value_.items()) {
        bool known = false;
        for (const char* key : keys) {
            known = known || item.key() == key;
        }
        if (!known) {
            std::string list;
            for (const char* key : keys) {
                list += (list.empty() ? "\"" : ", \"") + std::string(key) + "\"";
            }
            throw BadArgument("unknown key \"" + item.key() + "\"; the keys are " + list);
        }
    }
}

const nlohmann::json& JsonArgument::at(const char* key) const {
    if (!value_.contains(key)) {
        throw BadArgument("the key \"" + std::string(key) + "\" is missing");
    }
    return value_.at(key);
}

uint64_t JsonArgument::integer(const char* key, uint64_t max) const {
    const nlohmann::json& value = at(key);
    if (!value.is_number_unsigned() || value.get<uint64_t>() > max) {
        throw BadArgument("\"" + std::string(key) + "\" must be a whole number from 0 to " + std::to_string(max) +
                          ", not " + value.dump());
    }
    return value.get<uint64_t>();
}

std::optional<uint64_t> JsonArgument::optionalInteger(const char* key, uint64_t max) const {
    return has(key) ? std::optional<uint64_t>(integer(key, max)) : std::nullopt;
}

double JsonArgument::positiveNumber(const char* key) const {
    const nlohmann::json& value = at(key);
    if (!value.is_number() || !(value.get<double>() > 0) || !std::isfinite(value.get<double>())) {
        throw BadArgument("\"" + std::string(key) + "\" must be a number above 0, not " + value.dump());
    }
    return value.get<double>();
}

std::string JsonArgument::text(const char* key) const {
    const nlohmann::json& value = at(key);
    if (!value.is_string()) {
        throw BadArgument("\"" + std::string(key) + "\" must be a string, not " + value.dump());
    }
    return value.get<std::string>();
}

bool JsonArgument::flag(const char* key, bool otherwise) const {
    if (!has(key)) {
        return otherwise;
    }
    const nlohmann::json& value = at(key);
    if (!value.is_boolean()) {
        throw BadArgument("\"" + std::string(key) + "\" must be true or false, not " + value.dump());
    }
    return value.get<bool>();
}

std::vector<uint8_t> JsonArgument::ports(const char* key) const {
    const nlohmann::json& value = at(key);
    std::vector<uint8_t> ports;
    if (value.is_array()) {
        for (const nlohmann::json& port : value) {
            if (!port.is_number_unsigned() || port.get<uint64_t>() > MaxPort) {
                ports.clear();
                break;
            }
            ports.push_back(static_cast<uint8_t>(port.get<uint64_t>()));
        }
    }
    if (ports.empty()) {
        throw BadArgument("\"" + std::string(key) + "\" must be a list of port numbers from 0 to " +
                          std::to_string(MaxPort) + ", not " + value.dump());
    }
    return ports;
}

RecordingArgument parseRecording(const std::string& text) {
    const JsonArgument argument(text, {"ports", "frames", "seconds", "trigger", "pretrigger"});
    RecordingArgument result;
    if (argument.has("ports")) {
        result.ports = argument.ports("ports");
    }
    RecordingRequest& request = result.request;
    if (argument.has("frames") && argument.has("seconds")) {
        throw BadArgument("\"frames\" and \"seconds\" exclude each other");
    }
    if (argument.has("frames")) {
        request.type = StopCondition::FrameCount;
        request.count = argument.integer("frames", UINT32_MAX);
        if (request.count == 0) {
            throw BadArgument("\"frames\" must be at least 1");
        }
    } else if (argument.has("seconds")) {
        // The recorder counts time in microseconds.
        request.type = StopCondition::Time;
        request.count = static_cast<uint64_t>(std::llround(argument.positiveNumber("seconds") * 1e6));
    }
    if (argument.has("pretrigger")) {
        request.usePretrigger = true;
        request.pretriggerCount = argument.integer("pretrigger", UINT64_MAX);
    }
    if (argument.has("trigger")) {
        const std::string trigger = argument.text("trigger");
        if (trigger == "software") {
            // A software trigger ends the pre-trigger loop.
            request.usePretrigger = true;
        } else if (trigger == "external-start") {
            request.externalTrigger = ExternalStart;
        } else if (trigger == "external-start-stop") {
            request.externalTrigger = ExternalStart | ExternalStop;
        } else {
            throw BadArgument("\"trigger\" must be \"software\", \"external-start\" or \"external-start-stop\", not \"" +
                              trigger + "\"");
        }
    }
    return result;
}

uint32_t portMask(const std::vector<uint8_t>& ports) {
    uint32_t mask = 0;
    for (const uint8_t port : ports) {
        mask |= 1U << port;
    }
    return mask;
}

}  // namespace tavu::tavutango
