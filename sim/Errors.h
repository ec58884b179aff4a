#pragma once
#include "hardware/library/GeneralException.h"

#include <string>

namespace sim {

// Every failure of the library reaches the caller as the library's own exception type.
[[noreturn]] inline void fail(const std::string& text) { throw Common::GeneralException(text); }

// Operations whose behaviour the simulated recorder does not model yet.
[[noreturn]] inline void notSimulatedYet(const char* operation) {
    fail(std::string(operation) + ": not simulated yet");
}

}  // namespace sim
