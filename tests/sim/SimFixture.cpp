#include "SimFixture.h"

#include <boost/make_shared.hpp>

#include <cstdlib>
#include <cstring>
#include <fstream>
#include <stdexcept>

namespace tavu::test {

namespace fs = std::filesystem;

nlohmann::json twoRecorders() {
    const nlohmann::json drive0 = {{"physicalIndex", 0}, {"capacity", 1 << 20}};
    const nlohmann::json drive1 = {{"physicalIndex", 1}, {"capacity", 1 << 20}};
    const nlohmann::json drive2 = {{"physicalIndex", 2}, {"capacity", 1 << 20}};
    const nlohmann::json drive3 = {{"physicalIndex", 3}, {"capacity", 1 << 20}};
    return {{"recorders",
             {{{"name", "REC-A"},
               {"altName", "lab-a"},
               {"deviceType", 15},
               {"clusterBytes", 4096},
               {"ports",
                {{{"name", "A1"}, {"measuredFrameRate", 100.0}, {"linkMode", 2}, {"hasBitDepthSetting", true}},
                 {{"name", "A2"}, {"measuredFrameRate", 50.0}, {"cameraAsleep", true}, {"hasPackingSetting", true}}}},
               {"driveGroups", {{{"drives", {drive2, drive0}}}, {{"drives", {drive3, drive1}}}}}},
              {{"name", "REC-B"},
               {"kind", 1},
               {"deviceType", 64},
               {"connected", false},
               {"ports", {{{"name", "B1"}, {"cameraDetected", false}}}}}}}};
}

SimFixture::SimFixture() {
    std::string pattern = (fs::temp_directory_path() / "tavusim-XXXXXX").string();
    if (mkdtemp(pattern.data()) == nullptr) {
        throw std::runtime_error("mkdtemp failed");
    }
    root_ = pattern;
    setenv("QUILLON_SIM_ROOT", root_.c_str(), 1);
    writeDescription(twoRecorders());
}

SimFixture::~SimFixture() {
    unload();
    unsetenv("QUILLON_SIM_ROOT");
    std::error_code ignored;
    fs::remove_all(root_, ignored);
}

void SimFixture::writeDescription(const nlohmann::json& description) const {
    const fs::path temporary = root_ / "recorders.json.new";
    std::ofstream(temporary) << description.dump(2);
    fs::rename(temporary, root_ / "recorders.json");
}

nlohmann::json SimFixture::readState(const std::string& recorder) const {
    std::ifstream in(root_ / recorder / "state.json");
    return nlohmann::json::parse(in);
}

Quillon::LibraryEntry& SimFixture::library() {
    if (!loader_) {
        loader_.emplace(std::string(TAVU_SIM_ROOT) + "/Bin/libquillon.so");
    }
    return loader_->entry();
}

Quillon::DeviceCollection& SimFixture::collection() {
    if (!collection_) {
        instance_ = library().initialize("OREK Pellam", false, Quillon::Scope{2});
        collection_ = instance_->deviceCollection(Quillon::HostInterfaceType{7}, false);
    }
    return *collection_;
}

void SimFixture::unload() {
    collection_.reset();
    instance_.reset();
    loader_.reset();
}

boost::shared_ptr<Quillon::DriveSet> SimFixture::createDriveSetOfAllDrives(Quillon::Device& device) {
    const auto storage = device.storage(0);
    const auto parameters = boost::make_shared<Quillon::DriveSet::CreateParameters>();
    parameters->name = "TAVU";
    parameters->firstSetting = 100;
    const auto groups = storage->driveGroups();
    for (uint32_t group = 0; group < groups->size(); ++group) {
        for (uint32_t drive = 0; drive < groups->group(group)->size(); ++drive) {
            parameters->source.add(Quillon::Drive::PhysicalLocation(groups->group(group)->drive(drive)));
        }
    }
    const auto sets = storage->driveSets();
    sets->create(parameters);
    auto ids = sets->ids();
    return sets->open(ids[ids.size() - 1]);
}

boost::shared_ptr<Common::Buffer> SimFixture::buffer(uint64_t size, uint8_t fill) {
    auto made = library().createBuffer(nullptr, size);
    std::memset(made->data(), fill, size);
    return made;
}

}  // namespace tavu::test
