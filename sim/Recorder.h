#pragma once
#include "sim/Description.h"
#include "sim/DriveSetStore.h"
#include "sim/HardwareState.h"

#include <filesystem>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

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
    // external input's level is an edge for the trigger network. A recorder that comes back
    // after it was unplugged was switched off meanwhile: its settings start afresh.
    bool update(const RecorderDescription& description);

    // Exclusive use of the connected recorder for one operation on its hardware, named
    // "<Class>::<operation>", on the port of that index if it concerns one; throws when the
    // recorder is not connected, or when a fault of the description strikes the call.
    Session session(const char* operation, std::optional<uint32_t> port = std::nullopt);
    // Throws as session() does.
    void requireConnected(const char* operation);
    // A call of the library's own threads on the drives, which may fail as the service's do,
    // connected or not: throws when a fault strikes it.
    void dataPathCall(const char* operation);
    // Exclusive use for the library's own threads, which go on whatever the recorder reports.
    Session internalSession();

private:
    struct Strike {
        bool fails = false;
        bool givesNoFile = false;
    };

    // The caller holds mutex_ for these.
    // Counts the call for every fault that names it, and tells whether one strikes.
    Strike countCall(const char* operation, std::optional<uint32_t> port);
    [[noreturn]] void failSimulated(const char* operation) const;
    void powerCycle();
    void publishState() const;

    const std::string name_;
    const std::filesystem::path folder_;
    mutable std::mutex mutex_;
    RecorderDescription description_;
    std::vector<uint64_t> faultCalls_;  // calls counted by each fault of the description
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
    // A fault struck the call that must give file id 0 rather than throw.
    bool givesNoFile() const { return givesNoFile_; }

private:
    friend class Recorder;
    Session(Recorder& recorder, const char* operation, std::optional<uint32_t> port);

    Recorder& recorder_;
    std::unique_lock<std::mutex> lock_;
    bool givesNoFile_ = false;
};

}  // namespace sim
