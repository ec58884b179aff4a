#include "records/FileTime.h"

#include <chrono>
#include <ratio>

namespace tavu {

namespace {

using Ticks = std::chrono::duration<int64_t, std::ratio<1, 10'000'000>>;

// 1601-01-01 to 1970-01-01: 369 years, 89 of them leap years.
constexpr Ticks kUnixEpochOffset = std::chrono::days(369 * 365 + 89);

}  // namespace

uint64_t currentFileTime() {
    const auto sinceUnixEpoch =
        std::chrono::duration_cast<Ticks>(std::chrono::system_clock::now().time_since_epoch());
    return static_cast<uint64_t>((sinceUnixEpoch + kUnixEpochOffset).count());
}

}  // namespace tavu
