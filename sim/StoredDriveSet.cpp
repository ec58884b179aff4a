#include "sim/StoredDriveSet.h"

#include "sim/Errors.h"
#include "sim/Files.h"

#include <fcntl.h>

#include <algorithm>
#include <utility>

namespace sim {
namespace {

namespace fs = std::filesystem;
using nlohmann::json;

json settingsToJson(const DriveSetSettings& settings) {
    json drives = json::array();
    for (const DriveDescription& drive : settings.drives) {
        drives.push_back({{"physicalIndex", drive.physicalIndex}, {"capacity", drive.capacity}});
    }
    return {{"name", settings.name},
            {"firstSetting", settings.firstSetting},
            {"secondSetting", settings.secondSetting},
            {"clusterBytes", settings.clusterBytes},
            {"drives", drives}};
}

DriveSetSettings settingsFromJson(const json& index) {
    DriveSetSettings settings;
    settings.name = index.at("name").get<std::string>();
    settings.firstSetting = index.at("firstSetting").get<uint32_t>();
    settings.secondSetting = index.at("secondSetting").get<uint32_t>();
    settings.clusterBytes = index.at("clusterBytes").get<uint32_t>();
    for (const json& drive : index.at("drives")) {
        settings.drives.push_back(
            DriveDescription{drive.at("physicalIndex").get<uint32_t>(), drive.at("capacity").get<uint64_t>()});
    }
    return settings;
}

}  // namespace

StoredDriveSet::StoredDriveSet(uint32_t id, fs::path folder, DriveSetSettings settings)
    : id_(id), folder_(std::move(folder)), settings_(std::move(settings)) {
    std::error_code error;
    fs::create_directories(folder_, error);
    if (error) {
        fail("Cannot make " + folder_.string() + ": " + error.message());
    }
    save();
}

StoredDriveSet::StoredDriveSet(uint32_t id, fs::path folder) : id_(id), folder_(std::move(folder)) { load(); }

uint64_t StoredDriveSet::blockBytes() const { return uint64_t{settings_.clusterBytes} * settings_.drives.size(); }

uint64_t StoredDriveSet::totalBytes() const {
    uint64_t total = 0;
    for (const DriveDescription& drive : settings_.drives) {
        total += drive.capacity;
    }
    return total;
}

uint64_t StoredDriveSet::usedBytes() const {
    uint64_t used = 0;
    for (const auto& [id, file] : files_) {
        used += file.sizeClusters * blockBytes();
    }
    return used;
}

std::vector<uint32_t> StoredDriveSet::recordingIds() const {
    std::vector<uint32_t> ids;
    for (const auto& [id, file] : files_) {
        if (file.name.empty() && !file.recording) {
            ids.push_back(id);
        }
    }
    return ids;
}

bool StoredDriveSet::isRecordedTo() const {
    return std::any_of(files_.begin(), files_.end(), [](const auto& entry) { return entry.second.recording; });
}

uint32_t StoredDriveSet::incompleteFileId() const {
    for (const auto& [id, file] : files_) {
        if (!file.complete && !file.recording) {
            return id;
        }
    }
    return 0;
}

uint32_t StoredDriveSet::findFile(const std::string& name) const {
    if (name.empty()) {
        return 0;
    }
    const auto found =
        std::find_if(files_.begin(), files_.end(), [&](const auto& entry) { return entry.second.name == name; });
    return found == files_.end() ? 0 : found->first;
}

const StoredFile& StoredDriveSet::file(uint32_t fileId) const {
    const auto found = files_.find(fileId);
    if (found == files_.end()) {
        fail(describe() + " has no file " + std::to_string(fileId) + ".");
    }
    return found->second;
}

uint32_t StoredDriveSet::createFile(const std::string& name, uint64_t sizeClusters, uint64_t timestamp) {
    if (name.empty()) {
        fail("A file needs a name.");
    }
    if (findFile(name) != 0) {
        fail(describe() + " already has a file named \"" + name + "\".");
    }
    if (sizeClusters > freeBlocks()) {
        fail(describe() + " has room for " + std::to_string(freeBlocks()) + " clusters, not " +
             std::to_string(sizeClusters) + ".");
    }
    const uint32_t fileId = nextFileId_;
    // Sparse: blocks never written read as zeros and take no room on the host.
    FileDescriptor(dataPath(fileId), O_RDWR | O_CREAT | O_TRUNC).resize(sizeClusters * blockBytes());
    files_.emplace(fileId, StoredFile{fileId, name, sizeClusters, timestamp});
    ++nextFileId_;
    save();
    return fileId;
}

void StoredDriveSet::removeFile(uint32_t fileId) {
    if (file(fileId).recording) {
        fail("File " + std::to_string(fileId) + " of " + describe() + " is being recorded.");
    }
    files_.erase(fileId);
    save();
    std::error_code ignored;
    fs::remove(dataPath(fileId), ignored);
    fs::remove(metadataPath(fileId), ignored);
    fs::remove(streamsPath(fileId), ignored);
}

uint32_t StoredDriveSet::createRecording(uint64_t timestamp, const std::vector<StoredStream>& streams) {
    const uint32_t fileId = nextFileId_;
    {
        // Creates the recording's data file, empty until frames arrive.
        const FileDescriptor created(dataPath(fileId), O_RDWR | O_CREAT | O_TRUNC);
    }
    writeJsonFile(streamsPath(fileId), streamsToJson(streams));
    files_.emplace(fileId, StoredFile{fileId, "", 0, timestamp, false, true});
    ++nextFileId_;
    save();
    return fileId;
}

std::optional<uint64_t> StoredDriveSet::reserveBlocks(uint32_t fileId, uint64_t count) {
    StoredFile& stored = recordingFile(fileId);
    if (count > freeBlocks()) {
        return std::nullopt;
    }
    const uint64_t first = stored.sizeClusters;
    stored.sizeClusters += count;
    return first;
}

void StoredDriveSet::completeRecording(uint32_t fileId, const std::vector<StoredStream>& streams) {
    file(fileId);
    StoredFile& stored = files_.at(fileId);
    if (stored.complete) {
        fail("File " + std::to_string(fileId) + " of " + describe() + " is complete already.");
    }
    writeJsonFile(streamsPath(fileId), streamsToJson(streams));
    stored.complete = true;
    stored.recording = false;
    save();
}

std::vector<StoredStream> StoredDriveSet::streams(uint32_t fileId) const {
    if (!file(fileId).name.empty()) {
        return {};
    }
    const fs::path path = streamsPath(fileId);
    try {
        return streamsFromJson(readJsonFile(path));
    } catch (const json::exception& e) {
        fail(path.string() + ": " + e.what());
    }
}

void StoredDriveSet::readBlock(uint32_t fileId, uint64_t block, void* target) const {
    checkBlock(fileId, block);
    FileDescriptor(dataPath(fileId), O_RDONLY).readAt(block * blockBytes(), target, blockBytes());
}

void StoredDriveSet::writeBlock(uint32_t fileId, uint64_t block, const void* source) const {
    checkBlock(fileId, block);
    FileDescriptor(dataPath(fileId), O_WRONLY).writeAt(block * blockBytes(), source, blockBytes());
}

std::vector<uint8_t> StoredDriveSet::readMetadata(uint32_t fileId) const {
    file(fileId);
    std::vector<uint8_t> bytes(MetadataCapacity, 0);
    std::error_code ignored;
    if (fs::exists(metadataPath(fileId), ignored)) {
        const FileDescriptor metadata(metadataPath(fileId), O_RDONLY);
        metadata.readAt(0, bytes.data(), bytes.size());
    }
    return bytes;
}

void StoredDriveSet::writeMetadata(uint32_t fileId, const void* source, uint64_t size) const {
    file(fileId);
    if (size > MetadataCapacity) {
        fail("Metadata of " + std::to_string(size) + " bytes does not fit the block of " +
             std::to_string(MetadataCapacity) + " bytes.");
    }
    std::vector<uint8_t> block(MetadataCapacity, 0);
    std::copy_n(static_cast<const uint8_t*>(source), size, block.begin());
    writeFileAtomically(metadataPath(fileId), std::string(block.begin(), block.end()));
}

void StoredDriveSet::checkBlock(uint32_t fileId, uint64_t block) const {
    const StoredFile& stored = file(fileId);
    if (block >= stored.sizeClusters) {
        fail("File " + std::to_string(fileId) + " of " + describe() + " ends after " +
             std::to_string(stored.sizeClusters) + " blocks; block " + std::to_string(block) + " is past its end.");
    }
}

fs::path StoredDriveSet::dataPath(uint32_t fileId) const {
    return folder_ / ("file-" + std::to_string(fileId) + ".data");
}

fs::path StoredDriveSet::metadataPath(uint32_t fileId) const {
    return folder_ / ("file-" + std::to_string(fileId) + ".meta");
}

fs::path StoredDriveSet::streamsPath(uint32_t fileId) const {
    return folder_ / ("file-" + std::to_string(fileId) + ".streams");
}

uint64_t StoredDriveSet::freeBlocks() const {
    const uint64_t used = usedBytes();
    return used < totalBytes() ? (totalBytes() - used) / blockBytes() : 0;
}

StoredFile& StoredDriveSet::recordingFile(uint32_t fileId) {
    file(fileId);
    StoredFile& stored = files_.at(fileId);
    if (!stored.recording) {
        fail("File " + std::to_string(fileId) + " of " + describe() + " is not being recorded.");
    }
    return stored;
}

void StoredDriveSet::load() {
    const fs::path path = folder_ / IndexFileName;
    const json index = readJsonFile(path);
    try {
        settings_ = settingsFromJson(index);
        nextFileId_ = index.at("nextFileId").get<uint32_t>();
        for (const json& entry : index.at("files")) {
            StoredFile stored{entry.at("id").get<uint32_t>(), entry.at("name").get<std::string>(),
                              entry.at("sizeClusters").get<uint64_t>(), entry.at("timestamp").get<uint64_t>(),
                              entry.value("complete", true), false};
            files_.emplace(stored.id, stored);
        }
    } catch (const json::exception& e) {
        fail(path.string() + ": " + e.what());
    }
    if (settings_.drives.empty() || settings_.clusterBytes == 0) {
        fail(path.string() + ": a drive set needs drives and a cluster size");
    }
    // A recording that was cut off grew beyond the size that the index knows.
    for (auto& [id, stored] : files_) {
        if (!stored.complete) {
            std::error_code error;
            const uint64_t bytes = fs::file_size(dataPath(id), error);
            stored.sizeClusters = error ? 0 : (bytes + blockBytes() - 1) / blockBytes();
        }
    }
}

void StoredDriveSet::save() const {
    json files = json::array();
    for (const auto& [id, stored] : files_) {
        files.push_back({{"id", id},
                         {"name", stored.name},
                         {"sizeClusters", stored.sizeClusters},
                         {"timestamp", stored.timestamp},
                         {"complete", stored.complete}});
    }
    json index = settingsToJson(settings_);
    index["nextFileId"] = nextFileId_;
    index["files"] = files;
    writeJsonFile(folder_ / IndexFileName, index);
}

}  // namespace sim
