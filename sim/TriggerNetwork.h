#pragma once
#include "library/Values.h"

#include <nlohmann/json.hpp>

#include <cstdint>
#include <map>
#include <optional>
#include <string>

namespace sim {

// The elements of the recorder's trigger network that exist, each once (index 0), and the
// named parameters that they take.
namespace trigger {

constexpr uint32_t SoftwareSource = 0;
constexpr uint32_t ExternalInput = 2;
constexpr uint32_t RecordControl = 19;

// The key of an element in the state file; empty for a kind that the recorder lacks.
std::string elementKey(uint32_t kind);
// The value tag that a parameter takes; none when the element has no such parameter.
std::optional<uint32_t> parameterTag(uint32_t kind, const std::string& name);
std::string tagName(uint32_t tag);

}  // namespace trigger

// What has been set on one trigger element.
struct TriggerElementState {
    struct Input {
        uint32_t sourceKind = 0;
        bool variant = false;
    };

    std::map<std::string, Quillon::ParameterValue> parameters;
    std::map<uint32_t, Input> inputs;  // by input number: 0 start, 1 stop

    nlohmann::json toJson() const;
};

// How the record control element was set when a recording started: what the recording then
// goes by, whatever is set later.
struct TriggerSettings {
    using Input = TriggerElementState::Input;

    bool startEnable = false;
    bool stopEnable = false;
    bool pretriggerEnable = false;
    uint64_t pretriggerMicroseconds = 0;
    bool softwareStartTrigger = false;
    std::optional<uint32_t> stopFrameCount;
    std::optional<uint64_t> stopMicroseconds;
    std::optional<Input> startInput;
    std::optional<Input> stopInput;

    // Nothing set means: start at once, no stop condition.
    static TriggerSettings of(const TriggerElementState* recordControl);
    // A pulse of the software source reaches an input whatever its variant; an edge of the
    // external input reaches the inputs of its variant (false: rising, true: falling).
    bool startsOn(uint32_t sourceKind, bool variant) const {
        return startEnable && reaches(startInput, sourceKind, variant);
    }
    bool stopsOn(uint32_t sourceKind, bool variant) const {
        return stopEnable && reaches(stopInput, sourceKind, variant);
    }

private:
    static bool reaches(const std::optional<Input>& input, uint32_t sourceKind, bool variant);
};

}  // namespace sim
