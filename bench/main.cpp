// Runs the benchmarks against the real service of this build and prints each figure beside
// its baseline; the table also goes to a JSON file (argument 1, default bench/results.json).
// Further arguments name the groups to run (roundtrip connections playback live events
// recording python export idle tango slowset), all of them by default. TAVU_BENCH_SECONDS sets
// the time of one rate measurement (default 1).
#include "bench/Benchmarks.h"
#include "bench/EmulatorService.h"
#include "bench/SlowSetRecording.h"

#include <algorithm>
#include <cstdlib>
#include <exception>
#include <iostream>
#include <string>
#include <vector>

int main(int argc, char** argv) {
    using namespace tavu::bench;
    const char* seconds = std::getenv("TAVU_BENCH_SECONDS");
    const Seconds window(seconds != nullptr ? std::atof(seconds) : 1.0);
    const std::filesystem::path output = argc > 1 ? argv[1] : "bench/results.json";
    const std::vector<std::string> only(argv + std::min(argc, 2), argv + argc);
    auto wanted = [&](const std::string& group) { return only.empty() || std::ranges::count(only, group) > 0; };
    try {
        Report report;
        {
            EmulatorService service;
            if (wanted("roundtrip")) benchRoundTripPinned(report, service, window);
            if (wanted("connections")) benchConnections(report, service, window);
            if (wanted("playback")) benchPlayback(report, service, window);
            if (wanted("live")) benchLiveView(report, service, window);
            if (wanted("events")) benchEvents(report, service, window);
            if (wanted("recording")) benchRecording(report, service);
            if (wanted("python")) benchPythonPlayback(report, service, window);
            if (wanted("export")) benchHdf5Export(report, service);
#ifdef TAVU_BENCH_TANGO
            if (wanted("tango")) benchTango(report, service, window);
#endif
        }
        if (wanted("idle")) benchIdleClients(report);
        if (wanted("slowset")) benchSlowSetRecording(report);
        report.print(std::cout);
        report.writeJson(output);
    } catch (const std::exception& e) {
        std::cerr << "benchmark failed: " << e.what() << "\n";
        return 1;
    }
    return 0;
}
