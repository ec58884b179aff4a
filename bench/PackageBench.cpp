// The Python package's frame rate against the C++ client's, and tavuctl's HDF5 export against
// plain fwrite of the same bytes.
#include <cstdio>
#include <filesystem>
#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

#include "bench/Benchmarks.h"
#include "bench/EmulatorService.h"
#include "client/Playback.h"
#include "tools/tavuctl/StackFile.h"

namespace tavu::bench {

namespace {

namespace fs = std::filesystem;

constexpr uint16_t kSide = 2048;
constexpr uint64_t kFrameBytes = uint64_t{kSide} * kSide * 2;
constexpr double kMiB = 1024.0 * 1024.0;
constexpr int kRounds = 3;

std::string quoted(const std::string& text) { return "'" + text + "'"; }

// Runs a shell command and returns what it printed; raises when it fails.
std::string output(const std::string& command) {
    std::unique_ptr<FILE, int (*)(FILE*)> pipe(::popen(command.c_str(), "r"), ::pclose);
    if (!pipe) {
        throw std::runtime_error("could not run " + command);
    }
    std::string text;
    char buffer[256];
    while (std::fgets(buffer, sizeof buffer, pipe.get()) != nullptr) {
        text += buffer;
    }
    if (::pclose(pipe.release()) != 0) {
        throw std::runtime_error("failed: " + command);
    }
    return text;
}

double secondsOf(Clock::time_point start) { return Seconds(Clock::now() - start).count(); }

}  // namespace

void benchPythonPlayback(Report& report, EmulatorService& service, Seconds window) {
    auto client = service.connect();
    const uint32_t fileId = EmulatorService::record(*client, kSide, kSide, StopCondition::FrameCount, 16);
    const std::string python = "PYTHONPATH=" + quoted(TAVU_SOURCE_DIR "/python") + " /usr/bin/python3 " +
                               quoted(TAVU_SOURCE_DIR "/bench/read_frames.py") + " " +
                               quoted(client->socketPath()) + " " + std::to_string(fileId) + " " +
                               std::to_string(window.count());
    double figure = 0;
    double baseline = 0;
    {
        client::Playback playback(*client, 0, fileId, 0);
        const uint64_t frames = playback.info().numFrames;
        uint64_t next = 0;
        for (int round = 0; round < kRounds; ++round) {
            figure = std::max(figure, std::stod(output(python)));
            baseline = std::max(baseline, warmRate(window, [&] { playback.read(next++ % frames); }));
        }
    }
    client->removeFile(0, fileId, 0);
    report.add({"Python rec[i] 2048x2048 (tavu package)", "frames/s", figure, baseline, "C++ client readFrame",
                0.9});
}

void benchHdf5Export(Report& report, EmulatorService& service) {
    constexpr uint64_t kFrames = 64;
    auto client = service.connect();
    const uint32_t fileId = EmulatorService::record(*client, kSide, kSide, StopCondition::FrameCount, kFrames);
    const fs::path out = service.root() / "export";
    const std::string tavuctl = "XDG_RUNTIME_DIR=" + quoted(fs::path(client->socketPath()).parent_path()) + " " +
                                quoted(TAVUSVC_BIN_DIR "/tavuctl") + " --no-start -q export 0 " +
                                std::to_string(fileId) + " 0 --format h5 --force --out " + quoted(out) + " >/dev/null";
    const fs::path h5 = service.root() / "writer.h5";
    const fs::path plain = service.root() / "plain.raw";
    const std::vector<uint8_t> frame(kFrameBytes, 0x5A);
    tavuctl::StackDescription description;
    description.width = kSide;
    description.height = kSide;
    description.frames = kFrames;
    const double bytes = static_cast<double>(kFrames * kFrameBytes);
    double exported = 0;
    double written = 0;
    double baseline = 0;
    for (int round = 0; round < kRounds; ++round) {
        fs::remove_all(out);
        auto start = Clock::now();
        output(tavuctl);
        exported = std::max(exported, bytes / secondsOf(start));

        fs::remove(h5);
        start = Clock::now();
        {
            const std::unique_ptr<tavuctl::StackFile> file = tavuctl::createHdf5Stack(h5, description);
            for (uint64_t i = 0; i < kFrames; ++i) {
                file->append(frame);
            }
            file->finish(kFrames);
        }
        written = std::max(written, bytes / secondsOf(start));

        fs::remove(plain);
        start = Clock::now();
        std::unique_ptr<FILE, int (*)(FILE*)> file(std::fopen(plain.c_str(), "wb"), std::fclose);
        for (uint64_t i = 0; file && i < kFrames; ++i) {
            if (std::fwrite(frame.data(), 1, frame.size(), file.get()) != frame.size()) {
                throw std::runtime_error("fwrite failed");
            }
        }
        if (!file || std::fclose(file.release()) != 0) {
            throw std::runtime_error("could not write " + plain.string());
        }
        baseline = std::max(baseline, bytes / secondsOf(start));
    }
    fs::remove_all(out);
    fs::remove(h5);
    fs::remove(plain);
    client->removeFile(0, fileId, 0);
    report.add({"HDF5 writer, 64 frames 2048x2048 from memory", "MiB/s", written / kMiB, baseline / kMiB,
                "fwrite of the same bytes", 0.8});
    // The whole command also has the service copy each frame into its region: on two processors
    // that copy runs beside the write, but both share the memory's bandwidth.
    report.add({"tavuctl export --format h5 of those frames", "MiB/s", exported / kMiB, baseline / kMiB,
                "fwrite of the same bytes", std::nullopt});
}

}  // namespace tavu::bench
