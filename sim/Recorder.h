#pragma once
#include "sim/Description.h"
#include "sim/DriveSetStore.h"
#include "sim/HardwareState.h"

#include <filesystem>
#include <memory>
#include <mutex>
#include <string>

namespace sim {

// One simulated recorder: its description, the settings that the service made on it, and its
// drive sets. Its folder "<root>/<name>" holds "state.json", rewritten at every change, and the
// drive sets. All handles of the recorder share this object, and one operation at a time works
// on it.
class Recorder {
public:
    class Session;
    static constexpr const char* StateFileName = "state.json";

    Recorder(const std::filesystem::path& root, RecorderDescription description);

    // Usable whether connected or not.
    const std::string& name() const { return name_; }
    RecorderDescription description() const;
    bool connected() const;
    // Takes a new description of this recorder; false when nothing changed.
    bool update(const RecorderDescription& description);

    // Exclusive use of the connected recorder for one operation on its hardware; throws when it is
    // not connected.
    Session session();
    // Throws as session() does.
    void requireConnected();

private:
    // The caller holds mutex_.
    void publishState() const;

    const std::string name_;
    const std::filesystem::path folder_;
    mutable std::mutex mutex_;
    RecorderDescription description_;
    HardwareState hardware_;
    std::unique_ptr<DriveSetStore> storage_;  // read from the folder at its first use
};

class Recorder::Session {
public:
    const RecorderDescription& description() const { return recorder_.description_; }
    // "Port <index> does not exist." for an index beyond the ports.
    const PortDescription& portDescription(uint32_t index) const;
    HardwareState& hardware() { return recorder_.hardware_; }
    DriveSetStore& storage();
    // Rewrites the state file after a change of the hardware state.
    void publishState() const { recorder_.publishState(); }

private:
    friend class Recorder;
    explicit Session(Recorder& recorder);

    Recorder& recorder_;
    std::unique_lock<std::mutex> lock_;
};

}  // namespace sim
