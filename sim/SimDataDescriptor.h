#pragma once
#include "library/DataDescriptor.h"

#include <nlohmann/json.hpp>

#include <cstdint>
#include <deque>
#include <optional>
#include <utility>

namespace sim {

struct FrameSize {
    uint32_t width = 0;
    uint32_t height = 0;
};

// What a port is told it delivers. Fields keep the order in which they were first named, which
// the state file shows.
class SimDataDescriptor : public Quillon::DataDescriptor {
public:
    explicit SimDataDescriptor(uint32_t type) : type_(type) {}

    uint32_t type() const { return type_; }
    // Names a field, making it (boolean false) at its first use.
    Quillon::ParameterValue& field(uint32_t id) override;
    // The frames that the descriptor declares: on a CoaXPress port (type 4) field 35 is the width;
    // on a frame grabber port (type 0) field 1 is the width per tap and field 5 the taps. Field 2
    // is the height. None when a field is missing or a side is 0.
    std::optional<FrameSize> frameSize() const;

    nlohmann::json toJson() const;

private:
    std::optional<uint64_t> number(uint32_t id) const;

    uint32_t type_;
    // A deque keeps references to earlier fields valid when a field is added.
    std::deque<std::pair<uint32_t, Quillon::ParameterValue>> fields_;
};

// A parameter value as the state file shows it: true/false for a boolean, a number otherwise.
nlohmann::json valueToJson(const Quillon::ParameterValue& value);

}  // namespace sim
