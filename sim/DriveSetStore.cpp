#include "sim/DriveSetStore.h"

#include "sim/Errors.h"
#include "sim/Files.h"

#include <algorithm>
#include <charconv>
#include <optional>
#include <string_view>
#include <utility>

namespace sim {
namespace {

namespace fs = std::filesystem;

constexpr std::string_view SetFolderPrefix = "set-";
constexpr const char* NextIdFileName = "drivesets.json";

// The id of a folder named "set-<id>"; none for any other name.
std::optional<uint32_t> setIdOf(const std::string& folderName) {
    if (folderName.rfind(SetFolderPrefix, 0) != 0) {
        return std::nullopt;
    }
    const char* first = folderName.data() + SetFolderPrefix.size();
    const char* last = folderName.data() + folderName.size();
    uint32_t id = 0;
    const auto [end, error] = std::from_chars(first, last, id);
    if (error != std::errc() || end != last || first == last) {
        return std::nullopt;
    }
    return id;
}

}  // namespace

DriveSetStore::DriveSetStore(fs::path recorderFolder) : folder_(std::move(recorderFolder)) {
    std::error_code error;
    for (const auto& entry : fs::directory_iterator(folder_, error)) {
        const auto id = setIdOf(entry.path().filename().string());
        if (id && entry.is_directory(error)) {
            sets_.try_emplace(*id, *id, entry.path());
            nextId_ = std::max(nextId_, *id + 1);
        }
    }
    const fs::path nextIdPath = folder_ / NextIdFileName;
    if (fs::exists(nextIdPath, error)) {
        try {
            nextId_ = std::max(nextId_, readJsonFile(nextIdPath).at("nextId").get<uint32_t>());
        } catch (const nlohmann::json::exception& e) {
            fail(nextIdPath.string() + ": " + e.what());
        }
    }
}

std::vector<uint32_t> DriveSetStore::ids() const {
    std::vector<uint32_t> ids;
    for (const auto& [id, set] : sets_) {
        ids.push_back(id);
    }
    return ids;
}

StoredDriveSet& DriveSetStore::set(uint32_t id) {
    const auto found = sets_.find(id);
    if (found == sets_.end()) {
        fail("There is no drive set " + std::to_string(id) + ".");
    }
    return found->second;
}

uint32_t DriveSetStore::create(DriveSetSettings settings) {
    for (const DriveDescription& drive : settings.drives) {
        for (const auto& [id, set] : sets_) {
            const auto& taken = set.settings().drives;
            if (std::any_of(taken.begin(), taken.end(),
                            [&](const DriveDescription& other) { return other.physicalIndex == drive.physicalIndex; })) {
                fail("Drive " + std::to_string(drive.physicalIndex) + " already belongs to drive set " +
                     std::to_string(id) + ".");
            }
        }
    }
    const uint32_t id = nextId_++;
    saveNextId();
    sets_.try_emplace(id, id, setFolder(id), std::move(settings));
    return id;
}

void DriveSetStore::remove(uint32_t id) {
    if (set(id).isRecordedTo()) {
        fail("Drive set " + std::to_string(id) + " is being recorded to.");
    }
    sets_.erase(id);
    std::error_code error;
    fs::remove_all(setFolder(id), error);
    if (error) {
        fail("Cannot remove " + setFolder(id).string() + ": " + error.message());
    }
}

fs::path DriveSetStore::setFolder(uint32_t id) const {
    return folder_ / (std::string(SetFolderPrefix) + std::to_string(id));
}

void DriveSetStore::saveNextId() const { writeJsonFile(folder_ / NextIdFileName, {{"nextId", nextId_}}); }

}  // namespace sim
