#pragma once
#include <cstdint>

namespace tavu {

// What the service derives from the recorder model's type number (HardwareInfo::deviceType).

// The family of the recorder as clients see it (HardwareType).
uint8_t hardwareTypeOf(uint32_t deviceType);

// True for the models whose camera link is CoaXPress.
bool isCoaXPressType(uint32_t deviceType);

// True for the models of the second family, whose CoaXPress ports take eight pixels per clock.
bool isSecondFamilyType(uint32_t deviceType);

}  // namespace tavu
