#pragma once
#include "sim/Description.h"
#include "sim/DriveSetStore.h"
#include "sim/HardwareState.h"

#include <filesystem>
#include <memory>
#include <mutex>
#include <string>

namespace sim {

class RecordController;

// One simulated recorder: its description, the settings that the service made on it, its drive
// sets and its recordings. Its folder "<root>/<name>" holds "state.json", rewritten at every
// change, and the drive sets. All handles of the recorder share this object, and one operation
// at a time works on it.
class Recorder {
public:
    class Session;
    static constexpr const char* StateFileName = "state.json";

    Recorder(const std::filesystem::path& root, RecorderDescription description);
    // Ends running recordings as the death of the process would: their files stay incomplete.
    ~Recorder();

    // Usable whether connected or not.
    const std::string& name() const { return name_; }
    RecorderDescription description() const;
    bool connected() const;
    // Takes a new description of this recorder; false when nothing changed. A change of the
    // external input's level is an edge for the trigger network.
    bool update(const RecorderDescription& description);

    // Exclusive use of the connected recorder for one operation on its hardware, named
    // "<Class>::<operation>"; throws when the recorder is not connected, or when the description
    // names the operation among its faults.
    Session session(const char* operation);
    // Throws as session() does.
    void requireConnected(const char* operation);
    // Exclusive use for the library's own threads, which go on whatever the recorder reports.
    Session internalSession();

private:
    // The caller holds mutex_.
    void publishState() const;

    const std::string name_;
    const std::filesystem::path folder_;
    mutable std::mutex mutex_;
    RecorderDescription description_;
    HardwareState hardware_;
    std::unique_ptr<DriveSetStore> storage_;  // read from the folder at its first use
    std::unique_ptr<RecordController> record_;  // last: its threads use the members above
};

class Recorder::Session {
public:
    const RecorderDescription& description() const { return recorder_.description_; }
    // "Recorder <name> has no port <index>." for an index beyond the ports.
    const PortDescription& portDescription(uint32_t index) const;
    // What the port reports: 0 without a camera, for an asleep camera, or for a port that is gone.
    double frameRate(uint32_t index) const;
    HardwareState& hardware() { return recorder_.hardware_; }
    DriveSetStore& storage();
    RecordController& record() { return *recorder_.record_; }
    // Rewrites the state file after a change of the hardware state.
    void publishState() const { recorder_.publishState(); }
    // For waits that must give the recorder up meanwhile.
    std::unique_lock<std::mutex>& lock() { return lock_; }

private:
    friend class Recorder;
    Session(Recorder& recorder, const char* operation);

    Recorder& recorder_;
    std::unique_lock<std::mutex> lock_;
};

}  // namespace sim
