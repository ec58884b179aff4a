#include "sim/Recorder.h"

#include "sim/Errors.h"
#include "sim/Files.h"
#include "sim/RecordController.h"

#include <algorithm>
#include <utility>

namespace sim {

Recorder::Recorder(const std::filesystem::path& root, RecorderDescription description)
    : name_(description.name),
      folder_(root / description.name),
      description_(std::move(description)),
      faultCalls_(description_.faults.size(), 0),
      hardware_(description_.ports),
      record_(std::make_unique<RecordController>(*this)) {
    // A state file left by an earlier process no longer holds: the unit starts afresh.
    publishState();
}

Recorder::~Recorder() = default;

RecorderDescription Recorder::description() const {
    std::lock_guard lock(mutex_);
    return description_;
}

bool Recorder::connected() const {
    std::lock_guard lock(mutex_);
    return description_.connected;
}

bool Recorder::update(const RecorderDescription& description) {
    std::lock_guard lock(mutex_);
    if (description == description_) {
        return false;
    }
    const bool edge = description.externalInput != description_.externalInput;
    const bool pluggedIn = description.connected && !description_.connected;
    // A fault that stays as it was goes on counting; a new or changed one counts afresh.
    std::vector<uint64_t> calls(description.faults.size(), 0);
    std::vector<bool> taken(description_.faults.size(), false);
    for (size_t index = 0; index < description.faults.size(); ++index) {
        for (size_t old = 0; old < description_.faults.size(); ++old) {
            if (!taken[old] && description_.faults[old] == description.faults[index]) {
                taken[old] = true;
                calls[index] = faultCalls_[old];
                break;
            }
        }
    }
    faultCalls_ = std::move(calls);
    description_ = description;
    if (pluggedIn) {
        powerCycle();
    } else {
        hardware_.addPorts(description_.ports);
    }
    publishState();
    if (edge) {
        // A rising edge is the input's plain variant, a falling edge the other.
        record_->pulse(trigger::ExternalInput, !description_.externalInput);
    }
    return true;
}

Recorder::Session Recorder::session(const char* operation, std::optional<uint32_t> port) {
    return Session(*this, operation, port);
}

void Recorder::requireConnected(const char* operation) { Session checked(*this, operation, std::nullopt); }

void Recorder::dataPathCall(const char* operation) {
    std::lock_guard lock(mutex_);
    if (countCall(operation, std::nullopt).fails) {
        failSimulated(operation);
    }
}

Recorder::Session Recorder::internalSession() { return Session(*this, nullptr, std::nullopt); }

Recorder::Strike Recorder::countCall(const char* operation, std::optional<uint32_t> port) {
    Strike strike;
    for (size_t index = 0; index < description_.faults.size(); ++index) {
        const FaultDescription& fault = description_.faults[index];
        if (fault.operation != operation) {
            continue;
        }
        const bool onItsPort = !fault.port || (port && *port < description_.ports.size() &&
                                               description_.ports[*port].name == *fault.port);
        if (!onItsPort) {
            continue;
        }
        const uint64_t call = ++faultCalls_[index];
        if (call <= fault.after || (fault.times && call - fault.after > *fault.times)) {
            continue;
        }
        (fault.givesNoFile ? strike.givesNoFile : strike.fails) = true;
    }
    return strike;
}

void Recorder::failSimulated(const char* operation) const {
    fail(std::string(operation) + " failed: a fault is simulated on recorder " + name_ + ".");
}

void Recorder::powerCycle() {
    // Grabs that wait on the old acquisitions end without a frame.
    for (uint32_t index = 0; index < hardware_.portCount(); ++index) {
        hardware_.port(index).live->interrupt();
    }
    hardware_ = HardwareState(description_.ports);
    record_->powerCycle();
}

void Recorder::publishState() const {
    writeJsonFile(folder_ / StateFileName, hardware_.toJson(description_));
}

Recorder::Session::Session(Recorder& recorder, const char* operation, std::optional<uint32_t> port)
    : recorder_(recorder), lock_(recorder.mutex_) {
    if (operation == nullptr) {
        return;
    }
    if (!recorder_.description_.connected) {
        fail("Recorder " + recorder_.name_ + " is not connected.");
    }
    const Strike strike = recorder_.countCall(operation, port);
    if (strike.fails) {
        recorder_.failSimulated(operation);
    }
    givesNoFile_ = strike.givesNoFile;
}

const PortDescription& Recorder::Session::portDescription(uint32_t index) const {
    const auto& ports = recorder_.description_.ports;
    if (index >= ports.size()) {
        fail("Recorder " + recorder_.name_ + " has no port " + std::to_string(index) + ".");
    }
    return ports[index];
}

double Recorder::Session::frameRate(uint32_t index) const {
    const auto& ports = recorder_.description_.ports;
    if (index >= ports.size()) {
        return 0.0;
    }
    return effectiveFrameRate(ports[index], recorder_.hardware_.port(index));
}

DriveSetStore& Recorder::Session::storage() {
    if (!recorder_.storage_) {
        recorder_.storage_ = std::make_unique<DriveSetStore>(recorder_.folder_);
    }
    return *recorder_.storage_;
}

}  // namespace sim
