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
    description_ = description;
    hardware_.addPorts(description_.ports);
    publishState();
    if (edge) {
        // A rising edge is the input's plain variant, a falling edge the other.
        record_->pulse(trigger::ExternalInput, !description_.externalInput);
    }
    return true;
}

Recorder::Session Recorder::session(const char* operation) { return Session(*this, operation); }

void Recorder::requireConnected(const char* operation) { Session checked(*this, operation); }

Recorder::Session Recorder::internalSession() { return Session(*this, nullptr); }

void Recorder::publishState() const {
    writeJsonFile(folder_ / StateFileName, hardware_.toJson(description_));
}

Recorder::Session::Session(Recorder& recorder, const char* operation) : recorder_(recorder), lock_(recorder.mutex_) {
    if (operation == nullptr) {
        return;
    }
    const RecorderDescription& description = recorder_.description_;
    if (!description.connected) {
        fail("Recorder " + recorder_.name_ + " is not connected.");
    }
    if (std::find(description.faults.begin(), description.faults.end(), operation) != description.faults.end()) {
        fail(std::string(operation) + " failed: a fault is simulated on recorder " + recorder_.name_ + ".");
    }
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
