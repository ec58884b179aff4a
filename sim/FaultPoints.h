#pragma once
#include <string_view>

namespace sim {

// The operations that a recorder's "faults" list can name, as "<Class>::<operation>" with the
// class names of the library seam. Each of them checks the list before it does anything.
bool isFaultPoint(std::string_view operation);

}  // namespace sim
