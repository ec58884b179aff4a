// Placeholder until the registry lands; replaced wholesale by the real DeviceManager.
#pragma once
#include <cstdint>

namespace tavu {

class DeviceManager {
public:
    void start() {}
    void stop() {}
    uint32_t deviceCount() { return 0; }
    void lockGlobal() {}
    void unlockGlobal() {}
    void destroyQueue(uint32_t, bool) {}
    void stopLive(uint32_t, uint8_t) {}
    void closeFile(uint32_t, uint32_t) {}
};

}  // namespace tavu
