#include "sim/Description.h"

#include "sim/Errors.h"
#include "sim/FaultPoints.h"
#include "sim/Files.h"

#include <nlohmann/json.hpp>

#include <algorithm>
#include <functional>
#include <limits>
#include <map>
#include <set>

namespace sim {
namespace {

using nlohmann::json;

// Reads one JSON object key by key; a fault names the object's place in the file.
class ObjectReader {
public:
    ObjectReader(const std::filesystem::path& file, const json& object, std::string place)
        : file_(file), object_(object), place_(std::move(place)) {
        if (!object_.is_object()) {
            failHere("must be an object");
        }
    }

    // Every key of the object must be one of `known`: a misspelt key is a fault, not a default.
    void allowOnly(const std::set<std::string>& known) const {
        for (const auto& item : object_.items()) {
            if (known.count(item.key()) == 0) {
                failHere("has an unknown key \"" + item.key() + "\"");
            }
        }
    }

    std::string string(const char* key, const std::string& fallback, bool required = false) const {
        const json* value = find(key, required);
        if (value == nullptr) {
            return fallback;
        }
        if (!value->is_string()) {
            failAt(key, "must be a string");
        }
        return value->get<std::string>();
    }

    bool boolean(const char* key, bool fallback) const {
        const json* value = find(key, false);
        if (value == nullptr) {
            return fallback;
        }
        if (!value->is_boolean()) {
            failAt(key, "must be true or false");
        }
        return value->get<bool>();
    }

    uint64_t unsignedNumber(const char* key, uint64_t fallback, uint64_t maximum, bool required = false) const {
        const json* value = find(key, required);
        if (value == nullptr) {
            return fallback;
        }
        if (!value->is_number_unsigned() || value->get<uint64_t>() > maximum) {
            failAt(key, "must be a whole number from 0 to " + std::to_string(maximum));
        }
        return value->get<uint64_t>();
    }

    uint32_t unsigned32(const char* key, uint32_t fallback, bool required = false) const {
        return static_cast<uint32_t>(unsignedNumber(key, fallback, std::numeric_limits<uint32_t>::max(), required));
    }

    double number(const char* key, double fallback) const {
        const json* value = find(key, false);
        if (value == nullptr) {
            return fallback;
        }
        if (!value->is_number() || value->get<double>() < 0) {
            failAt(key, "must be a number not below 0");
        }
        return value->get<double>();
    }

    // Each element of the array under `key`, with its place, in order.
    void forEach(const char* key, bool required,
                 const std::function<void(const json&, const std::string&)>& visit) const {
        const json* value = find(key, required);
        if (value == nullptr) {
            return;
        }
        if (!value->is_array()) {
            failAt(key, "must be an array");
        }
        for (size_t index = 0; index < value->size(); ++index) {
            visit((*value)[index], path(key) + "[" + std::to_string(index) + "]");
        }
    }

    [[noreturn]] void failAt(const char* key, const std::string& what) const {
        fail(file_.string() + ": " + path(key) + " " + what);
    }
    [[noreturn]] void failHere(const std::string& what) const {
        fail(file_.string() + ": " + (place_.empty() ? "the top level" : place_) + " " + what);
    }

private:
    // The place of a key, as a reader of the file would look for it.
    std::string path(const char* key) const { return place_.empty() ? key : place_ + "." + key; }

    const json* find(const char* key, bool required) const {
        const auto found = object_.find(key);
        if (found == object_.end()) {
            if (required) {
                failAt(key, "is missing");
            }
            return nullptr;
        }
        return &*found;
    }

    const std::filesystem::path& file_;
    const json& object_;
    std::string place_;
};

PortDescription readPort(const ObjectReader& reader) {
    reader.allowOnly({"name", "cameraDetected", "measuredFrameRate", "linkMode", "hasSerial", "hasBitDepthSetting",
                      "hasPackingSetting", "bitDepth", "cameraAsleep", "acquisitionStartAddress"});
    PortDescription port;
    port.name = reader.string("name", "", true);
    if (port.name.empty()) {
        reader.failAt("name", "must not be empty");
    }
    port.cameraDetected = reader.boolean("cameraDetected", port.cameraDetected);
    port.measuredFrameRate = reader.number("measuredFrameRate", port.measuredFrameRate);
    port.linkMode = reader.unsigned32("linkMode", port.linkMode);
    port.hasSerial = reader.boolean("hasSerial", port.hasSerial);
    port.hasBitDepthSetting = reader.boolean("hasBitDepthSetting", port.hasBitDepthSetting);
    port.hasPackingSetting = reader.boolean("hasPackingSetting", port.hasPackingSetting);
    port.bitDepth = reader.unsigned32("bitDepth", port.bitDepth);
    port.cameraAsleep = reader.boolean("cameraAsleep", port.cameraAsleep);
    // The register is 4 bytes wide and must end inside the 32-bit space.
    port.acquisitionStartAddress = static_cast<uint32_t>(
        reader.unsignedNumber("acquisitionStartAddress", port.acquisitionStartAddress, 0xFFFFFFFC));
    return port;
}

DriveDescription readDrive(const ObjectReader& reader) {
    reader.allowOnly({"physicalIndex", "capacity"});
    DriveDescription drive;
    drive.physicalIndex = reader.unsigned32("physicalIndex", 0, true);
    drive.capacity = reader.unsignedNumber("capacity", 0, std::numeric_limits<uint64_t>::max(), true);
    return drive;
}

// A fault is the name of an operation, or an object that says when it strikes.
FaultDescription readFault(const std::filesystem::path& file, const json& item, const std::string& place,
                           const std::vector<PortDescription>& ports) {
    const auto failNaming = [&](const std::string& where) {
        fail(file.string() + ": " + where + " must name an operation, as \"Record::start\"");
    };
    FaultDescription fault;
    if (item.is_string()) {
        fault.operation = item.get<std::string>();
        if (!isFaultPoint(fault.operation)) {
            failNaming(place);
        }
        return fault;
    }
    const ObjectReader reader(file, item, place);
    reader.allowOnly({"operation", "after", "times", "port", "givesNoFile"});
    fault.operation = reader.string("operation", "", true);
    if (!isFaultPoint(fault.operation)) {
        failNaming(place + ".operation");
    }
    fault.after = reader.unsignedNumber("after", 0, std::numeric_limits<uint64_t>::max());
    if (item.contains("times")) {
        fault.times = reader.unsignedNumber("times", 0, std::numeric_limits<uint64_t>::max());
    }
    if (item.contains("port")) {
        fault.port = reader.string("port", "");
        const bool known = std::any_of(ports.begin(), ports.end(),
                                       [&](const PortDescription& port) { return port.name == *fault.port; });
        if (!known) {
            reader.failAt("port", "must name a port of the recorder");
        }
    }
    fault.givesNoFile = reader.boolean("givesNoFile", false);
    if (fault.givesNoFile && fault.operation != "Record::stopPort") {
        reader.failAt("givesNoFile", "is for \"Record::stopPort\" only");
    }
    return fault;
}

// A recorder's name is the name of its folder, so it must be usable as one.
bool usableAsFolderName(const std::string& name) {
    return !name.empty() && name != "." && name != ".." && name.find('/') == std::string::npos;
}

RecorderDescription readRecorder(const std::filesystem::path& file, const json& value, const std::string& place) {
    const ObjectReader reader(file, value, place);
    reader.allowOnly({"name", "altName", "kind", "deviceType", "connected", "clusterBytes", "ports", "driveGroups",
                      "externalInput", "faults", "recoveryMillisecondsPerBlock", "filePerPort"});
    RecorderDescription recorder;
    recorder.name = reader.string("name", "", true);
    if (!usableAsFolderName(recorder.name)) {
        reader.failAt("name", "must be usable as a folder name");
    }
    recorder.altName = reader.string("altName", "");
    recorder.kind = reader.unsigned32("kind", recorder.kind);
    recorder.deviceType = reader.unsigned32("deviceType", 0, true);
    recorder.connected = reader.boolean("connected", recorder.connected);
    recorder.clusterBytes = reader.unsigned32("clusterBytes", recorder.clusterBytes);
    if (recorder.clusterBytes == 0) {
        reader.failAt("clusterBytes", "must not be 0");
    }
    std::set<std::string> portNames;
    reader.forEach("ports", false, [&](const json& item, const std::string& itemPlace) {
        const ObjectReader portReader(file, item, itemPlace);
        recorder.ports.push_back(readPort(portReader));
        if (!portNames.insert(recorder.ports.back().name).second) {
            portReader.failAt("name", "repeats the name of another port");
        }
    });
    std::set<uint32_t> physicalIndices;
    reader.forEach("driveGroups", false, [&](const json& group, const std::string& groupPlace) {
        const ObjectReader groupReader(file, group, groupPlace);
        groupReader.allowOnly({"drives", "bytesPerSecond"});
        const uint64_t bytesPerSecond =
            groupReader.unsignedNumber("bytesPerSecond", 0, std::numeric_limits<uint64_t>::max());
        auto& drives = recorder.driveGroups.emplace_back();
        groupReader.forEach("drives", true, [&](const json& item, const std::string& itemPlace) {
            const ObjectReader driveReader(file, item, itemPlace);
            drives.push_back(readDrive(driveReader));
            drives.back().bytesPerSecond = bytesPerSecond;
            if (!physicalIndices.insert(drives.back().physicalIndex).second) {
                driveReader.failAt("physicalIndex", "repeats the index of another drive");
            }
        });
    });
    recorder.externalInput = reader.boolean("externalInput", recorder.externalInput);
    recorder.filePerPort = reader.boolean("filePerPort", recorder.filePerPort);
    recorder.recoveryMillisecondsPerBlock =
        reader.unsigned32("recoveryMillisecondsPerBlock", recorder.recoveryMillisecondsPerBlock);
    reader.forEach("faults", false, [&](const json& item, const std::string& itemPlace) {
        recorder.faults.push_back(readFault(file, item, itemPlace, recorder.ports));
    });
    return recorder;
}

}  // namespace

std::vector<RecorderDescription> readDescription(const std::filesystem::path& file) {
    const json document = readJsonFile(file);
    const ObjectReader reader(file, document, "");
    reader.allowOnly({"recorders"});
    std::vector<RecorderDescription> recorders;
    std::set<std::string> names;
    reader.forEach("recorders", true, [&](const json& item, const std::string& place) {
        recorders.push_back(readRecorder(file, item, place));
        if (!names.insert(recorders.back().name).second) {
            fail(file.string() + ": " + place + ".name repeats the name of another recorder");
        }
    });
    return recorders;
}

}  // namespace sim
