#pragma once

#include <cstdint>

namespace tavu {

// The current system time as 100 ns units since 1601-01-01 UTC, the unit of every
// time stamp that records and clients carry.
uint64_t currentFileTime();

}  // namespace tavu
