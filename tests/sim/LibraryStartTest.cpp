#include "SimFixture.h"

#include <gmock/gmock.h>

#include <fstream>
#include <functional>
#include <ostream>
#include <vector>

namespace tavu::test {
namespace {

using testing::HasSubstr;

class LibraryStart : public SimFixture {};

TEST_F(LibraryStart, ReportsTheVersionThatTheServiceRequires) {
    const auto instance = library().initialize("OREK Pellam", false, Quillon::Scope{2});
    EXPECT_EQ(instance->version(), (Quillon::VersionInfo{2, 1, 0, 38}));
}

TEST_F(LibraryStart, ListsTheDescribedRecordersWithTheirStates) {
    auto& recorders = collection();
    ASSERT_EQ(recorders.count(), 2u);
    EXPECT_STREQ(recorders.deviceName(0).c_str(), "REC-A");
    EXPECT_EQ(recorders.deviceState(0), 0u);
    EXPECT_STREQ(recorders.deviceName(1).c_str(), "REC-B");
    EXPECT_EQ(recorders.deviceState(1), Quillon::DeviceCollection::StateDisconnected);
    EXPECT_THAT(libraryError([&] { recorders.deviceName(2); }), HasSubstr("no recorder at index 2"));
}

TEST_F(LibraryStart, ADeviceAnswersFromItsDescription) {
    const auto device = recorderA();
    EXPECT_STREQ(device->name().c_str(), "REC-A");
    EXPECT_STREQ(device->altName().c_str(), "lab-a");
    EXPECT_EQ(device->kind(), 0u);
    EXPECT_EQ(device->connectionState(), 0u);
    EXPECT_EQ(device->hardwareInfo(0)->deviceType, 15u);
    ASSERT_EQ(device->portCount(), 2u);
    const auto port = device->port(0);
    EXPECT_STREQ(port->name().c_str(), "A1");
    EXPECT_TRUE(port->isCameraDetected());
    EXPECT_DOUBLE_EQ(port->measuredFrameRate(), 100.0);
    EXPECT_EQ(port->linkMode(), 2u);
    EXPECT_TRUE(port->hasBitDepthSetting());
    EXPECT_FALSE(port->hasPackingSetting());
    EXPECT_FALSE(port->hasSerial());
    EXPECT_THAT(libraryError([&] { device->port(2); }), HasSubstr("has no port 2"));
}

TEST_F(LibraryStart, ADisconnectedRecorderGivesItsNamesAndModelAndRefusesTheRest) {
    const auto device = collection().device(1);
    EXPECT_STREQ(device->name().c_str(), "REC-B");
    EXPECT_EQ(device->kind(), 1u);
    EXPECT_EQ(device->connectionState(), 1u);
    EXPECT_EQ(device->hardwareInfo(0)->deviceType, 64u);
    for (const auto& operation : std::vector<std::function<void()>>{
             [&] { device->portCount(); }, [&] { device->storage(0); }, [&] { device->port(0); },
             [&] { device->record(); }, [&] { device->triggerBank(); }}) {
        EXPECT_EQ(libraryError(operation), "Recorder REC-B is not connected.");
    }
}

TEST_F(LibraryStart, InstancesOnOneFolderShareTheirRecorders) {
    const auto first = library().initialize("a", false, Quillon::Scope{2});
    const auto second = library().initialize("b", false, Quillon::Scope{2});
    EXPECT_EQ(first->deviceCollection(Quillon::HostInterfaceType{7}, false),
              second->deviceCollection(Quillon::HostInterfaceType{3}, false));
}

TEST_F(LibraryStart, PlainFunctionsOfTheEntryTable) {
    const uint8_t bytes[] = {7, 8, 9};
    const auto copied = library().createBuffer(bytes, sizeof bytes);
    ASSERT_EQ(copied->size(), 3u);
    EXPECT_EQ(*copied->ptr(2), 9);
    // 2020-01-01 in 100 ns units since 1601, and a bound well ahead of any test run.
    EXPECT_GT(library().universalTime(), 132223104000000000ULL);
    EXPECT_LT(library().universalTime(), 160000000000000000ULL);
}

TEST_F(LibraryStart, WithoutTheFolderVariableInitializeSaysWhatIsMissing) {
    unsetenv("QUILLON_SIM_ROOT");
    EXPECT_THAT(libraryError([&] { library().initialize("OREK Pellam", false, Quillon::Scope{2}); }),
                HasSubstr("QUILLON_SIM_ROOT is not set"));
}

struct BadDescription {
    const char* name;
    const char* text;
    const char* expected;
};

void PrintTo(const BadDescription& description, std::ostream* out) { *out << description.name; }

class BadDescriptions : public SimFixture, public testing::WithParamInterface<BadDescription> {};

TEST_P(BadDescriptions, FailInitializeWithTheFileAndTheFault) {
    std::ofstream(root() / "recorders.json") << GetParam().text;
    const std::string error = libraryError([&] { collection(); });
    EXPECT_THAT(error, HasSubstr((root() / "recorders.json").string()));
    EXPECT_THAT(error, HasSubstr(GetParam().expected));
}

INSTANTIATE_TEST_SUITE_P(
    Faults, BadDescriptions,
    testing::Values(
        BadDescription{"NotJson", "{\"recorders\": [", "parse error"},
        BadDescription{"NotAnObject", "[]", "the top level must be an object"},
        BadDescription{"NoRecorders", "{}", "recorders is missing"},
        BadDescription{"NoDeviceType", R"({"recorders": [{"name": "R"}]})", "recorders[0].deviceType is missing"},
        BadDescription{"NegativeNumber", R"({"recorders": [{"name": "R", "deviceType": -1}]})",
                       "recorders[0].deviceType must be a whole number"},
        BadDescription{"NameWithSlash", R"({"recorders": [{"name": "a/b", "deviceType": 1}]})", "must be usable as a folder name"},
        BadDescription{"RepeatedName", R"({"recorders": [{"name": "R", "deviceType": 1}, {"name": "R", "deviceType": 1}]})",
                       "recorders[1].name repeats the name of another recorder"},
        BadDescription{"MisspeltKey", R"({"recorders": [{"name": "R", "deviceType": 1, "ports": [{"name": "P", "linkMod": 2}]}]})",
                       "recorders[0].ports[0] has an unknown key \"linkMod\""},
        BadDescription{"RepeatedDrive", R"({"recorders": [{"name": "R", "deviceType": 1, "driveGroups": [{"drives": [
                           {"physicalIndex": 0, "capacity": 1}, {"physicalIndex": 0, "capacity": 1}]}]}]})",
                       "recorders[0].driveGroups[0].drives[1].physicalIndex repeats"}),
    [](const testing::TestParamInfo<BadDescription>& info) { return info.param.name; });

TEST_F(LibraryStart, AMissingDescriptionNamesTheFile) {
    std::filesystem::remove(root() / "recorders.json");
    EXPECT_THAT(libraryError([&] { collection(); }),
                HasSubstr("Cannot read " + (root() / "recorders.json").string()));
}

}  // namespace
}  // namespace tavu::test
