#pragma once
#include "bench/Measure.h"
#include "bench/Report.h"

namespace tavu::bench {

class EmulatorService;

// Each adds its rows to the report: the service's figure and a baseline measured just before
// or after it. `window` is the time of one rate measurement.
void benchRoundTripPinned(Report& report, EmulatorService& service, Seconds window);
void benchConnections(Report& report, EmulatorService& service, Seconds window);
void benchPlayback(Report& report, EmulatorService& service, Seconds window);
void benchLiveView(Report& report, EmulatorService& service, Seconds window);
void benchEvents(Report& report, EmulatorService& service, Seconds window);
void benchRecording(Report& report, EmulatorService& service);
void benchIdleClients(Report& report);
// Built where the Tango device server is.
void benchTango(Report& report, EmulatorService& service, Seconds window);
// Reading frames through the Python package against the C++ client; tavuctl's HDF5 export
// against fwrite.
void benchPythonPlayback(Report& report, EmulatorService& service, Seconds window);
void benchHdf5Export(Report& report, EmulatorService& service);

}  // namespace tavu::bench
