#include <gtest/gtest.h>

#include <fstream>
#include <iterator>

#include "EmulatorFixture.h"

namespace tavu::test {
namespace {

namespace fs = std::filesystem;

TEST_F(EmulatorTest, FreshFolderGivesAnEmptyUnpairedDevice) {
    TavuDeviceEmulator device;
    EXPECT_TRUE(device.listFiles().empty());
    EXPECT_EQ(device.pairedTo(0), "");
    EXPECT_EQ(portConfig(device), std::vector<uint32_t>(4, 0));
    EXPECT_FALSE(device.hasIncompleteFile());
    EXPECT_TRUE(fs::is_directory(portFolder()));
    EXPECT_EQ(device.portName(7), "Emu");
    uint8_t byte = 0;
    // Refused before the port is even looked at.
    EXPECT_FAILS_WITH(device.serialOpen(9, 9600, 0, 1), "not supported");
    EXPECT_FAILS_WITH(device.registerWrite(200, 0x300C, {&byte, 1}), "not supported");
    EXPECT_FAILS_WITH(device.pairedTo(1), "Invalid port");
}

TEST_F(EmulatorTest, PairingAndConfigurationPersist) {
    {
        TavuDeviceEmulator device;
        prepare(device, 640, 480);
        EXPECT_FAILS_WITH(device.repairPort(0, "other", {kBlock.data(), 3}, 1), "Not paried to this camera");
        const std::vector<uint8_t> large(20000, 0xAB);  // stands in the record whatever its size
        device.repairPort(0, "cam", {large.data(), static_cast<uint32_t>(large.size())}, 8);
    }
    TavuDeviceEmulator device;
    EXPECT_EQ(device.pairedTo(0), "cam");
    EXPECT_EQ(device.framesPerPacket(0), 8);
    EXPECT_EQ(device.portIdentity(0), std::vector<uint8_t>(20000, 0xAB));
    EXPECT_EQ(portConfig(device), std::vector<uint32_t>({640, 480, 7, 9}));

    device.unpairPort(0);
    TavuDeviceEmulator reopened;
    EXPECT_EQ(reopened.pairedTo(0), "");
    EXPECT_TRUE(reopened.portIdentity(0).empty());
    EXPECT_EQ(portConfig(reopened), std::vector<uint32_t>({640, 480, 7, 9}));
}

TEST_F(EmulatorTest, GarbageOrUnusableFolderStillGivesAWorkingDevice) {
    fs::create_directories(portFolder());
    std::ofstream(deviceFolder() / ".files") << "\xC1garbage";
    std::ofstream(deviceFolder() / ".meta") << "\x84\xA4orek";
    EXPECT_TRUE(TavuDeviceEmulator().listFiles().empty());
    EXPECT_EQ(TavuDeviceEmulator().pairedTo(0), "");

    fs::remove_all(deviceFolder());
    std::ofstream(deviceFolder()) << "a file where the folder belongs";
    TavuDeviceEmulator device;
    // A failed write-back keeps the change in memory.
    const std::string failure = "Failed to open file: " + (deviceFolder() / ".meta").string();
    EXPECT_FAILS_WITH(prepare(device, 4, 4), failure.c_str());
    EXPECT_FAILS_WITH(device.pairPort(0, "cam", {}, 1), failure.c_str());
    EXPECT_EQ(device.pairedTo(0), "cam");
    EXPECT_FAILS_WITH(device.startRecording({1, 0, StopCondition{1}, 1, false, 0}), "Failed to create file");
}

TEST_F(EmulatorTest, PortConfigurationBeforeABrokenElementIsKept) {
    {
        TavuDeviceEmulator device;
        prepare(device, 640, 480);
    }
    std::ifstream in(deviceFolder() / ".meta", std::ios::binary);
    std::string record((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
    // A second element, an empty map, which is refused.
    record[record.find('\x91')] = '\x92';
    std::ofstream(deviceFolder() / ".meta", std::ios::binary | std::ios::trunc) << record << '\x80';
    TavuDeviceEmulator device;
    EXPECT_EQ(device.pairedTo(0), "cam");
    EXPECT_EQ(portConfig(device), std::vector<uint32_t>({640, 480, 7, 9}));
}

TEST_F(EmulatorTest, NamesFollowTheirRulesAndPersistWithTheDescriptions) {
    {
        TavuDeviceEmulator device;
        prepare(device, 4, 4);
        for (int i = 0; i < 3; ++i) {
            record(device, 1);
        }
        device.renameFile(1, 0, "a");
        device.renameFile(2, 5, "a");  // a name may be used twice
        device.renameFile(2, 5, "a(1)");
        EXPECT_EQ(device.setFileInfo(3, 0, FileInfoUpdate{"a", 8, 2, 5, 1, 10, 20, 30}), "a(2)");
        EXPECT_EQ(device.setFileInfo(1, 0, FileInfoUpdate{"a", 4, 4, 1, 0, 0, 0, 0}), "a(3)");  // its own name counts
        EXPECT_FAILS_WITH(device.renameFile(4, 0, "x"), "Invalid fileId");
    }
    TavuDeviceEmulator device;
    EXPECT_EQ(fileNames(device), (std::vector<std::string>{"a(3)", "a(1)", "a(2)"}));
    const FileRecord third = device.listFiles().at(2);
    EXPECT_EQ(std::vector<uint64_t>({third.width, third.height, third.numFrames, third.numDroppedFrames,
                                     third.startTime, third.endTime, third.duration}),
              std::vector<uint64_t>({8, 2, 5, 1, 10, 20, 30}));
    // Geometry comes from the catalogue, the count from the description: frames beyond the file
    // read without an error.
    const OpenedFile opened = openFile(device, 3);
    const OpenFileInfo info = device.fileInfo(opened.openFileId);
    EXPECT_EQ(std::vector<uint64_t>({info.width, info.height, info.imageSize, info.numFrames, info.size}),
              std::vector<uint64_t>({4, 4, 32, 5, 32}));
    device.readFrame(opened.openFileId, 4);
    EXPECT_FAILS_WITH(device.readFrame(opened.openFileId, 5), "Invalid frame index");
}

TEST_F(EmulatorTest, EntryWithoutDescriptionIsCataloguedButNotShown) {
    {
        TavuDeviceEmulator device;
        prepare(device, 4, 4);
        for (int i = 0; i < 3; ++i) {
            record(device, 1);
        }
    }
    fs::remove(portFolder() / "2.meta");
    TavuDeviceEmulator device;
    EXPECT_EQ(fileNames(device), (std::vector<std::string>{"1", "3"}));
    EXPECT_FAILS_WITH(openFile(device, 2), "Invalid fileId");
    EXPECT_FAILS_WITH(device.removeFile(2, 0), "Invalid fileId");
    EXPECT_EQ(device.fileIdentity(3, 0), kBlock);
    record(device, 1);
    EXPECT_EQ(device.listFiles().back().fileId, 4u);
}

TEST_F(EmulatorTest, RemovalRefusesOpenFilesAndFreesTheLastId) {
    TavuDeviceEmulator device;
    prepare(device, 4, 4);
    for (int i = 0; i < 3; ++i) {
        record(device, 1);
    }
    const OpenedFile opened = openFile(device, 3);
    EXPECT_FAILS_WITH(device.removeFile(3, 0), "File is open");
    EXPECT_TRUE(fs::exists(portFolder() / "3"));
    device.closeFile(opened.openFileId);
    device.removeFile(3, 0);
    EXPECT_FALSE(fs::exists(portFolder() / "3"));
    EXPECT_FALSE(fs::exists(portFolder() / "3.meta"));
    TavuDeviceEmulator reopened;
    EXPECT_EQ(fileNames(reopened), (std::vector<std::string>{"1", "2"}));
    record(device, 1);
    EXPECT_EQ(device.listFiles().back().fileId, 3u);
}

TEST_F(EmulatorTest, SetupWipesTheRecordingsButNeitherTheListNorTheConfiguration) {
    TavuDeviceEmulator device;
    prepare(device, 4, 4);
    record(device, 1);
    device.setup();
    EXPECT_EQ(fileNames(device), std::vector<std::string>{"1"});
    EXPECT_FAILS_WITH(openFile(device, 1), "Invalid fileId");
    EXPECT_FALSE(fs::exists(portFolder() / "1"));
    EXPECT_FALSE(fs::exists(portFolder() / "1.meta"));
    EXPECT_FALSE(fs::exists(deviceFolder() / ".files"));
    EXPECT_EQ(TavuDeviceEmulator().pairedTo(0), "cam");
}

}  // namespace
}  // namespace tavu::test
