#include "library/Loader.h"

#include <dlfcn.h>

#include <cstdlib>
#include <mutex>
#include <stdexcept>

namespace tavu {
namespace {

constexpr const char* LibraryFileName = "libquillon.so";

[[noreturn]] void throwDelayloadFailure() { throw std::runtime_error("delayload failure"); }

struct OverrideState {
    std::mutex mutex;
    bool active = false;
    Quillon::LibraryEntry* entry = nullptr;
};

OverrideState& overrideState() {
    static OverrideState state;
    return state;
}

}  // namespace

std::string recorderLibraryPath(const char* installFolder) {
    if (installFolder == nullptr) {
        return LibraryFileName;
    }
    return std::string(installFolder) + "/Bin/" + LibraryFileName;
}

void Loader::Closer::operator()(void* handle) const { dlclose(handle); }

Loader::Loader(const std::string& path) : handle_(dlopen(path.c_str(), RTLD_NOW | RTLD_LOCAL)) {
    if (!handle_) {
        return;
    }
    const auto function = reinterpret_cast<Quillon::EntryFunction>(dlsym(handle_.get(), Quillon::EntrySymbol));
    if (function == nullptr) {
        return;
    }
    try {
        entry_ = function();
    } catch (...) {
        entry_ = nullptr;
    }
}

Quillon::LibraryEntry& Loader::entry() const {
    if (entry_ == nullptr) {
        throwDelayloadFailure();
    }
    return *entry_;
}

Quillon::LibraryEntry& libraryEntry() {
    {
        OverrideState& state = overrideState();
        std::lock_guard lock(state.mutex);
        if (state.active) {
            if (state.entry == nullptr) {
                throwDelayloadFailure();
            }
            return *state.entry;
        }
    }
    static const Loader loader(recorderLibraryPath(std::getenv("QUILLON_PATH_X64")));
    return loader.entry();
}

ScopedLibraryOverride::ScopedLibraryOverride(Quillon::LibraryEntry* entry) {
    OverrideState& state = overrideState();
    std::lock_guard lock(state.mutex);
    previousActive_ = state.active;
    previousEntry_ = state.entry;
    state.active = true;
    state.entry = entry;
}

ScopedLibraryOverride::~ScopedLibraryOverride() {
    OverrideState& state = overrideState();
    std::lock_guard lock(state.mutex);
    state.active = previousActive_;
    state.entry = previousEntry_;
}

}  // namespace tavu
