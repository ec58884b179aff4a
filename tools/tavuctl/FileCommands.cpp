// files, info, rename, rm
#include <iostream>

#include "client/Playback.h"
#include "tools/tavuctl/Commands.h"
#include "tools/tavuctl/DeviceActivity.h"
#include "tools/tavuctl/Failure.h"
#include "tools/tavuctl/Parsing.h"
#include "tools/tavuctl/Format.h"
#include "tools/tavuctl/RecordingList.h"
#include "tools/tavuctl/Terminal.h"

namespace tavu::tavuctl {

namespace {

struct RecordingId {
    uint32_t device = 0;
    uint32_t fileId = 0;
    uint32_t streamId = 0;

    std::string text() const {
        return "recording " + std::to_string(fileId) + "/" + std::to_string(streamId) + " of device " +
               std::to_string(device);
    }
};

void addRecordingArguments(CLI::App& command, RecordingId& id) {
    addDeviceArgument(command, id.device);
    command.add_option("FILE_ID", id.fileId, "File id, as 'tavuctl files DEV' lists it")
        ->required()
        ->check(wholeNumber(0, UINT32_MAX));
    command.add_option("STREAM_ID", id.streamId, "Stream id within the file")->required()->check(wholeNumber(0, UINT32_MAX));
}

FileRecord requireRecording(Session& session, const RecordingId& id) {
    return session.requireRecording(id.device, id.fileId, id.streamId);
}

void listFiles(Session& session, uint32_t device) {
    session.requireDevice(device);
    const std::vector<FileRecord> files = attempt("cannot list the recordings of device " + std::to_string(device),
                                                  [&] { return session.client().listFiles(device); });
    const bool cutOff = cutOffRecordingWaits(session.client(), device);
    if (session.json()) {
        session.emit({{"device", device}, {"recordings", recordingsJson(files)}, {"cutOffRecording", cutOff}});
    } else if (files.empty()) {
        std::cout << "Device " << device << " has no recordings.\n";
    } else {
        printRecordings(std::cout, files);
    }
    if (cutOff) {
        noteCutOffRecording(session.client(), device);
    }
}

// A recording whose name is empty drops out of the catalogue at the next start of the service,
// and one that isn't UTF-8 text can't be shown as JSON: both would be lost to the user.
void requireListableName(const std::string& name) {
    if (name.empty()) {
        throw Failure(exitcode::Usage, "a recording needs a name that is not empty: one without a name is no "
                                       "longer listed once the service restarts");
    }
    constexpr size_t MaxName = 1024;
    if (name.size() > MaxName) {
        throw Failure(exitcode::Usage, "a recording's name can have at most " + std::to_string(MaxName) + " bytes");
    }
    try {
        (void)Json(name).dump();
    } catch (const Json::exception&) {
        throw Failure(exitcode::Usage, "a recording's name must be UTF-8 text, or it cannot be listed again");
    }
    for (const char c : name) {
        if (static_cast<unsigned char>(c) < 0x20 || c == 0x7F) {
            throw Failure(exitcode::Usage, "a recording's name cannot hold control characters such as a line break");
        }
    }
}

// Renames through the recording's descriptive fields; the device may settle on another name
// when the one asked for is taken.
FileRecord setName(Session& session, const RecordingId& id, FileRecord record, const std::string& name) {
    requireListableName(name);
    const FileInfoUpdate update = fileInfoOf(record, name);
    record.name = attempt("cannot rename " + id.text(),
                          [&] { return session.client().setFileInfo(id.device, id.fileId, id.streamId, update); });
    return record;
}

void info(Session& session, const RecordingId& id, const std::optional<std::string>& name) {
    FileRecord record = requireRecording(session, id);
    // Asked for its own name again, the device would add a number to it.
    if (name && *name != record.name) {
        record = setName(session, id, record, *name);
    }
    client::Client& client = session.client();
    const OpenFileInfo open = attempt("cannot open " + id.text(), [&] {
        return client::Playback(client, id.device, id.fileId, id.streamId).info();
    });
    // A camera paired without a block leaves none, which a recorder reports as a failure.
    std::optional<std::vector<uint8_t>> identity;
    try {
        identity = client.fileIdentity(id.device, id.fileId, id.streamId);
    } catch (const client::ServiceError&) {
    }
    const bool hasIdentity = identity && !identity->empty();
    if (session.json()) {
        Json entry = recordingJson(record);
        entry["device"] = id.device;
        entry["open"] = {{"width", open.width},
                         {"height", open.height},
                         {"imageSize", open.imageSize},
                         {"numFrames", open.numFrames},
                         {"size", open.size}};
        entry["identity"] = hasIdentity ? Json(hexBytes(*identity, "")) : Json();
        session.emit(entry);
        return;
    }
    std::cout << "Recording " << id.fileId << "/" << id.streamId << " of device " << id.device << "\n"
              << "  name       " << record.name << "\n"
              << "  port       " << record.port << "\n"
              << "  camera     " << record.camera << "\n"
              << "  recorded   " << formatTimestamp(record.timestamp) << "\n"
              << "  frames     " << open.numFrames << " of " << open.width << " x " << open.height << " pixels, "
              << open.imageSize << " bytes each\n"
              << "  dropped    " << record.numDroppedFrames << "\n"
              << "  size       " << formatBytes(open.size) << " (" << open.size << " bytes)\n"
              << "  times      start " << record.startTime << ", end " << record.endTime << ", duration "
              << record.duration << "\n"
              << "  identity   " << (hasIdentity ? std::to_string(identity->size()) + " bytes" : "none") << "\n";
}

void rename(Session& session, const RecordingId& id, const std::string& name) {
    requireListableName(name);
    const FileRecord record = requireRecording(session, id);
    attempt("cannot rename " + id.text(),
            [&] { session.client().renameFile(id.device, id.fileId, id.streamId, name, true); });
    if (session.json()) {
        session.emit({{"device", id.device},
                       {"fileId", id.fileId},
                       {"streamId", id.streamId},
                       {"name", name},
                       {"previousName", record.name}});
    } else {
        std::cout << "Renamed " << id.text() << " from " << quoted(record.name) << " to " << quoted(name) << ".\n";
    }
}

void remove(Session& session, const RecordingId& id, bool assumeYes) {
    const FileRecord record = requireRecording(session, id);
    const std::string what = id.text() + " (" + quoted(record.name) + ", " + std::to_string(record.numFrames) +
                             " frames, " + formatBytes(record.size) + ")";
    if (!confirm("Remove " + what + " for good?", assumeYes)) {
        throw Failure(exitcode::Failed, "nothing removed");
    }
    attempt("cannot remove " + id.text(),
            [&] { session.client().removeFile(id.device, id.fileId, id.streamId); });
    if (session.json()) {
        session.emit({{"device", id.device}, {"removed", recordingJson(record)}});
    } else {
        std::cout << "Removed " << what << ".\n";
    }
}

void addFiles(CLI::App& app, Session& session) {
    auto device = std::make_shared<uint32_t>();
    auto* command = app.add_subcommand("files", "List the recordings of a device");
    addDeviceArgument(*command, *device);
    command->callback([&session, device] { listFiles(session, *device); });
}

void addInfo(CLI::App& app, Session& session) {
    auto id = std::make_shared<RecordingId>();
    auto name = std::make_shared<std::optional<std::string>>();
    auto* command = app.add_subcommand("info", "Show one recording: catalogue entry and frame geometry");
    addRecordingArguments(*command, *id);
    command->add_option("--name", *name,
                        "Give the recording this name first; when another recording has it, the device adds a "
                        "number, as in \"shot(1)\"");
    command->callback([&session, id, name] { info(session, *id, *name); });
}

void addRename(CLI::App& app, Session& session) {
    auto id = std::make_shared<RecordingId>();
    auto name = std::make_shared<std::string>();
    auto* command = app.add_subcommand("rename", "Give a recording a new name; other clients are told");
    addRecordingArguments(*command, *id);
    command->add_option("NAME", *name, "The new name")->required();
    command->callback([&session, id, name] { rename(session, *id, *name); });
}

void addRemove(CLI::App& app, Session& session) {
    auto id = std::make_shared<RecordingId>();
    auto yes = std::make_shared<bool>(false);
    auto* command = app.add_subcommand("rm", "Remove a recording from the device, for good");
    addRecordingArguments(*command, *id);
    command->add_flag("-y,--yes", *yes, "Don't ask; needed when there is no terminal to ask on");
    command->callback([&session, id, yes] { remove(session, *id, *yes); });
}

}  // namespace

void addFileCommands(CLI::App& app, Session& session) {
    addFiles(app, session);
    addInfo(app, session);
    addRename(app, session);
    addRemove(app, session);
}

}  // namespace tavu::tavuctl
