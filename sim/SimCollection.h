#pragma once
#include "library/DeviceCollection.h"
#include "sim/DescriptionWatcher.h"
#include "sim/Recorder.h"

#include <cstdint>
#include <filesystem>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

namespace sim {

// The recorders of recorders.json, in the order in which they first appeared there. The list
// only grows: a recorder that leaves the file, or is marked not connected, stays at its index as
// disconnected. Edits of the file are followed on a thread of the library, which then runs the
// change callbacks.
class SimCollection : public Quillon::DeviceCollection {
public:
    // An edit that cannot be taken leaves the collection as it was; its reason is put in this
    // file beside the description, which goes again once an edit is taken.
    static constexpr const char* ErrorFileName = "recorders.error";

    // Throws when the description is missing or faulty.
    explicit SimCollection(std::filesystem::path root);
    ~SimCollection() override;

    const std::filesystem::path& root() const { return root_; }

    uint32_t count() override;
    Quillon::String deviceName(uint32_t index) override;
    uint32_t deviceState(uint32_t index) override;
    boost::shared_ptr<Quillon::Device> device(uint32_t index) override;
    uint32_t registerChangeCallback(ChangeCallback callback) override;
    // Once it returns, the callback no longer runs, unless it is called from the callback itself.
    void unregisterChangeCallback(uint32_t callbackId) override;

private:
    std::vector<std::shared_ptr<Recorder>> makeRecorders(const std::vector<RecorderDescription>& descriptions);
    std::shared_ptr<Recorder> recorderAt(uint32_t index);
    // Runs on the watcher's thread.
    bool reload();
    bool merge(const std::vector<RecorderDescription>& descriptions);
    void reportReloadError(const std::string& text);
    void runCallbacks();

    const std::filesystem::path root_;
    const std::filesystem::path file_;
    const FileSignature initialSignature_;
    std::mutex mutex_;
    std::vector<std::shared_ptr<Recorder>> recorders_;
    std::string reloadError_;  // used by the watcher's thread only
    std::mutex callbacksMutex_;
    std::map<uint32_t, ChangeCallback> callbacks_;
    uint32_t nextCallbackId_ = 1;
    // Held while callbacks run, so that an unregistration can wait for a running callback.
    std::mutex dispatchMutex_;
    DescriptionWatcher watcher_;  // last: it stops before the members above go
};

}  // namespace sim
