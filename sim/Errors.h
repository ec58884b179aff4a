#pragma once
#include "library/Buffer.h"
#include "library/GeneralException.h"

#include <string>

namespace sim {

// Every failure of the library reaches the caller as the library's own exception type.
[[noreturn]] inline void fail(const std::string& text) { throw Common::GeneralException(text); }

// The buffer a caller handed in, refused when it is missing.
inline Common::Buffer& checkedBuffer(const boost::shared_ptr<Common::Buffer>& buffer) {
    if (!buffer) {
        fail("A buffer is needed.");
    }
    return *buffer;
}

}  // namespace sim
