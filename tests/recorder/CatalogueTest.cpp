// Changes to the catalogue of a simulated recorder through the socket: names, descriptive
// fields and removal, each kept in step with the metadata on the drive set.
#include "RecorderFixture.h"

namespace tavu::test {
namespace {

using nlohmann::json;

bool listsFile(const json& index, uint32_t fileId) {
    for (const json& file : index.at("files")) {
        if (file.at("id") == fileId) {
            return true;
        }
    }
    return false;
}

bool listsName(const json& index, const std::string& name) {
    for (const json& file : index.at("files")) {
        if (file.at("name") == name) {
            return true;
        }
    }
    return false;
}

using Catalogue = RecorderFixture;

TEST_F(Catalogue, NamesAndFieldsReachTheDriveAndRemovalTakesTheFileWithItsLastStream) {
    startWithRecorderA();
    // A pairing block too large for the metadata goes to an info file of the stream.
    const std::vector<uint8_t> identity(20000, 9);
    client().setPortConfig(0, 1, {32, 8, 0, 0});
    client().pairPort(0, 1, "cam-b", identity, 1);
    const std::vector<FileRecord> recorded = recordFrames(3, 4);
    ASSERT_EQ(recorded.size(), 2u);
    const uint32_t fileId = recorded[0].fileId;
    const uint32_t first = recorded[0].streamId, second = recorded[1].streamId;
    const std::string infoFile = std::to_string(fileId) + "-" + std::to_string(second) + ".info";
    EXPECT_TRUE(listsName(driveSetIndex("REC-A"), infoFile)) << driveSetIndex("REC-A").dump();
    EXPECT_EQ(client().fileIdentity(0, fileId, second), identity);
    const uint32_t queue = client().createEventQueue();

    client().renameFile(0, fileId, first, "a", true);
    EXPECT_EQ(nextEvent(queue), (DeviceEvent{DeviceEvent::FilesChanged, 0, 0}));
    // Saving under a taken name numbers it; the edited recording counts as taking its own name.
    FileInfoUpdate update{"a", 20, 10, 3, 1, 5, 6, 7, false};
    EXPECT_EQ(client().setFileInfo(0, fileId, second, update), "a(1)");
    EXPECT_EQ(client().setFileInfo(0, fileId, second, update), "a(2)");
    update.name = "a(2)";
    EXPECT_EQ(client().setFileInfo(0, fileId, second, update), "a(2)(1)");
    // Renaming asks for no uniqueness.
    client().renameFile(0, fileId, second, "a", false);
    EXPECT_FALSE(client().tryReadEvent(queue).has_value());
    EXPECT_EQ(serviceError([&] { client().renameFile(0, fileId, 99, "b", false); }), "File not found.");

    std::vector<FileRecord> files = client().listFiles(0);
    ASSERT_EQ(files.size(), 2u);
    EXPECT_EQ(files[0].name, "a");
    EXPECT_EQ(files[1].name, "a");
    EXPECT_EQ(files[1].width, 20u);
    EXPECT_EQ(files[1].height, 10u);
    EXPECT_EQ(files[1].numFrames, 3u);
    EXPECT_EQ(files[1].numDroppedFrames, 1u);
    EXPECT_EQ(files[1].startTime, 5u);
    EXPECT_EQ(files[1].endTime, 6u);
    EXPECT_EQ(files[1].duration, 7u);
    EXPECT_EQ(files[1].size, recorded[1].size);
    EXPECT_EQ(files[1].timestamp, recorded[1].timestamp);
    EXPECT_EQ(metaBlock("REC-A", fileId), files);

    // The drive is the truth: a new service reads the same.
    stopService();
    startService(1);
    EXPECT_EQ(client().listFiles(0), files);

    const uint32_t events = client().createEventQueue();
    client().removeFile(0, fileId, first);
    EXPECT_EQ(nextEvent(events), (DeviceEvent{DeviceEvent::FilesChanged, 0, 0}));
    files = client().listFiles(0);
    ASSERT_EQ(files.size(), 1u);
    EXPECT_EQ(files[0].streamId, second);
    EXPECT_EQ(metaBlock("REC-A", fileId), files);
    EXPECT_TRUE(listsFile(driveSetIndex("REC-A"), fileId));
    // An unknown pair is no error and changes nothing.
    client().removeFile(0, fileId, first);
    EXPECT_EQ(client().listFiles(0).size(), 1u);

    client().removeFile(0, fileId, second);
    EXPECT_FALSE(listsName(driveSetIndex("REC-A"), infoFile));
    EXPECT_TRUE(client().listFiles(0).empty());
    EXPECT_FALSE(listsFile(driveSetIndex("REC-A"), fileId)) << driveSetIndex("REC-A").dump();
    EXPECT_FALSE(std::filesystem::exists(driveSetFolder("REC-A") / ("file-" + std::to_string(fileId) + ".data")));
}

}  // namespace
}  // namespace tavu::test
