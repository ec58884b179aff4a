#pragma once
#include "device/DeviceSource.h"

namespace tavu {

// The service's devices: the emulated recorder as device 0 when TAVUSRV_ENABLE_EMULATOR is set and
// not empty, then the recorders that the recorder library finds.
DeviceSources deviceSources();

}  // namespace tavu
