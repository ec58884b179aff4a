#include "Recorder.h"
#include "records/InfoRecord.h"
#include "records/MetaRecord.h"

#include <gtest/gtest.h>

namespace tavu::test {
namespace {

FileRecord recording(const std::string& name, uint32_t streamId) {
    FileRecord file;
    file.name = name;
    file.streamId = streamId;
    file.width = 64;
    file.height = 48;
    file.numFrames = 5;
    file.timestamp = 99;
    return file;
}

class Catalogue : public testing::Test {
protected:
    std::vector<FileRecord> stored() {
        std::vector<FileRecord> records;
        const std::vector<uint8_t>& metadata = recorder.store.files.at(fileId).metadata;
        readMetaList(records, metadata.data(), metadata.size());
        return records;
    }

    std::vector<std::string> listedNames() {
        std::vector<std::string> names;
        for (const FileRecord& file : recorder.tavu->listFiles()) {
            names.push_back(file.name);
        }
        return names;
    }

    Recorder recorder;
    uint32_t fileId = 0;
};

TEST_F(Catalogue, ADriveFileGoesWithItsLastStream) {
    fileId = recorder.addRecordedFile({recording("a", 1), recording("b", 2)});
    recorder.store.add(infoRecordName(fileId, 1), 1);
    recorder.connect();

    recorder.tavu->removeFile(fileId, 1);
    EXPECT_FALSE(recorder.store.has(infoRecordName(fileId, 1)));
    ASSERT_EQ(stored().size(), 1u);
    EXPECT_EQ(stored()[0].name, "b");
    EXPECT_EQ(listedNames(), std::vector<std::string>{"b"});

    // An unknown stream is no error and changes nothing.
    recorder.tavu->removeFile(fileId, 9);
    EXPECT_EQ(stored().size(), 1u);

    recorder.tavu->removeFile(fileId, 2);
    EXPECT_EQ(recorder.store.files.count(fileId), 0u);
    EXPECT_TRUE(listedNames().empty());
}

TEST_F(Catalogue, SavingUnderATakenNameNumbersItAndRenamingDoesNot) {
    fileId = recorder.addRecordedFile({recording("a", 1), recording("a(1)", 2)});
    recorder.connect();

    EXPECT_EQ(recorder.tavu->setFileInfo(fileId, 2, "a", 32, 16, 7, 1, 2, 3, 4), "a(2)");
    FileRecord edited = stored()[1];
    EXPECT_EQ(edited.name, "a(2)");
    EXPECT_EQ(std::tie(edited.width, edited.height, edited.numFrames, edited.numDroppedFrames, edited.startTime,
                       edited.endTime, edited.duration),
              std::make_tuple(32, 16, 7u, 1u, 2u, 3u, 4u));
    // Stays as recorded.
    EXPECT_EQ(std::tie(edited.size, edited.timestamp), std::make_tuple(uint64_t{64} * 48 * 5 * 2, uint64_t{99}));
    EXPECT_EQ(recorder.tavu->listFiles(), stored());
    // The edited recording's own name counts as taken.
    EXPECT_EQ(recorder.tavu->setFileInfo(fileId, 2, "a(2)", 32, 16, 7, 1, 2, 3, 4), "a(2)(1)");

    recorder.tavu->renameFile(fileId, 1, "a(2)(1)");
    EXPECT_EQ(thrownText([&] { recorder.tavu->renameFile(fileId, 7, "x"); }), "File not found.");
    recorder.restart();
    recorder.connect();
    EXPECT_EQ(listedNames(), (std::vector<std::string>{"a(2)(1)", "a(2)(1)"}));
}

}  // namespace
}  // namespace tavu::test
