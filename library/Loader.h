#pragma once
#include "library/LibraryEntry.h"

#include <memory>
#include <string>

namespace tavu {

// "<installFolder>/Bin/libquillon.so" with "/Bin" appended as it stands, or the bare file name for
// the default search path when there is no install folder.
std::string recorderLibraryPath(const char* installFolder);

// One attempt to load the recorder library and resolve its entry point. A failure is kept, not
// retried: every use of a failed loader raises std::runtime_error("delayload failure").
class Loader {
public:
    explicit Loader(const std::string& path);

    Quillon::LibraryEntry& entry() const;

private:
    struct Closer {
        void operator()(void* handle) const;
    };

    std::unique_ptr<void, Closer> handle_;
    Quillon::LibraryEntry* entry_ = nullptr;  // owned by the library, valid while handle_ is open
};

// The library's entry table: the installed override if there is one, otherwise the process's
// loader, which loads from $QUILLON_PATH_X64 at this first use.
Quillon::LibraryEntry& libraryEntry();

// Replaces the library for its lifetime, so that tests need no shared object. A null entry stands
// for a library that cannot be loaded.
class ScopedLibraryOverride {
public:
    explicit ScopedLibraryOverride(Quillon::LibraryEntry* entry);
    ScopedLibraryOverride(const ScopedLibraryOverride&) = delete;
    ScopedLibraryOverride& operator=(const ScopedLibraryOverride&) = delete;
    ~ScopedLibraryOverride();

private:
    bool previousActive_;
    Quillon::LibraryEntry* previousEntry_;
};

}  // namespace tavu
