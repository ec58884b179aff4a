#pragma once
#include <cstdint>

namespace Common {

class TimestampHelper {
public:
    // The library's clock, in 100 ns units since 1601-01-01 UTC.
    static uint64_t universalTime();
};

}  // namespace Common
