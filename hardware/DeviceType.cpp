#include "hardware/DeviceType.h"

#include "wire/Types.h"

namespace tavu {

namespace {

bool isFirstFamilyType(uint32_t deviceType) {
    return (deviceType >= 1 && deviceType <= 17) || deviceType == 20 || deviceType == 150 || deviceType == 151;
}

}  // namespace

uint8_t hardwareTypeOf(uint32_t deviceType) {
    if (isFirstFamilyType(deviceType)) {
        return HardwareType::FirstFamily;
    }
    if (isSecondFamilyType(deviceType)) {
        return HardwareType::SecondFamily;
    }
    return HardwareType::Unknown;
}

bool isCoaXPressType(uint32_t deviceType) {
    return (deviceType >= 15 && deviceType <= 17) || deviceType == 70 || deviceType == 71;
}

bool isSecondFamilyType(uint32_t deviceType) {
    return (deviceType >= 64 && deviceType <= 67) || (deviceType >= 70 && deviceType <= 72);
}

}  // namespace tavu
