#include "hardware/CameraWakeUp.h"

#include "encoding/BigEndian.h"
#include "library/Buffer.h"

#include <boost/make_shared.hpp>

#include <cstdint>
#include <optional>

namespace tavu {

namespace {

// Holds the address of the acquisition-start register on a CoaXPress camera.
constexpr uint32_t kAcquisitionStartAddress = 0x300C;
constexpr uint32_t kRegisterBytes = 4;
// Frames per second below which a port counts as silent.
constexpr double kSilentFrameRate = 0.001;

std::optional<uint32_t> readRegister(Quillon::Port& port, uint32_t address) {
    try {
        auto buffer = boost::make_shared<Common::Buffer>(kRegisterBytes);
        port.readMemory(buffer, address, 0);
        return static_cast<uint32_t>(loadBigEndian(buffer->data(), kRegisterBytes));
    } catch (...) {
        return std::nullopt;
    }
}

void writeRegister(Quillon::Port& port, uint32_t address, uint32_t value) {
    try {
        auto buffer = boost::make_shared<Common::Buffer>(kRegisterBytes);
        storeBigEndian(buffer->data(), value, kRegisterBytes);
        port.writeMemory(buffer, address, 0);
    } catch (...) {
    }
}

}  // namespace

bool isSilentCamera(Quillon::Port& port) {
    return !port.isGrabbing() && port.isCameraDetected() && port.measuredFrameRate() < kSilentFrameRate;
}

void wakeUpCamera(Quillon::Port& port) {
    if (const std::optional<uint32_t> startRegister = readRegister(port, kAcquisitionStartAddress)) {
        writeRegister(port, *startRegister, 1);
    }
}

}  // namespace tavu
