#pragma once
#include "hardware/library/DataDescriptor.h"

#include <nlohmann/json.hpp>

#include <cstdint>
#include <deque>
#include <utility>

namespace sim {

// What a port is told it delivers. Fields keep the order in which they were first named, which
// the state file shows.
class SimDataDescriptor : public Quillon::DataDescriptor {
public:
    explicit SimDataDescriptor(uint32_t type) : type_(type) {}

    uint32_t type() const { return type_; }
    // Names a field, making it (boolean false) at its first use.
    Quillon::ParameterValue& field(uint32_t id) override;

    nlohmann::json toJson() const;

private:
    uint32_t type_;
    // A deque keeps references to earlier fields valid when a field is added.
    std::deque<std::pair<uint32_t, Quillon::ParameterValue>> fields_;
};

// A parameter value as the state file shows it: true/false for a boolean, a number otherwise.
nlohmann::json valueToJson(const Quillon::ParameterValue& value);

}  // namespace sim
