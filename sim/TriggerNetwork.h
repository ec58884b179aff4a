#pragma once
#include "hardware/library/Values.h"

#include <nlohmann/json.hpp>

#include <cstdint>
#include <map>
#include <optional>
#include <string>

namespace sim {

// The elements of the recorder's trigger network that exist, each once (index 0), and the
// named parameters that they take.
namespace trigger {

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

}  // namespace sim
