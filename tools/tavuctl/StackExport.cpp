#include "tools/tavuctl/StackExport.h"

#include <cstdio>
#include <filesystem>
#include <iostream>

#include "client/Playback.h"
#include "tools/tavuctl/Failure.h"
#include "tools/tavuctl/Format.h"
#include "tools/tavuctl/Parsing.h"
#include "tools/tavuctl/ProgressDisplay.h"
#include "tools/tavuctl/RecordingList.h"
#include "tools/tavuctl/StackFile.h"
#include "tools/tavuctl/Terminal.h"

namespace tavu::tavuctl {

namespace fs = std::filesystem;

namespace {

std::string lowerCase(std::string text) {
    for (char& c : text) {
        c = static_cast<char>(c >= 'A' && c <= 'Z' ? c - 'A' + 'a' : c);
    }
    return text;
}

std::string progressLine(uint64_t written, uint64_t total, std::chrono::steady_clock::time_point start) {
    const double seconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
    char text[96];
    std::snprintf(text, sizeof text, " %llu/%llu frames  %.1f frames/s", static_cast<unsigned long long>(written),
                  static_cast<unsigned long long>(total), seconds > 0 ? static_cast<double>(written) / seconds : 0.0);
    return "Exporting " + progressBar(static_cast<double>(written) / static_cast<double>(total), 30) + text;
}

StackDescription describe(const StackExport& request, const FileRecord& record, const OpenFileInfo& info,
                          const FrameRange& range) {
    StackDescription d;
    d.device = request.device;
    d.port = record.port;
    d.fileId = record.fileId;
    d.streamId = record.streamId;
    d.camera = record.camera;
    d.name = record.name;
    d.timestamp = isoTimestamp(record.timestamp);
    d.duration = record.duration;
    d.numFrames = info.numFrames;
    d.numDroppedFrames = record.numDroppedFrames;
    d.firstFrame = range.first;
    d.width = info.width;
    d.height = info.height;
    d.frames = range.count();
    return d;
}

}  // namespace

bool isStackFormat(const std::string& format) {
    const std::string lower = lowerCase(format);
    return lower == Hdf5Format || lower == TiffStackFormat;
}

void exportStack(Session& session, const StackExport& request) {
    session.requireDevice(request.device);
    const std::string what = "recording " + std::to_string(request.fileId) + "/" + std::to_string(request.streamId) +
                             " of device " + std::to_string(request.device);
    const bool hdf5 = lowerCase(request.format) == Hdf5Format;
    client::Playback playback = attempt("cannot open " + what, [&] {
        return client::Playback(session.client(), request.device, request.fileId, request.streamId);
    });
    const std::optional<FileRecord> record = findRecording(
        attempt("cannot list the recordings", [&] { return session.client().listFiles(request.device); }),
        request.fileId, request.streamId);
    if (!record) {
        throw Failure(exitcode::Usage, "device " + std::to_string(request.device) + " has no " + what);
    }
    const OpenFileInfo info = playback.info();
    const FrameRange range = parseFrameRange(request.frames.empty() ? "0-" : request.frames, info.numFrames);

    std::error_code error;
    fs::create_directories(request.out, error);
    if (error) {
        throw Failure(exitcode::Failed, "cannot create the folder " + request.out + ": " + error.message());
    }
    const fs::path path = fs::path(request.out) / ("recording_" + std::to_string(request.fileId) + "_" +
                                                   std::to_string(request.streamId) + (hdf5 ? ".h5" : ".tiff"));
    if (!request.force && fs::exists(path, error)) {
        throw Failure(exitcode::Failed, path.string() + " already exists; add --force to replace it");
    }
    fs::path partial = path;
    partial += ".part";

    const InterruptGuard interrupts("\ntavuctl: finishing the file being written\n");
    ProgressDisplay display(session.progressOut(), session.progressFd(), !session.options.quiet);
    const auto start = std::chrono::steady_clock::now();
    uint64_t written = 0;
    try {
        const StackDescription description = describe(request, *record, info, range);
        const std::unique_ptr<StackFile> file =
            hdf5 ? createHdf5Stack(partial, description) : createTiffStack(partial, description);
        for (uint64_t frame = range.first; frame <= range.last && !interrupts.interrupted(); ++frame) {
            file->append(attempt("cannot read frame " + std::to_string(frame), [&] { return playback.read(frame); }));
            ++written;
            display.show({progressLine(written, range.count(), start)});
        }
        file->finish(written);
        fs::rename(partial, path);
    } catch (const Failure&) {
        fs::remove(partial, error);
        throw;
    } catch (const client::ClientError&) {
        fs::remove(partial, error);
        throw;
    } catch (const std::exception& failure) {
        fs::remove(partial, error);
        throw Failure(exitcode::Failed, "cannot write " + path.string() + ": " + failure.what());
    }
    display.finish({progressLine(written, range.count(), start)});

    const bool interrupted = written < range.count();
    if (session.json()) {
        session.emit({{"device", request.device},
                      {"fileId", request.fileId},
                      {"streamId", request.streamId},
                      {"format", hdf5 ? Hdf5Format : TiffStackFormat},
                      {"file", path.string()},
                      {"first", range.first},
                      {"last", range.last},
                      {"written", written},
                      {"width", info.width},
                      {"height", info.height},
                      {"interrupted", interrupted}});
    } else {
        std::cout << (interrupted ? "Interrupted: wrote " : "Wrote ") << written << " of " << range.count()
                  << " frames of " << what << " to " << path.string() << ".\n";
    }
    session.exitCode = interrupted ? exitcode::Interrupted : exitcode::Ok;
}

}  // namespace tavu::tavuctl
