#pragma once
#include "sim/CameraMemory.h"
#include "sim/Description.h"
#include "sim/LiveCamera.h"
#include "sim/SerialChannel.h"
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
    explicit PortState(const PortDescription& description)
        : memory(description.acquisitionStartAddress), serial(std::make_shared<SerialChannel>(description.name)) {}

    std::shared_ptr<const SimDataDescriptor> descriptor;  // the last one set
    std::optional<uint32_t> driveSet;                     // the set the port records to
    std::optional<uint32_t> bitDepth;
    std::optional<uint32_t> packing;
    bool grabbing = false;
    CameraMemory memory;
    // With locks of their own, as grabs and receives wait without the recorder's lock.
    std::shared_ptr<LiveCamera> live = std::make_shared<LiveCamera>();
    std::shared_ptr<SerialChannel> serial;
};

// The frame rate that the port reports: 0 without a camera, and for an asleep camera until its
// acquisition-start register is written.
double effectiveFrameRate(const PortDescription& description, const PortState& port);
// Bits per pixel of the port's live frames: the bit depth set on a port with that setting, 16 on
// a port with a packing setting that was set to 0, otherwise the camera's own.
uint32_t deliveredBitDepth(const PortDescription& description, const PortState& port);

// The settings of a recorder that live in the unit, not on its drives: they last as long as the
// process and are published in the recorder's state file.
class HardwareState {
public:
    explicit HardwareState(const std::vector<PortDescription>& ports);

    // Ports added to the description get a fresh state; a port that goes keeps its state for
    // when it comes back.
    void addPorts(const std::vector<PortDescription>& ports);
    size_t portCount() const { return ports_.size(); }
    PortState& port(uint32_t index) { return ports_.at(index); }
    const PortState& port(uint32_t index) const { return ports_.at(index); }
    TriggerElementState& triggerElement(uint32_t kind) { return trigger_[kind]; }
    // Null for an element that was never touched.
    const TriggerElementState* findTriggerElement(uint32_t kind) const;
    // A removed drive set takes its ports' attachments with it.
    void detachDriveSet(uint32_t driveSetId);

    nlohmann::json toJson(const RecorderDescription& description) const;

private:
    std::vector<PortState> ports_;
    std::map<uint32_t, TriggerElementState> trigger_;  // by element kind
};

}  // namespace sim
