#pragma once
#include "bench/Report.h"

namespace tavu::bench {

// Adds the row of the service's resident memory over a long recording to a simulated drive set
// that writes slower than the camera delivers, beside its memory a few seconds in.
void benchSlowSetRecording(Report& report);

}  // namespace tavu::bench
