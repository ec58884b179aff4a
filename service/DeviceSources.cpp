#include "service/DeviceSources.h"

#include <cstdlib>

#include "emulator/TavuDeviceEmulator.h"
#include "hardware/RecorderDiscovery.h"

namespace tavu {

DeviceSources deviceSources() {
    DeviceSources sources{std::make_unique<RecorderDiscovery>(), nullptr};
    const char* emulator = std::getenv("TAVUSRV_ENABLE_EMULATOR");
    if (emulator != nullptr && *emulator != '\0') {
        sources.emulator = [] { return std::make_unique<TavuDeviceEmulator>(); };
    }
    return sources;
}

}  // namespace tavu
