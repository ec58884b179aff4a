#include "sim/TriggerNetwork.h"

#include "sim/SimDataDescriptor.h"

#include <utility>

namespace sim {
namespace trigger {
namespace {

constexpr uint32_t SoftwareSource = 0;
constexpr uint32_t ExternalInput = 2;
constexpr uint32_t RecordControl = 19;

using Tag = Quillon::ParameterValue;

const std::map<std::string, uint32_t>& recordControlParameters() {
    static const std::map<std::string, uint32_t> parameters{
        {"Start Enable", Tag::BooleanTag},
        {"Stop Enable", Tag::BooleanTag},
        {"Pretrigger Enable", Tag::BooleanTag},
        {"Pretrigger Loop Time Value", Tag::Unsigned64Tag},
        {"Software Start Trigger", Tag::BooleanTag},
        {"Stop Frame Count Enable", Tag::BooleanTag},
        {"Stop Frame Count Value", Tag::Unsigned32Tag},
        {"Stop Time Enable", Tag::BooleanTag},
        {"Stop Time Value", Tag::Unsigned64Tag},
    };
    return parameters;
}

}  // namespace

std::string elementKey(uint32_t kind) {
    switch (kind) {
        case SoftwareSource:
            return "softwareSource";
        case ExternalInput:
            return "externalInput";
        case RecordControl:
            return "recordControl";
        default:
            return "";
    }
}

std::optional<uint32_t> parameterTag(uint32_t kind, const std::string& name) {
    if (kind != RecordControl) {
        return std::nullopt;
    }
    const auto found = recordControlParameters().find(name);
    if (found == recordControlParameters().end()) {
        return std::nullopt;
    }
    return found->second;
}

std::string tagName(uint32_t tag) {
    switch (tag) {
        case Tag::BooleanTag:
            return "boolean";
        case Tag::Unsigned32Tag:
            return "unsigned 32-bit";
        case Tag::Unsigned64Tag:
            return "unsigned 64-bit";
        default:
            return "tag " + std::to_string(tag);
    }
}

}  // namespace trigger

nlohmann::json TriggerElementState::toJson() const {
    nlohmann::json parameterValues = nlohmann::json::object();
    for (const auto& [name, value] : parameters) {
        parameterValues[name] = valueToJson(value);
    }
    nlohmann::json inputValues = nlohmann::json::object();
    for (const auto& [number, input] : inputs) {
        inputValues[number == 0 ? "start" : "stop"] = {{"source", trigger::elementKey(input.sourceKind)},
                                                       {"variant", input.variant}};
    }
    return {{"parameters", parameterValues}, {"inputs", inputValues}};
}

}  // namespace sim
