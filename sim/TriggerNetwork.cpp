#include "sim/TriggerNetwork.h"

#include "sim/SimDataDescriptor.h"

#include <utility>

namespace sim {
namespace trigger {
namespace {

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

TriggerSettings TriggerSettings::of(const TriggerElementState* recordControl) {
    TriggerSettings settings;
    if (recordControl == nullptr) {
        return settings;
    }
    const auto& parameters = recordControl->parameters;
    const auto flag = [&](const char* name) {
        const auto found = parameters.find(name);
        return found != parameters.end() && found->second.asBoolean();
    };
    const auto number = [&](const char* name) {
        const auto found = parameters.find(name);
        return found == parameters.end() ? 0 : found->second.asUnsigned64();
    };
    settings.startEnable = flag("Start Enable");
    settings.stopEnable = flag("Stop Enable");
    settings.pretriggerEnable = flag("Pretrigger Enable");
    settings.pretriggerMicroseconds = number("Pretrigger Loop Time Value");
    settings.softwareStartTrigger = flag("Software Start Trigger");
    if (flag("Stop Frame Count Enable")) {
        settings.stopFrameCount = static_cast<uint32_t>(number("Stop Frame Count Value"));
    }
    if (flag("Stop Time Enable")) {
        settings.stopMicroseconds = number("Stop Time Value");
    }
    if (const auto start = recordControl->inputs.find(0); start != recordControl->inputs.end()) {
        settings.startInput = start->second;
    }
    if (const auto stop = recordControl->inputs.find(1); stop != recordControl->inputs.end()) {
        settings.stopInput = stop->second;
    }
    return settings;
}

bool TriggerSettings::reaches(const std::optional<Input>& input, uint32_t sourceKind, bool variant) {
    if (!input || input->sourceKind != sourceKind) {
        return false;
    }
    return sourceKind == trigger::SoftwareSource || input->variant == variant;
}

}  // namespace sim
