// export, snapshot
#include <cstdio>
#include <filesystem>
#include <iostream>

#include "client/ImageFile.h"
#include "client/LiveView.h"
#include "client/Playback.h"
#include "tools/tavuctl/Commands.h"
#include "tools/tavuctl/Failure.h"
#include "tools/tavuctl/Format.h"
#include "tools/tavuctl/FrameWriterPool.h"
#include "tools/tavuctl/Parsing.h"
#include "tools/tavuctl/ProgressDisplay.h"
#include "tools/tavuctl/StackExport.h"
#include "tools/tavuctl/Terminal.h"

namespace tavu::tavuctl {

namespace fs = std::filesystem;

namespace {

struct ExportOptions {
    uint32_t device = 0;
    uint32_t fileId = 0;
    uint32_t streamId = 0;
    std::string frames;
    std::string out;
    std::string format = "png";
    unsigned jobs = std::max(1U, std::thread::hardware_concurrency());
    bool force = false;
};

// Frame files sort by name in frame order: "frame_000042.png".
class FrameNames {
public:
    FrameNames(fs::path folder, uint64_t lastFrame, client::ImageFormat format)
        : folder_(std::move(folder)),
          digits_(std::max<size_t>(6, std::to_string(lastFrame).size())),
          extension_(client::imageExtension(format)) {}

    fs::path operator()(uint64_t frame) const {
        std::string number = std::to_string(frame);
        number.insert(0, digits_ - std::min(digits_, number.size()), '0');
        return folder_ / ("frame_" + number + "." + extension_);
    }

private:
    fs::path folder_;
    size_t digits_;
    std::string extension_;
};

void refuseToReplace(const fs::path& path) {
    std::error_code ignored;
    if (fs::exists(path, ignored)) {
        throw Failure(exitcode::Failed, path.string() + " already exists; add --force to replace it");
    }
}

void prepareFolder(const fs::path& folder, const FrameNames& names, const FrameRange& range, bool force) {
    std::error_code error;
    fs::create_directories(folder, error);
    if (error) {
        throw Failure(exitcode::Failed, "cannot create the folder " + folder.string() + ": " + error.message());
    }
    for (uint64_t frame = range.first; !force && frame <= range.last; ++frame) {
        refuseToReplace(names(frame));
    }
}

std::string exportLine(uint64_t written, uint64_t total, std::chrono::steady_clock::time_point start) {
    const double seconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
    const double rate = seconds > 0 ? static_cast<double>(written) / seconds : 0;
    char text[96];
    std::snprintf(text, sizeof text, " %llu/%llu frames  %.1f frames/s", static_cast<unsigned long long>(written),
                  static_cast<unsigned long long>(total), rate);
    std::string line = "Exporting " + progressBar(static_cast<double>(written) / static_cast<double>(total), 30) + text;
    if (rate > 0 && written < total) {
        const auto remaining = std::chrono::duration<double>(static_cast<double>(total - written) / rate);
        line += "  " + formatElapsed(std::chrono::duration_cast<std::chrono::steady_clock::duration>(remaining)) +
                " left";
    }
    return line;
}

struct ExportResult {
    uint64_t written = 0;
    bool interrupted = false;
};

ExportResult writeFrames(Session& session, client::Playback& playback, const FrameRange& range,
                         const FrameNames& names, client::ImageFormat format, unsigned jobs) {
    const OpenFileInfo info = playback.info();
    // Outlives the pool, so that a second Ctrl-C can't cut an image short.
    const InterruptGuard interrupts("\ntavuctl: finishing the images being written\n");
    FrameWriterPool pool(jobs, [&](uint64_t frame, const std::vector<uint8_t>& pixels) {
        client::writeImage(names(frame), format, info.width, info.height, pixels);
    });
    ProgressDisplay display(session.progressOut(), session.progressFd(), !session.options.quiet);
    const auto start = std::chrono::steady_clock::now();
    ExportResult result;
    for (uint64_t frame = range.first; frame <= range.last && !interrupts.interrupted(); ++frame) {
        const std::span<const uint8_t> pixels = attempt("cannot read frame " + std::to_string(frame),
                                                        [&] { return playback.read(frame); });
        pool.submit(frame, {pixels.begin(), pixels.end()});
        display.show({exportLine(pool.written(), range.count(), start)});
    }
    pool.finish();
    result.written = pool.written();
    result.interrupted = result.written < range.count();
    display.finish({exportLine(result.written, range.count(), start)});
    return result;
}

void exportFrames(Session& session, const ExportOptions& options) {
    session.requireRecording(options.device, options.fileId, options.streamId);
    if (isStackFormat(options.format)) {
        exportStack(session, {options.device, options.fileId, options.streamId, options.frames, options.out,
                              options.format, options.force});
        return;
    }
    const std::string what = "recording " + std::to_string(options.fileId) + "/" + std::to_string(options.streamId) +
                             " of device " + std::to_string(options.device);
    const client::ImageFormat format = *client::imageFormatNamed(options.format);
    client::Playback playback = attempt("cannot open " + what, [&] {
        return client::Playback(session.client(), options.device, options.fileId, options.streamId);
    });
    const OpenFileInfo info = playback.info();
    const FrameRange range = parseFrameRange(options.frames.empty() ? "0-" : options.frames, info.numFrames);
    const FrameNames names(options.out, range.last, format);
    prepareFolder(options.out, names, range, options.force);

    const ExportResult result = writeFrames(session, playback, range, names, format, options.jobs);
    if (session.json()) {
        session.emit({{"device", options.device},
                      {"fileId", options.fileId},
                      {"streamId", options.streamId},
                      {"format", client::imageExtension(format)},
                      {"folder", options.out},
                      {"first", range.first},
                      {"last", range.last},
                      {"written", result.written},
                      {"width", info.width},
                      {"height", info.height},
                      {"interrupted", result.interrupted}});
    } else {
        std::cout << (result.interrupted ? "Interrupted: wrote " : "Wrote ") << result.written << " of "
                  << range.count() << " frames of " << what << " to " << names(range.first).string()
                  << (range.count() > 1 ? " and on" : "") << ".\n";
    }
    session.exitCode = result.interrupted ? exitcode::Interrupted : exitcode::Ok;
}

void addExport(CLI::App& app, Session& session) {
    auto options = std::make_shared<ExportOptions>();
    auto* command =
        app.add_subcommand("export", "Write frames of a recording as 16-bit grayscale images, one file per frame");
    addDeviceArgument(*command, options->device);
    command->add_option("FILE_ID", options->fileId, "File id, as 'tavuctl files DEV' lists it")->required();
    command->add_option("STREAM_ID", options->streamId, "Stream id within the file")->required();
    command->add_option("--out", options->out, "Folder for the images; created if missing")->required();
    command->add_option("--frames", options->frames, "Frames to write: N, FIRST-LAST or FIRST- (default: all)");
    command->add_option("--format", options->format,
                        "png, tiff or raw (the little-endian pixels as they are); h5 or tiff-stack for one file")
        ->check(CLI::IsMember({"png", "tiff", "tif", "raw", "h5", "tiff-stack"}, CLI::ignore_case))
        ->capture_default_str();
    command->add_option("--jobs", options->jobs, "Images encoded at once")
        ->check(CLI::Range(1, 256))
        ->capture_default_str();
    command->add_flag("--force", options->force, "Replace images that exist");
    command->footer("Files are named frame_NNNNNN.<format> after the frame number. Pixel values are written\n"
                    "unchanged: 16-bit grayscale, big-endian in PNG as the format wants. h5 and tiff-stack\n"
                    "write recording_<FILE_ID>_<STREAM_ID>.h5 or .tiff instead: HDF5 with the dataset \"frames\"\n"
                    "(frames x height x width, uint16, one frame per chunk) and the recording's fields as its\n"
                    "attributes, or a multi-page TIFF.");
    command->callback([&session, options] { exportFrames(session, *options); });
}

struct SnapshotOptions {
    uint32_t device = 0;
    unsigned port = 0;
    std::string out;
    std::string format;
    bool force = false;
};

client::ImageFormat snapshotFormat(const SnapshotOptions& options) {
    if (!options.format.empty()) {
        return *client::imageFormatNamed(options.format);
    }
    return client::imageFormatOfPath(options.out).value_or(client::ImageFormat::Png);
}

void snapshot(Session& session, const SnapshotOptions& options) {
    session.requirePort(options.device, options.port);
    const auto port = static_cast<uint8_t>(options.port);
    const client::ImageFormat format = snapshotFormat(options);
    if (!options.force) {
        refuseToReplace(options.out);
    }
    const std::string label = session.portLabel(options.device, port);
    client::LiveView live =
        attempt("cannot start live view on " + label, [&] { return client::LiveView(session.client(), options.device, port); });
    const client::LiveView::Frame frame = attempt("cannot take a live frame of " + label, [&] { return live.grab(); });
    client::writeImage(options.out, format, frame.geometry.width, frame.geometry.height, frame.pixels);
    if (session.json()) {
        session.emit({{"device", options.device},
                      {"port", port},
                      {"file", options.out},
                      {"format", client::imageExtension(format)},
                      {"width", frame.geometry.width},
                      {"height", frame.geometry.height}});
    } else {
        std::cout << "Saved a " << frame.geometry.width << " x " << frame.geometry.height << " live frame of " << label
                  << " to " << options.out << ".\n";
    }
}

void addSnapshot(CLI::App& app, Session& session) {
    auto options = std::make_shared<SnapshotOptions>();
    auto* command = app.add_subcommand("snapshot", "Save one live frame of a port as an image");
    addDeviceArgument(*command, options->device);
    addPortArgument(*command, options->port);
    command->add_option("--out", options->out, "Image file to write")->required();
    command->add_option("--format", options->format, "png, tiff or raw (default: from the file name, else png)")
        ->check(CLI::IsMember({"png", "tiff", "tif", "raw"}, CLI::ignore_case));
    command->add_flag("--force", options->force, "Replace the file if it exists");
    command->callback([&session, options] { snapshot(session, *options); });
}

}  // namespace

void addImageCommands(CLI::App& app, Session& session) {
    addExport(app, session);
    addSnapshot(app, session);
}

}  // namespace tavu::tavuctl
