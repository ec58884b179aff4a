#include "sim/SimCollection.h"

#include "sim/Errors.h"
#include "sim/Files.h"
#include "sim/SimDevice.h"

#include <boost/make_shared.hpp>

#include <algorithm>
#include <exception>

namespace sim {
namespace {

// Set on the watcher's thread while it runs callbacks.
thread_local bool runningCallbacks = false;

}  // namespace

SimCollection::SimCollection(std::filesystem::path root)
    : root_(std::move(root)),
      file_(root_ / DescriptionFileName),
      // Taken before the first read, so that an edit during it is seen by the watcher.
      initialSignature_(FileSignature::of(file_)),
      recorders_(makeRecorders(readDescription(file_))),
      watcher_(file_, initialSignature_, [this] { return reload(); }) {}

SimCollection::~SimCollection() = default;

uint32_t SimCollection::count() {
    std::lock_guard lock(mutex_);
    return static_cast<uint32_t>(recorders_.size());
}

Quillon::String SimCollection::deviceName(uint32_t index) { return recorderAt(index)->name().c_str(); }

uint32_t SimCollection::deviceState(uint32_t index) {
    return recorderAt(index)->connected() ? 0 : StateDisconnected;
}

boost::shared_ptr<Quillon::Device> SimCollection::device(uint32_t index) {
    return boost::make_shared<SimDevice>(recorderAt(index));
}

uint32_t SimCollection::registerChangeCallback(ChangeCallback callback) {
    std::lock_guard lock(callbacksMutex_);
    const uint32_t id = nextCallbackId_++;
    callbacks_.emplace(id, std::move(callback));
    return id;
}

void SimCollection::unregisterChangeCallback(uint32_t callbackId) {
    {
        std::lock_guard lock(callbacksMutex_);
        callbacks_.erase(callbackId);
    }
    if (!runningCallbacks) {
        std::lock_guard waitForRunningCallbacks(dispatchMutex_);
    }
}

std::vector<std::shared_ptr<Recorder>> SimCollection::makeRecorders(
    const std::vector<RecorderDescription>& descriptions) {
    std::vector<std::shared_ptr<Recorder>> recorders;
    for (const RecorderDescription& description : descriptions) {
        recorders.push_back(std::make_shared<Recorder>(root_, description));
    }
    return recorders;
}

std::shared_ptr<Recorder> SimCollection::recorderAt(uint32_t index) {
    std::lock_guard lock(mutex_);
    if (index >= recorders_.size()) {
        fail("There is no recorder at index " + std::to_string(index) + "; there are " +
             std::to_string(recorders_.size()) + ".");
    }
    return recorders_[index];
}

bool SimCollection::reload() {
    bool changed = false;
    try {
        changed = merge(readDescription(file_));
    } catch (const Common::GeneralException& e) {
        reportReloadError(e.what());
        return false;
    } catch (const std::exception& e) {
        reportReloadError(e.what());
        return false;
    }
    reportReloadError("");
    if (changed) {
        runCallbacks();
    }
    return true;
}

bool SimCollection::merge(const std::vector<RecorderDescription>& descriptions) {
    std::lock_guard lock(mutex_);
    bool changed = false;
    for (const std::shared_ptr<Recorder>& recorder : recorders_) {
        const auto described = std::find_if(descriptions.begin(), descriptions.end(),
                                            [&](const RecorderDescription& d) { return d.name == recorder->name(); });
        if (described != descriptions.end()) {
            changed |= recorder->update(*described);
        } else {
            // Gone from the file: unplugged, but it keeps its place.
            RecorderDescription unplugged = recorder->description();
            unplugged.connected = false;
            changed |= recorder->update(unplugged);
        }
    }
    for (const RecorderDescription& description : descriptions) {
        const bool known = std::any_of(recorders_.begin(), recorders_.end(),
                                       [&](const auto& recorder) { return recorder->name() == description.name; });
        if (!known) {
            recorders_.push_back(std::make_shared<Recorder>(root_, description));
            changed = true;
        }
    }
    return changed;
}

void SimCollection::reportReloadError(const std::string& text) {
    if (text == reloadError_) {
        return;
    }
    reloadError_ = text;
    const std::filesystem::path errorFile = root_ / ErrorFileName;
    try {
        if (text.empty()) {
            std::error_code ignored;
            std::filesystem::remove(errorFile, ignored);
        } else {
            writeFileAtomically(errorFile, text + "\n");
        }
    } catch (const Common::GeneralException&) {
        // Only a report: the collection goes on as it is.
    }
}

void SimCollection::runCallbacks() {
    std::lock_guard dispatch(dispatchMutex_);
    std::vector<ChangeCallback> callbacks;
    {
        std::lock_guard lock(callbacksMutex_);
        for (const auto& [id, callback] : callbacks_) {
            callbacks.push_back(callback);
        }
    }
    const uint32_t recorderCount = count();
    runningCallbacks = true;
    for (const ChangeCallback& callback : callbacks) {
        try {
            callback(recorderCount);
        } catch (...) {
            // A failing callback must not end the library's thread, nor keep the others from running.
        }
    }
    runningCallbacks = false;
}

}  // namespace sim
