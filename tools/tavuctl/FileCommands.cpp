// files, info, rename, rm
#include <iostream>

#include "client/Playback.h"
#include "tools/tavuctl/Commands.h"
#include "tools/tavuctl/Failure.h"
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
    command.add_option("FILE_ID", id.fileId, "File id, as 'tavuctl files DEV' lists it")->required();
    command.add_option("STREAM_ID", id.streamId, "Stream id within the file")->required();
}

// The catalogue entry, or a usage failure that says where to look.
FileRecord requireRecording(Session& session, const RecordingId& id) {
    session.requireDevice(id.device);
    const auto record = findRecording(session.client().listFiles(id.device), id.fileId, id.streamId);
    if (!record) {
        throw Failure(exitcode::Usage, "there is no " + id.text() + "; 'tavuctl files " + std::to_string(id.device) +
                                           "' lists the recordings");
    }
    return *record;
}

void listFiles(Session& session, uint32_t device) {
    session.requireDevice(device);
    const std::vector<FileRecord> files = attempt("cannot list the recordings of device " + std::to_string(device),
                                                  [&] { return session.client().listFiles(device); });
    if (session.json()) {
        session.emit({{"device", device}, {"recordings", recordingsJson(files)}});
    } else if (files.empty()) {
        std::cout << "Device " << device << " has no recordings.\n";
    } else {
        printRecordings(std::cout, files);
    }
}

void info(Session& session, const RecordingId& id) {
    const FileRecord record = requireRecording(session, id);
    client::Client& client = session.client();
    const OpenFileInfo open = attempt("cannot open " + id.text(), [&] {
        return client::Playback(client, id.device, id.fileId, id.streamId).info();
    });
    const std::vector<uint8_t> identity = attempt("cannot read the identity block of " + id.text(),
                                                  [&] { return client.fileIdentity(id.device, id.fileId, id.streamId); });
    if (session.json()) {
        Json entry = recordingJson(record);
        entry["device"] = id.device;
        entry["open"] = {{"width", open.width},
                         {"height", open.height},
                         {"imageSize", open.imageSize},
                         {"numFrames", open.numFrames},
                         {"size", open.size}};
        entry["identity"] = hexBytes(identity, "");
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
              << "  identity   " << identity.size() << " bytes\n";
}

void rename(Session& session, const RecordingId& id, const std::string& name) {
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
    auto* command = app.add_subcommand("info", "Show one recording: catalogue entry and frame geometry");
    addRecordingArguments(*command, *id);
    command->callback([&session, id] { info(session, *id); });
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
