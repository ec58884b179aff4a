#include "sim/HardwareState.h"

namespace sim {
namespace {

template <typename T>
nlohmann::json optionalToJson(const std::optional<T>& value) {
    return value ? nlohmann::json(*value) : nlohmann::json(nullptr);
}

nlohmann::json portToJson(const PortDescription& description, const PortState& port) {
    return {{"name", description.name},
            {"dataDescriptor", port.descriptor ? port.descriptor->toJson() : nlohmann::json(nullptr)},
            {"driveSet", optionalToJson(port.driveSet)},
            {"bitDepth", optionalToJson(port.bitDepth)},
            {"packing", optionalToJson(port.packing)},
            {"grabbing", port.grabbing},
            {"memoryWrites", port.memory.writesAsJson()},
            {"serial", port.serial->toJson()}};
}

}  // namespace

HardwareState::HardwareState(const std::vector<PortDescription>& ports) { addPorts(ports); }

void HardwareState::addPorts(const std::vector<PortDescription>& ports) {
    for (size_t index = ports_.size(); index < ports.size(); ++index) {
        ports_.emplace_back(ports[index]);
    }
}

double effectiveFrameRate(const PortDescription& description, const PortState& port) {
    if (!description.cameraDetected || (description.cameraAsleep && !port.memory.acquisitionStarted())) {
        return 0.0;
    }
    return description.measuredFrameRate;
}

uint32_t deliveredBitDepth(const PortDescription& description, const PortState& port) {
    if (description.hasBitDepthSetting && port.bitDepth) {
        return *port.bitDepth;
    }
    if (description.hasPackingSetting && port.packing == 0u) {
        return 16;
    }
    return description.bitDepth;
}

const TriggerElementState* HardwareState::findTriggerElement(uint32_t kind) const {
    const auto found = trigger_.find(kind);
    return found == trigger_.end() ? nullptr : &found->second;
}

void HardwareState::detachDriveSet(uint32_t driveSetId) {
    for (PortState& port : ports_) {
        if (port.driveSet == driveSetId) {
            port.driveSet.reset();
        }
    }
}

nlohmann::json HardwareState::toJson(const RecorderDescription& description) const {
    nlohmann::json ports = nlohmann::json::array();
    for (size_t index = 0; index < description.ports.size(); ++index) {
        ports.push_back(portToJson(description.ports[index], ports_.at(index)));
    }
    nlohmann::json trigger = nlohmann::json::object();
    for (const auto& [kind, element] : trigger_) {
        trigger[trigger::elementKey(kind)] = element.toJson();
    }
    return {{"name", description.name}, {"connected", description.connected}, {"ports", ports}, {"trigger", trigger}};
}

}  // namespace sim
