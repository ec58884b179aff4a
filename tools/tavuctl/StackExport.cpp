#include "tools/tavuctl/StackExport.h"

#include <deque>
#include <cstdio>
#include <filesystem>
#include <future>
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

// Two playbacks of one stream on two connections, read in turns: the service puts the next frame
// into one region while the file takes the current one from the other, so that reading and
// writing each keep a processor busy instead of waiting for each other.
class AlternatePlayback {
public:
    AlternatePlayback(Session& session, const StackExport& request) : second_(secondOptions(session)) {
        for (client::Client* client : {&session.client(), &second_}) {
            playbacks_.emplace_back(*client, request.device, request.fileId, request.streamId);
        }
    }

    const OpenFileInfo& info() const { return playbacks_.front().info(); }

    // Starts reading a frame; its bytes stay valid until the second read started after it.
    std::future<std::span<const uint8_t>> read(uint64_t frame) {
        client::Playback& playback = playbacks_[turn_++ % 2];
        return std::async(std::launch::async, [&playback, frame] { return playback.read(frame); });
    }

private:
    static client::ConnectOptions secondOptions(Session& session) {
        client::ConnectOptions options;
        options.socketPath = session.client().socketPath();
        options.startService = false;
        return options;
    }

    client::Client second_;
    std::deque<client::Playback> playbacks_;
    uint64_t turn_ = 0;
};

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
    AlternatePlayback playback = attempt("cannot open " + what, [&] { return AlternatePlayback(session, request); });
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
        std::future<std::span<const uint8_t>> next = playback.read(range.first);
        for (uint64_t frame = range.first; frame <= range.last && !interrupts.interrupted(); ++frame) {
            const std::span<const uint8_t> pixels =
                attempt("cannot read frame " + std::to_string(frame), [&] { return next.get(); });
            if (frame < range.last) {
                next = playback.read(frame + 1);
            }
            file->append(pixels);
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
