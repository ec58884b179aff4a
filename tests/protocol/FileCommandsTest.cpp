#include <stdexcept>
#include <string_view>

#include "ProtocolFixture.h"

namespace tavu::test {
namespace {

using testing::_;
using testing::DoAll;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::Return;
using testing::SetArgReferee;
using testing::Throw;

constexpr uint32_t ListFiles = 26;
constexpr uint32_t OpenFile = 27;
constexpr uint32_t FileInfo = 28;
constexpr uint32_t CloseFile = 29;
constexpr uint32_t ReadFrame = 30;
constexpr uint32_t RemoveFile = 31;
constexpr uint32_t FileIdentity = 32;
constexpr uint32_t RenameFile = 48;
constexpr uint32_t SetFileInfo = 49;

const char* const NotOpenedHere = "File not opened by this connection.";
const DeviceEvent FilesChangedOn1{DeviceEvent::FilesChanged, 1, 0};

class FileCommandsTest : public ProtocolTest {
protected:
    // Opens a file on the device for the connection, which the device numbers openFileId.
    void open(ClientHoldings& connection, uint32_t deviceId, uint32_t openFileId) {
        EXPECT_CALL(device(deviceId), openFile(_, _, 5, 6))
            .WillOnce(DoAll(SetArgReferee<0>(openFileId), SetArgReferee<1>("orek_tavu1A")));
        expectReply(
            call(connection, OpenFile, makeMap({{"deviceId", u(deviceId)}, {"fileId", u(5)}, {"streamId", u(6)}})),
            resultMap({{"openFileId", u(openFileId)}, {"mapping", str("orek_tavu1A")}}));
    }

    Reply close(ClientHoldings& connection, uint32_t deviceId, uint32_t openFileId) {
        return call(connection, CloseFile, makeMap({{"deviceId", u(deviceId)}, {"openFileId", u(openFileId)}}));
    }
};

ObjectValue fileParams(std::initializer_list<std::pair<const char*, ObjectValue>> more) {
    ObjectValue params = makeMap({{"deviceId", u(1)}, {"fileId", u(5)}, {"streamId", u(6)}});
    for (const auto& [key, value] : more) {
        params.mapAppend(key, ObjectValue(value));
    }
    return params;
}

TEST_F(FileCommandsTest, ListOfNoFilesIsAnEmptyArray) {
    EXPECT_CALL(device(0), listFiles()).WillOnce(Return(std::vector<FileRecord>{}));
    expectReply(call(ListFiles, makeMap({{"deviceId", u(0)}})), resultMap({{"files", ObjectValue::array(0)}}));
}

TEST_F(FileCommandsTest, FileEntriesHaveFourteenKeysInOrder) {
    const FileRecord file{"take 1", "Port A", "cam", 5, 6, 640, 480, 100, 2, {9, 9}, 1ull << 40, 11, 12, 13, 14};
    EXPECT_CALL(device(1), listFiles()).WillOnce(Return(std::vector<FileRecord>{file, file}));
    ObjectValue entry = makeMap({{"name", str("take 1")},
                                 {"port", str("Port A")},
                                 {"camera", str("cam")},
                                 {"fileId", u(5)},
                                 {"streamId", u(6)},
                                 {"width", u(640)},
                                 {"height", u(480)},
                                 {"numFrames", u(100)},
                                 {"numDroppedFrames", u(2)},
                                 {"size", u(1ull << 40)},
                                 {"timestamp", u(11)},
                                 {"duration", u(14)},
                                 {"startTime", u(12)},
                                 {"endTime", u(13)}});
    ObjectValue files = ObjectValue::array(2);
    files.arrayAppend(ObjectValue(entry));
    files.arrayAppend(std::move(entry));
    expectReply(call(ListFiles, makeMap({{"deviceId", u(1)}})), resultMap({{"files", std::move(files)}}));
}

TEST_F(FileCommandsTest, OpenRecordsTheFileOnlyWhenTheDeviceSucceeds) {
    EXPECT_CALL(device(1), openFile(_, _, 5, 6)).WillOnce(Throw(std::runtime_error("Invalid fileId")));
    EXPECT_EQ(call(OpenFile, fileParams({})).error(), "Invalid fileId");
    EXPECT_THAT(first().openFiles, IsEmpty());
    open(first(), 1, 3);
    EXPECT_THAT(first().openFiles, ElementsAre(OpenFileRef{3, 1}));
}

// The device isn't asked for a file of another connection, or of another device.
TEST_F(FileCommandsTest, OnlyTheOpeningConnectionTouchesAFile) {
    open(first(), 1, 3);
    const ObjectValue cases[] = {
        makeMap({{"deviceId", u(1)}, {"openFileId", u(3)}, {"frame", u(0)}}),
        makeMap({{"deviceId", u(0)}, {"openFileId", u(3)}, {"frame", u(0)}}),
        makeMap({{"deviceId", u(9)}, {"openFileId", u(3)}, {"frame", u(0)}}),
    };
    for (uint32_t index = 0; index < 3; ++index) {
        ClientHoldings& connection = index == 0 ? second() : first();
        for (const uint32_t ordinal : {FileInfo, CloseFile, ReadFrame}) {
            EXPECT_EQ(call(connection, ordinal, cases[index]).error(), NotOpenedHere) << index << " " << ordinal;
        }
    }
    EXPECT_THAT(first().openFiles, ElementsAre(OpenFileRef{3, 1}));
}

TEST_F(FileCommandsTest, InfoAndFramesOfAnOpenFile) {
    open(first(), 1, 3);
    EXPECT_CALL(device(1), fileInfo(3, _, _, _, _, _))
        .WillOnce(DoAll(SetArgReferee<1>(640), SetArgReferee<2>(480), SetArgReferee<3>(614400),
                        SetArgReferee<4>(1ull << 33), SetArgReferee<5>(7)));
    expectReply(call(FileInfo, makeMap({{"deviceId", u(1)}, {"openFileId", u(3)}})),
                resultMap({{"width", u(640)},
                           {"height", u(480)},
                           {"imageSize", u(614400)},
                           {"numFrames", u(1ull << 33)},
                           {"size", u(7)}}));
    EXPECT_CALL(device(1), readFrame(3, 1ull << 40));
    expectReply(call(ReadFrame, makeMap({{"deviceId", u(1)}, {"openFileId", u(3)}, {"frame", u(1ull << 40)}})),
                resultMap({}));
}

// The same number on two devices is two files; closing one leaves the other.
TEST_F(FileCommandsTest, CloseRemovesOnlyThatDevicesEntry) {
    open(first(), 1, 3);
    open(first(), 0, 3);
    EXPECT_CALL(device(1), closeFile(3));
    expectReply(close(first(), 1, 3), resultMap({}));
    EXPECT_THAT(first().openFiles, ElementsAre(OpenFileRef{3, 0}));
    EXPECT_EQ(close(first(), 1, 3).error(), NotOpenedHere);
}

TEST_F(FileCommandsTest, FailedCloseKeepsTheEntryForTheCleanUp) {
    open(first(), 1, 3);
    EXPECT_CALL(device(1), closeFile(3)).WillOnce(Throw(std::runtime_error("Invalid file id.")));
    EXPECT_EQ(close(first(), 1, 3).error(), "Invalid file id.");
    EXPECT_THAT(first().openFiles, ElementsAre(OpenFileRef{3, 1}));
}

TEST_F(FileCommandsTest, RemovePostsToEveryQueueBeforeTheReply) {
    openQueue(first());
    openQueue(second());
    EXPECT_CALL(device(1), removeFile(5, 6)).WillOnce(Throw(std::runtime_error("File not found."))).WillOnce(Return());
    EXPECT_EQ(call(RemoveFile, fileParams({})).error(), "File not found.");
    EXPECT_THAT(takeEvents(first()), IsEmpty());
    expectReply(call(RemoveFile, fileParams({})), resultMap({}));
    EXPECT_THAT(takeEvents(first()), ElementsAre(FilesChangedOn1));
    EXPECT_THAT(takeEvents(second()), ElementsAre(FilesChangedOn1));
}

TEST_F(FileCommandsTest, RenamePostsOnlyWhenAskedTo) {
    openQueue(first());
    EXPECT_CALL(device(1), renameFile(5, 6, "new")).Times(2);
    expectReply(call(RenameFile, fileParams({{"name", str("new")}, {"notify", boolean(false)}})), resultMap({}));
    EXPECT_THAT(takeEvents(first()), IsEmpty());
    expectReply(call(RenameFile, fileParams({{"name", str("new")}, {"notify", boolean(true)}})), resultMap({}));
    EXPECT_THAT(takeEvents(first()), ElementsAre(FilesChangedOn1));
    EXPECT_EQ(call(RenameFile, fileParams({{"name", str("new")}})).error(), "Key not found in map.");
    EXPECT_EQ(call(RenameFile, fileParams({{"name", str("new")}, {"notify", u(1)}})).error(),
              "Object type is not bool, but bool expected.");
}

TEST_F(FileCommandsTest, SetFileInfoTakesOptionalTimesAndRepliesWithTheNameUsed) {
    openQueue(first());
    EXPECT_CALL(device(1), setFileInfo(5, 6, "take", 1, 480, 1ull << 40, 3, 0, 0, 99)).WillOnce(Return("take (2)"));
    EXPECT_CALL(device(1), setFileInfo(5, 6, "take", 1, 480, 1ull << 40, 3, 20, 30, 99)).WillOnce(Return("take"));
    const auto params = [](std::initializer_list<std::pair<const char*, ObjectValue>> times, bool notify) {
        ObjectValue all = fileParams({{"name", str("take")},
                                      {"width", u(65537)},
                                      {"height", u(480)},
                                      {"numImages", u(1ull << 40)},
                                      {"numDroppedFrames", u(3)},
                                      {"duration", u(99)},
                                      {"notify", boolean(notify)}});
        for (const auto& [key, value] : times) {
            all.mapAppend(key, ObjectValue(value));
        }
        return all;
    };
    expectReply(call(SetFileInfo, params({}, false)), resultMap({{"name", str("take (2)")}}));
    EXPECT_THAT(takeEvents(first()), IsEmpty());
    expectReply(call(SetFileInfo, params({{"endTime", u(30)}, {"startTime", u(20)}}, true)),
                resultMap({{"name", str("take")}}));
    EXPECT_THAT(takeEvents(first()), ElementsAre(FilesChangedOn1));
    EXPECT_EQ(call(SetFileInfo, params({{"startTime", str("20")}}, true)).error(),
              "Object type is not positive integer, but positive integer expected.");
}

// "numFrames" is the name in file entries, not here; and "duration" isn't optional.
TEST_F(FileCommandsTest, SetFileInfoRequiresEverythingElse) {
    for (const char* missing : {"numImages", "duration"}) {
        ObjectValue params = fileParams({{"name", str("n")}, {"width", u(1)}, {"height", u(1)}});
        for (const char* key : {"numImages", "numFrames", "numDroppedFrames", "duration"}) {
            if (std::string_view(key) != missing) {
                params.mapAppend(key, u(1));
            }
        }
        params.mapAppend("notify", boolean(false));
        EXPECT_EQ(call(SetFileInfo, std::move(params)).error(), "Key not found in map.") << missing;
    }
}

TEST_F(FileCommandsTest, EmptyIdentityIsAnEmptyBlob) {
    EXPECT_CALL(device(1), fileIdentity(5, 6, _));
    expectReply(call(FileIdentity, fileParams({})), resultMap({{"data", blob("")}}));
}

}  // namespace
}  // namespace tavu::test
