#pragma once
#include "sim/CameraMemory.h"
#include "sim/Description.h"
#include "sim/SimDataDescriptor.h"
#include "sim/TriggerNetwork.h"

#include <nlohmann/json.hpp>

#include <cstdint>
#include <map>
#include <memory>
#include <optional>
#include <vector>

namespace sim {

// What the service has done to one port.
struct PortState {
    explicit PortState(const PortDescription& description) : memory(description.acquisitionStartAddress) {}

    std::shared_ptr<const SimDataDescriptor> descriptor;  // the last one set
    std::optional<uint32_t> driveSet;                     // the set the port records to
    std::optional<uint32_t> bitDepth;
    std::optional<uint32_t> packing;
    bool grabbing = false;
    CameraMemory memory;
};

// The settings of a recorder that live in the unit, not on its drives: they last as long as the
// process and are published in the recorder's state file.
class HardwareState {
public:
    explicit HardwareState(const std::vector<PortDescription>& ports);

    // Ports added to the description get a fresh state; a port that goes keeps its state for
    // when it comes back.
    void addPorts(const std::vector<PortDescription>& ports);
    PortState& port(uint32_t index) { return ports_.at(index); }
    TriggerElementState& triggerElement(uint32_t kind) { return trigger_[kind]; }
    // A removed drive set takes its ports' attachments with it.
    void detachDriveSet(uint32_t driveSetId);

    nlohmann::json toJson(const RecorderDescription& description) const;

private:
    std::vector<PortState> ports_;
    std::map<uint32_t, TriggerElementState> trigger_;  // by element kind
};

}  // namespace sim
