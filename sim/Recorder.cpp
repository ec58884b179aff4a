#include "sim/Recorder.h"

#include "sim/Errors.h"
#include "sim/Files.h"

#include <utility>

namespace sim {

Recorder::Recorder(const std::filesystem::path& root, RecorderDescription description)
    : name_(description.name),
      folder_(root / description.name),
      description_(std::move(description)),
      hardware_(description_.ports) {
    // A state file left by an earlier process no longer holds: the unit starts afresh.
    publishState();
}

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
    description_ = description;
    hardware_.addPorts(description_.ports);
    publishState();
    return true;
}

Recorder::Session Recorder::session() { return Session(*this); }

void Recorder::requireConnected() { Session checked(*this); }

void Recorder::publishState() const {
    writeJsonFile(folder_ / StateFileName, hardware_.toJson(description_));
}

Recorder::Session::Session(Recorder& recorder) : recorder_(recorder), lock_(recorder.mutex_) {
    if (!recorder_.description_.connected) {
        fail("Recorder " + recorder_.name_ + " is not connected.");
    }
}

const PortDescription& Recorder::Session::portDescription(uint32_t index) const {
    const auto& ports = recorder_.description_.ports;
    if (index >= ports.size()) {
        fail("Recorder " + recorder_.name_ + " has no port " + std::to_string(index) + ".");
    }
    return ports[index];
}

DriveSetStore& Recorder::Session::storage() {
    if (!recorder_.storage_) {
        recorder_.storage_ = std::make_unique<DriveSetStore>(recorder_.folder_);
    }
    return *recorder_.storage_;
}

}  // namespace sim
