#pragma once
#include "library/Forward.h"
#include "library/String.h"
#include "library/Values.h"

#include <boost/shared_ptr.hpp>

#include <cstdint>

namespace Quillon {

// The library's plain functions, which are not reached through an object: the one table that the
// library exports under EntrySymbol. Everything else is reached through the objects that
// these functions hand out. The table is owned by the library and lives as long as it is loaded.
class LibraryEntry {
public:
    virtual ~LibraryEntry() = default;

    virtual boost::shared_ptr<Instance> initialize(const String& applicationName, bool flag, Scope scope) = 0;
    virtual boost::shared_ptr<DataDescriptor> createDataDescriptor(uint32_t type) = 0;
    // A null source leaves the bytes unset.
    virtual boost::shared_ptr<Common::Buffer> createBuffer(const void* source, uint64_t size) = 0;
    virtual uint64_t universalTime() = 0;
};

// The C entry point of the library. A library implements it as
//   extern "C" Quillon::LibraryEntry* quillon_entry();
// and must not itself call the static functions of the seam (Instance::initialize, ...), which
// the service routes back through this table.
inline constexpr const char* EntrySymbol = "quillon_entry";
using EntryFunction = LibraryEntry* (*)();

}  // namespace Quillon
