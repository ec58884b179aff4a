#include "sim/SimDataDescriptor.h"

namespace sim {

Quillon::ParameterValue& SimDataDescriptor::field(uint32_t id) {
    for (auto& [fieldId, value] : fields_) {
        if (fieldId == id) {
            return value;
        }
    }
    return fields_.emplace_back(id, Quillon::ParameterValue()).second;
}

std::optional<FrameSize> SimDataDescriptor::frameSize() const {
    constexpr uint32_t CoaXPress = 4;
    const std::optional<uint64_t> height = number(2);
    std::optional<uint64_t> width = number(35);
    if (type_ != CoaXPress) {
        const std::optional<uint64_t> perTap = number(1);
        const std::optional<uint64_t> taps = number(5);
        width = perTap && taps ? std::optional<uint64_t>(*perTap * *taps) : std::nullopt;
    }
    if (!width || !height || *width == 0 || *height == 0 || *width > UINT32_MAX) {
        return std::nullopt;
    }
    return FrameSize{static_cast<uint32_t>(*width), static_cast<uint32_t>(*height)};
}

std::optional<uint64_t> SimDataDescriptor::number(uint32_t id) const {
    for (const auto& [fieldId, value] : fields_) {
        if (fieldId == id && value.tag() != Quillon::ParameterValue::BooleanTag) {
            return value.asUnsigned64();
        }
    }
    return std::nullopt;
}

nlohmann::json SimDataDescriptor::toJson() const {
    nlohmann::json fields = nlohmann::json::array();
    for (const auto& [id, value] : fields_) {
        fields.push_back({{"id", id}, {"tag", value.tag()}, {"value", valueToJson(value)}});
    }
    return {{"type", type_},
            {"manufacturer", manufacturer().c_str()},
            {"model", model().c_str()},
            {"subModel", subModel().c_str()},
            {"custom", isCustom()},
            {"fields", fields}};
}

nlohmann::json valueToJson(const Quillon::ParameterValue& value) {
    if (value.tag() == Quillon::ParameterValue::BooleanTag) {
        return value.asBoolean();
    }
    return value.asUnsigned64();
}

}  // namespace sim
