#pragma once
#include "library/Port.h"

namespace tavu {

// A camera is on the port but sends nothing, while the port is not grabbing: a CoaXPress camera
// that waits for its acquisition to be started.
bool isSilentCamera(Quillon::Port& port);

// Starts acquisition on a CoaXPress camera that sits silent on its port: reads the address of the
// camera's acquisition-start register from 0x300C and writes 1 there. Every failure is swallowed,
// as a camera that does not answer is no fault of the operation that tried to wake it.
void wakeUpCamera(Quillon::Port& port);

}  // namespace tavu
