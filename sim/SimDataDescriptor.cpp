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
