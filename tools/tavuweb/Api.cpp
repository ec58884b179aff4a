#include "tools/tavuweb/Api.h"

#include <unistd.h>

#include <atomic>
#include <filesystem>
#include <fstream>
#include <sstream>

#include "client/ClientErrors.h"
#include "client/ImageFile.h"
#include "client/Playback.h"
#include "tools/tavuweb/Render.h"

namespace tavu::tavuweb {

namespace {

using namespace std::chrono_literals;

std::vector<std::string> split(const std::string& path) {
    std::vector<std::string> parts;
    std::stringstream stream(path);
    for (std::string part; std::getline(stream, part, '/');) {
        if (!part.empty()) {
            parts.push_back(part);
        }
    }
    return parts;
}

uint64_t number(const std::string& text, const char* what, uint64_t max) {
    size_t used = 0;
    uint64_t value = 0;
    try {
        value = std::stoull(text, &used);
    } catch (const std::exception&) {
        used = 0;
    }
    if (used == 0 || used != text.size() || value > max || text.front() == '-') {
        throw ApiFailure(400, std::string(what) + " must be a whole number from 0 to " + std::to_string(max) +
                                  ", not \"" + text + "\"");
    }
    return value;
}

// A whole number field of a form, checked against its range so that the service never sees a
// value that the wire would cut.
uint64_t field(const Json& body, const char* key, uint64_t min, uint64_t max, std::optional<uint64_t> fallback = {}) {
    const auto found = body.find(key);
    if (found == body.end() || found->is_null()) {
        if (fallback) {
            return *fallback;
        }
        throw ApiFailure(400, std::string(key) + " is missing");
    }
    if (!found->is_number_unsigned() && !(found->is_number_integer() && found->get<int64_t>() >= 0)) {
        throw ApiFailure(400, std::string(key) + " must be a whole number from " + std::to_string(min) + " to " +
                                  std::to_string(max));
    }
    const auto value = found->get<uint64_t>();
    if (value < min || value > max) {
        throw ApiFailure(400, std::string(key) + " must be from " + std::to_string(min) + " to " + std::to_string(max) +
                                  ", not " + std::to_string(value));
    }
    return value;
}

std::string text(const Json& body, const char* key) {
    const auto found = body.find(key);
    if (found == body.end() || !found->is_string()) {
        throw ApiFailure(400, std::string(key) + " is missing");
    }
    return found->get<std::string>();
}

bool flag(const Json& body, const char* key) {
    const auto found = body.find(key);
    return found != body.end() && found->is_boolean() && found->get<bool>();
}

ApiReply json(const Json& value) { return ApiReply{200, "application/json", value.dump(), ""}; }
ApiReply done() { return json(Json::object()); }

// Runs a service call; a refusal becomes a 409 whose text says what was being done.
template <typename Call>
auto attempt(const std::string& doing, Call&& call) {
    try {
        return call();
    } catch (const client::ServiceError& error) {
        throw ApiFailure(409, doing + ": " + error.what());
    }
}

std::string onPort(uint32_t device, uint8_t port) {
    return "port " + std::to_string(port) + " of device " + std::to_string(device);
}

}  // namespace

ApiReply Api::handle(const ApiRequest& request) {
    try {
        Json body = Json::object();
        if (!request.body.empty()) {
            body = Json::parse(request.body, nullptr, false);
            if (body.is_discarded() || !body.is_object()) {
                throw ApiFailure(400, "the request's body is not a JSON object");
            }
        }
        return route(request, split(request.path), body);
    } catch (const ApiFailure& failure) {
        return ApiReply{failure.status, "application/json", Json{{"error", failure.what()}}.dump(), ""};
    } catch (const client::ServiceError& error) {
        return ApiReply{409, "application/json", Json{{"error", error.what()}}.dump(), ""};
    } catch (const client::ClientError& error) {
        return ApiReply{503, "application/json",
                        Json{{"error", std::string("No connection to the service: ") + error.what()}}.dump(), ""};
    } catch (const std::exception& error) {
        return ApiReply{500, "application/json", Json{{"error", error.what()}}.dump(), ""};
    }
}

ApiReply Api::route(const ApiRequest& request, const std::vector<std::string>& parts, const Json& body) {
    const bool get = request.method == "GET";
    const bool post = request.method == "POST";
    if (parts.size() == 1 && parts[0] == "state" && get) {
        return json(console_.state());
    }
    if (parts.size() < 3 || parts[0] != "devices") {
        throw ApiFailure(404, "no such API call: " + request.method + " /api/" + request.path);
    }
    const auto device = static_cast<uint32_t>(number(parts[1], "the device", UINT32_MAX));
    const std::string& what = parts[2];
    if (parts.size() == 5 && what == "ports" && post) {
        return port(device, static_cast<uint8_t>(number(parts[3], "the port", 255)), parts[4], body);
    }
    if (parts.size() == 3 && post) {
        if (what == "record") {
            return record(device, body);
        }
        if (what == "stop") {
            if (!console_.noteStopAsked(device)) {
                return done();  // it ended by itself, and the console is stopping it
            }
            pool_.with([&](client::Client& client) {
                try {
                    client.stopRecording(device);
                } catch (const client::ServiceError& error) {
                    console_.abandonRecording(device, error.what());
                    throw ApiFailure(409, std::string("Stopping the recording failed: ") + error.what());
                }
            });
            return done();
        }
        if (what == "trigger") {
            pool_.with([&](client::Client& client) {
                attempt("Triggering the recording failed", [&] { client.softwareTrigger(device); });
            });
            return done();
        }
        if (what == "recover") {
            return recover(device);
        }
        if (what == "discard") {
            pool_.with([&](client::Client& client) {
                attempt("Discarding the incomplete recording failed", [&] { client.discardIncompleteFile(device); });
            });
            console_.refreshDevice(device);
            return done();
        }
        if (what == "setup") {
            pool_.with([&](client::Client& client) {
                attempt("Preparing the storage failed", [&] { client.setup(device); });
            });
            console_.refreshDevice(device);
            return done();
        }
    }
    if (what == "files") {
        if (parts.size() == 3 && get) {
            return json(attempt("Listing the recordings failed", [&] { return console_.files(device); }));
        }
        if (parts.size() >= 5) {
            const auto fileId = static_cast<uint32_t>(number(parts[3], "the file id", UINT32_MAX));
            const auto streamId = static_cast<uint32_t>(number(parts[4], "the stream id", UINT32_MAX));
            return file(request, device, fileId, streamId, {parts.begin() + 5, parts.end()}, body);
        }
    }
    throw ApiFailure(404, "no such API call: " + request.method + " /api/" + request.path);
}

ApiReply Api::port(uint32_t device, uint8_t port, const std::string& action, const Json& body) {
    pool_.with([&](client::Client& client) {
        if (action == "pair") {
            const std::string camera = text(body, "camera");
            if (camera.empty()) {
                throw ApiFailure(400, "the camera's name is empty");
            }
            const auto packet = static_cast<uint16_t>(field(body, "framesPerPacket", 1, 65535, 1));
            if (flag(body, "repair")) {
                attempt("Pairing " + onPort(device, port) + " again failed",
                        [&] { client.repairPort(device, port, camera, {}, packet); });
            } else {
                attempt("Pairing " + onPort(device, port) + " failed",
                        [&] { client.pairPort(device, port, camera, {}, packet); });
            }
        } else if (action == "unpair") {
            attempt("Unpairing " + onPort(device, port) + " failed", [&] { client.unpairPort(device, port); });
        } else if (action == "config") {
            PortConfig config;
            config.width = static_cast<uint16_t>(field(body, "width", 1, 65535));
            config.height = static_cast<uint16_t>(field(body, "height", 1, 65535));
            config.pixelFormat = static_cast<uint32_t>(field(body, "pixelFormat", 0, UINT32_MAX, 0));
            config.tapGeometry = static_cast<uint32_t>(field(body, "tapGeometry", 0, UINT32_MAX, 0));
            attempt("Configuring " + onPort(device, port) + " failed",
                    [&] { client.setPortConfig(device, port, config); });
        } else {
            throw ApiFailure(404, "no such port action: " + action);
        }
    });
    // Pairing posts an event of its own; the rest doesn't, and every page is to see it.
    if (action != "pair" || flag(body, "repair")) {
        console_.refreshDevice(device);
    }
    return done();
}

ApiReply Api::record(uint32_t device, const Json& body) {
    RecordingRequest request;
    const auto ports = body.find("ports");
    if (ports == body.end() || !ports->is_array() || ports->empty()) {
        throw ApiFailure(400, "choose at least one port to record");
    }
    for (const Json& port : *ports) {
        if (!port.is_number_unsigned() || port.get<uint64_t>() > 31) {
            throw ApiFailure(400, "ports must be port numbers from 0 to 31");
        }
        request.portMask |= 1u << port.get<uint32_t>();
    }
    const std::string stop = body.value("stop", "none");
    if (stop == "frames") {
        request.type = StopCondition::FrameCount;
        request.count = field(body, "count", 1, UINT64_MAX);
    } else if (stop == "time") {
        request.type = StopCondition::Time;
        // Seconds on the page, microseconds for the recorder.
        request.count = field(body, "seconds", 1, 86400 * 365) * 1'000'000;
    } else if (stop != "none") {
        throw ApiFailure(400, "the stop condition must be frames, time or none");
    }
    const std::string trigger = body.value("trigger", "immediate");
    if (trigger == "external") {
        request.externalTrigger |= ExternalStart;
    } else if (trigger == "pretrigger") {
        request.usePretrigger = true;
        request.pretriggerCount = field(body, "pretrigger", 0, UINT64_MAX, 0);
    } else if (trigger != "immediate") {
        throw ApiFailure(400, "the trigger must be immediate, pretrigger or external");
    }
    if (flag(body, "externalStop")) {
        request.externalTrigger |= ExternalStop;
    }
    console_.expectRecording(device, request);
    try {
        pool_.with([&](client::Client& client) {
            attempt("Starting the recording failed", [&] { client.startRecording(device, request); });
        });
    } catch (...) {
        console_.forgetExpected(device);
        throw;
    }
    return done();
}

ApiReply Api::recover(uint32_t device) {
    // The page follows the recovery through pushed messages; this call returns when it ended.
    RecoveryStatus status = pool_.with([&](client::Client& client) {
        attempt("Starting the recovery failed", [&] { client.startRecovery(device); });
        const auto start = std::chrono::steady_clock::now();
        for (;;) {
            const RecoveryStatus now = attempt("Following the recovery failed", [&] { return client.recoveryStatus(device); });
            console_.noteRecovery(device, now, std::chrono::steady_clock::now() - start);
            if (now != RecoveryStatus::Running) {
                return now;
            }
            std::this_thread::sleep_for(250ms);
        }
    });
    pool_.with([&](client::Client& client) {
        switch (status) {
            case RecoveryStatus::Done:
                attempt("The recovery completed, but finishing it failed", [&] { client.finishRecovery(device); });
                break;
            case RecoveryStatus::Failed:
                throw ApiFailure(409, "The recovery failed: " + client.recoveryError(device));
            case RecoveryStatus::Cancelled:
                throw ApiFailure(409, "The recovery was cancelled; the incomplete recording is still there");
            default: throw ApiFailure(409, "The device reports that no recovery ran");
        }
    });
    console_.refreshDevice(device);
    console_.files(device);
    return done();
}

ApiReply Api::file(const ApiRequest& request, uint32_t device, uint32_t fileId, uint32_t streamId,
                   const std::vector<std::string>& rest, const Json& body) {
    const std::string label = "recording " + std::to_string(fileId) + "/" + std::to_string(streamId);
    if (rest.empty() && request.method == "DELETE") {
        pool_.with([&](client::Client& client) {
            attempt("Removing " + label + " failed", [&] { client.removeFile(device, fileId, streamId); });
        });
        return done();
    }
    if (rest.size() == 1 && rest[0] == "rename" && request.method == "POST") {
        const std::string name = text(body, "name");
        if (name.empty()) {
            throw ApiFailure(400, "the new name is empty");
        }
        pool_.with([&](client::Client& client) {
            attempt("Renaming " + label + " failed", [&] { client.renameFile(device, fileId, streamId, name, true); });
        });
        return done();
    }
    if (rest.size() == 1 && rest[0] == "info" && request.method == "POST") {
        FileInfoUpdate update;
        update.name = text(body, "name");
        update.width = static_cast<uint16_t>(field(body, "width", 0, 65535));
        update.height = static_cast<uint16_t>(field(body, "height", 0, 65535));
        update.numImages = field(body, "numFrames", 0, UINT64_MAX);
        update.numDroppedFrames = field(body, "numDroppedFrames", 0, UINT64_MAX);
        update.startTime = field(body, "startTime", 0, UINT64_MAX, 0);
        update.endTime = field(body, "endTime", 0, UINT64_MAX, 0);
        update.duration = field(body, "duration", 0, UINT64_MAX, 0);
        update.notify = true;
        const std::string name = pool_.with([&](client::Client& client) {
            return attempt("Changing " + label + " failed",
                           [&] { return client.setFileInfo(device, fileId, streamId, update); });
        });
        return json({{"name", name}});
    }
    if (rest.size() == 2 && rest[0] == "frames" && request.method == "GET") {
        return frame(request, device, fileId, streamId, rest[1]);
    }
    throw ApiFailure(404, "no such API call: " + request.method + " /api/" + request.path);
}

ApiReply Api::frame(const ApiRequest& request, uint32_t device, uint32_t fileId, uint32_t streamId,
                    const std::string& which) {
    const size_t dot = which.find('.');
    const uint64_t index = number(which.substr(0, dot), "the frame", UINT64_MAX);
    std::optional<client::ImageFormat> format;
    if (dot != std::string::npos) {
        format = client::imageFormatNamed(which.substr(dot + 1));
        if (!format || *format == client::ImageFormat::Raw) {
            throw ApiFailure(400, "frames download as .png or .tiff");
        }
    }
    Json display = Json::object();
    for (const auto& [key, value] : request.query) {
        display[key] = number(value, key.c_str(), UINT32_MAX);
    }
    if (display.contains("low") && display.contains("high")) {
        display["window"] = {{"low", display["low"]}, {"high", display["high"]}};
    }
    return pool_.with([&](client::Client& client) {
        const std::string doing = "Reading frame " + std::to_string(index) + " of recording " + std::to_string(fileId) +
                                  "/" + std::to_string(streamId) + " failed";
        auto playback = attempt(doing, [&] { return std::make_unique<client::Playback>(client, device, fileId, streamId); });
        const OpenFileInfo info = playback->info();
        const std::span<const uint8_t> pixels = attempt(doing, [&] { return playback->read(index); });
        if (!format) {
            const DisplayFrame shown = render(pixels, info.width, info.height, displayRequestFrom(display));
            return ApiReply{200, "application/octet-stream",
                            displayMessage(shown, {{"frame", index}, {"numFrames", info.numFrames}}), ""};
        }
        static std::atomic<unsigned> serial{0};
        const std::string name = "recording-" + std::to_string(fileId) + "-" + std::to_string(streamId) + "-frame-" +
                                 std::to_string(index) + "." + client::imageExtension(*format);
        const std::filesystem::path path = std::filesystem::temp_directory_path() /
                                           ("tavuweb-" + std::to_string(getpid()) + "-" + std::to_string(serial++) + "-" + name);
        client::writeImage(path, *format, info.width, info.height, pixels);
        std::ifstream in(path, std::ios::binary);
        std::string bytes((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
        std::filesystem::remove(path);
        return ApiReply{200, *format == client::ImageFormat::Png ? "image/png" : "image/tiff", std::move(bytes), name};
    });
}

}  // namespace tavu::tavuweb
