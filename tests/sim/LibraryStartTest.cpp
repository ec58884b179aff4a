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
                       "recorders[0].driveGroups[0].drives[1].physicalIndex repeats"},
        BadDescription{"FaultOnNoOperation", R"({"recorders": [{"name": "R", "deviceType": 1, "faults": [
                           {"operation": "Record::pause"}]}]})",
                       "recorders[0].faults[0].operation must name an operation"},
        BadDescription{"FaultOnNoPort", R"({"recorders": [{"name": "R", "deviceType": 1, "faults": [
                           {"operation": "Port::grab", "port": "P"}]}]})",
                       "recorders[0].faults[0].port must name a port of the recorder"},
        BadDescription{"NoFileFromAnotherOperation", R"({"recorders": [{"name": "R", "deviceType": 1, "faults": [
                           {"operation": "Record::start", "givesNoFile": true}]}]})",
                       "recorders[0].faults[0].givesNoFile is for \"Record::stopPort\" only"}),
    [](const testing::TestParamInfo<BadDescription>& info) { return info.param.name; });

TEST_F(LibraryStart, AMissingDescriptionNamesTheFile) {
    std::filesystem::remove(root() / "recorders.json");
    EXPECT_THAT(libraryError([&] { collection(); }),
                HasSubstr("Cannot read " + (root() / "recorders.json").string()));
}

}  // namespace
}  // namespace tavu::test
