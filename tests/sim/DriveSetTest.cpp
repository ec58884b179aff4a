#include "SimFixture.h"

#include <gmock/gmock.h>

#include <fstream>

namespace tavu::test {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;

constexpr uint64_t ClusterBytes = 4096;
constexpr uint64_t BlockBytes = ClusterBytes * 4;
constexpr uint64_t TotalBytes = 4 << 20;

std::vector<uint32_t> idsOf(Quillon::Vector<uint32_t> ids) { return std::vector<uint32_t>(ids.begin(), ids.end()); }

class DriveFiles : public SimFixture {
protected:
    void SetUp() override { set = createDriveSetOfAllDrives(*recorderA()); }
    boost::shared_ptr<Quillon::DriveSet> set;
};

TEST_F(DriveFiles, NamedFilesAreFoundByNameAndKeptOutOfTheRecordingList) {
    const uint32_t config = set->createFile(".config", 2, 0x01D9000000000000);
    const uint32_t pair = set->createFile("A1.pair", 3, 0);
    EXPECT_EQ(config, 1u);
    EXPECT_EQ(pair, 2u);
    EXPECT_EQ(set->findFile(".config"), config);
    EXPECT_EQ(set->findFile("A2.pair"), 0u);
    EXPECT_EQ(set->fileEntry(pair)->sizeClusters, 3u);
    EXPECT_EQ(set->fileIds().size(), 0u);
    EXPECT_EQ(set->incompleteFileId(), 0u);
    EXPECT_EQ(set->openFile(config)->streamCount(), 0u);
    EXPECT_EQ(set->capacityInfo(true)->usedBytes(), 5 * BlockBytes);
    EXPECT_EQ(libraryError([&] { set->createFile(".config", 1, 0); }),
              "Drive set 1 already has a file named \".config\".");
    EXPECT_EQ(libraryError([&] { set->createFile("", 1, 0); }), "A file needs a name.");
}

TEST_F(DriveFiles, EverythingOutlivesALoadOfTheLibrary) {
    const uint32_t config = set->createFile(".config", 2, 0);
    set->openFile(config)->writeBlock(buffer(BlockBytes, 0x42));
    set->openFile(config)->writeMetadata(buffer(10, 0x24));
    const uint32_t removed = set->createFile("gone", 1, 0);
    set->removeFile(removed);
    set.reset();
    unload();

    {
        const auto sets = recorderA()->storage(0)->driveSets();
        ASSERT_THAT(idsOf(sets->ids()), ElementsAre(1u));
        const auto reloaded = sets->open(1);
        EXPECT_EQ(reloaded->info()->clusterSizeBytes(), ClusterBytes);
        EXPECT_EQ(reloaded->drives().size(), 4u);
        ASSERT_EQ(reloaded->findFile(".config"), config);
        EXPECT_EQ(reloaded->fileEntry(config)->sizeClusters, 2u);
        const auto file = reloaded->openFile(config);
        const auto block = buffer(BlockBytes);
        file->readBlock(block, 0);
        EXPECT_EQ(block->data()[BlockBytes - 1], 0x42);
        EXPECT_EQ(file->readMetadata()->data()[9], 0x24);
        // Ids of removed files and sets are not given again.
        EXPECT_EQ(reloaded->createFile("new", 1, 0), 3u);
        sets->remove(1);
    }
    unload();
    createDriveSetOfAllDrives(*recorderA());
    EXPECT_THAT(idsOf(recorderA()->storage(0)->driveSets()->ids()), ElementsAre(2u));
}

TEST_F(DriveFiles, AFaultyIndexIsNamedInTheError) {
    set.reset();
    unload();
    std::ofstream(root() / "REC-A" / "set-1" / "index.json") << "{\"name\": \"TAVU\"}";
    EXPECT_THAT(libraryError([&] { recorderA()->storage(0)->driveSets()->ids(); }),
                HasSubstr((root() / "REC-A" / "set-1" / "index.json").string()));
}

}  // namespace
}  // namespace tavu::test
