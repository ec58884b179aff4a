#pragma once
#include "hardware/library/GeneralException.h"

#include <string>

namespace sim {

// Every failure of the library reaches the caller as the library's own exception type.
[[noreturn]] inline void fail(const std::string& text) { throw Common::GeneralException(text); }

}  // namespace sim
