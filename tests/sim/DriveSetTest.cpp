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

class DriveSets : public SimFixture {
protected:
    boost::shared_ptr<Quillon::DriveSetCollection> sets() { return recorderA()->storage(0)->driveSets(); }
};

TEST_F(DriveSets, ASetOfAllDrivesOrdersThemByPhysicalIndexAndSumsTheirCapacity) {
    EXPECT_EQ(sets()->ids().size(), 0u);
    const auto set = createDriveSetOfAllDrives(*recorderA());
    EXPECT_THAT(idsOf(sets()->ids()), ElementsAre(1u));
    EXPECT_EQ(set->info()->clusterSizeBytes(), ClusterBytes);
    auto drives = set->drives();
    ASSERT_EQ(drives.size(), 4u);
    for (uint32_t index = 0; index < 4; ++index) {
        EXPECT_EQ(drives[index]->physicalIndex(), index);
    }
    const auto capacity = set->capacityInfo(true);
    EXPECT_EQ(capacity->totalBytes(), TotalBytes);
    EXPECT_EQ(capacity->usedBytes(), 0u);
}

TEST_F(DriveSets, CreationRefusesSetsWithoutDrivesForeignDrivesAndDrivesInUse) {
    auto parameters = boost::make_shared<Quillon::DriveSet::CreateParameters>();
    EXPECT_EQ(libraryError([&] { sets()->create(parameters); }), "A drive set needs at least one drive.");

    struct ForeignDrive : Quillon::Drive {
        uint32_t physicalIndex() override { return 0; }
    };
    parameters->source.add(Quillon::Drive::PhysicalLocation(boost::make_shared<ForeignDrive>()));
    EXPECT_EQ(libraryError([&] { sets()->create(parameters); }), "Drive 0 does not belong to recorder REC-A.");

    createDriveSetOfAllDrives(*recorderA());
    auto again = boost::make_shared<Quillon::DriveSet::CreateParameters>();
    again->source.add(Quillon::Drive::PhysicalLocation(recorderA()->storage(0)->driveGroups()->group(1)->drive(0)));
    EXPECT_EQ(libraryError([&] { sets()->create(again); }), "Drive 3 already belongs to drive set 1.");
}

TEST_F(DriveSets, RemovalTakesTheFilesAndTheIdIsNotGivenAgain) {
    const auto set = createDriveSetOfAllDrives(*recorderA());
    set->createFile(".config", 2, 0);
    sets()->remove(1);
    EXPECT_EQ(sets()->ids().size(), 0u);
    EXPECT_FALSE(std::filesystem::exists(root() / "REC-A" / "set-1"));
    EXPECT_EQ(libraryError([&] { set->findFile(".config"); }), "There is no drive set 1.");
    EXPECT_EQ(libraryError([&] { sets()->open(1); }), "There is no drive set 1.");
    createDriveSetOfAllDrives(*recorderA());
    EXPECT_THAT(idsOf(sets()->ids()), ElementsAre(2u));
}

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

TEST_F(DriveFiles, AFileMustFitTheRoomLeft) {
    const uint64_t blocks = TotalBytes / BlockBytes;
    set->createFile("big", blocks - 1, 0);
    EXPECT_EQ(libraryError([&] { set->createFile("more", 2, 0); }), "Drive set 1 has room for 1 clusters, not 2.");
    set->createFile("last", 1, 0);
    EXPECT_EQ(set->capacityInfo(true)->usedBytes(), TotalBytes);
}

TEST_F(DriveFiles, RemovalFreesTheNameAndTheRoom) {
    const uint32_t id = set->createFile(".config", 2, 0);
    const auto open = set->openFile(id);
    set->removeFile(id);
    EXPECT_EQ(set->findFile(".config"), 0u);
    EXPECT_EQ(set->capacityInfo(true)->usedBytes(), 0u);
    EXPECT_EQ(libraryError([&] { set->openFile(id); }), "Drive set 1 has no file 1.");
    EXPECT_EQ(libraryError([&] { open->info(); }), "Drive set 1 has no file 1.");
    EXPECT_EQ(set->createFile(".config", 2, 0), 2u);
}

TEST_F(DriveFiles, BlocksGoInSequenceAndReadingPastTheEndThrows) {
    const uint32_t id = set->createFile("A1.pair", 3, 0);
    const auto writer = set->openFile(id);
    ASSERT_EQ(writer->info()->clusterBytes, ClusterBytes);
    ASSERT_EQ(writer->driveSet(false)->drives().size(), 4u);
    writer->writeBlock(buffer(BlockBytes, 0x11));
    writer->writeBlock(buffer(BlockBytes, 0x22));

    const auto reader = set->openFile(id);
    for (const uint8_t expected : {0x11, 0x22, 0x00}) {
        const auto block = buffer(BlockBytes, 0xFF);
        reader->readBlock(block, 0);
        EXPECT_EQ(block->data()[0], expected);
        EXPECT_EQ(block->data()[BlockBytes - 1], expected);
    }
    EXPECT_THAT(libraryError([&] { reader->readBlock(buffer(BlockBytes), 0); }),
                HasSubstr("ends after 3 blocks; block 3 is past its end"));
    EXPECT_THAT(libraryError([&] { set->openFile(id)->readBlock(buffer(ClusterBytes), 0); }),
                HasSubstr("is 16384 bytes; the buffer holds 4096"));
    writer->writeBlock(buffer(BlockBytes));
    EXPECT_THAT(libraryError([&] { writer->writeBlock(buffer(BlockBytes)); }), HasSubstr("past its end"));
}

TEST_F(DriveFiles, MetadataIsOneBlockOfFixedCapacity) {
    const auto file = set->openFile(set->createFile(".config", 1, 0));
    ASSERT_EQ(file->metadataCapacity(), 65536u);
    const auto fresh = file->readMetadata();
    ASSERT_EQ(fresh->size(), 65536u);
    EXPECT_EQ(std::count(fresh->data(), fresh->data() + fresh->size(), 0), 65536);

    file->writeMetadata(buffer(65536, 0x55));
    file->writeMetadata(buffer(100, 0x77));
    const auto stored = file->readMetadata();
    EXPECT_EQ(stored->data()[99], 0x77);
    EXPECT_EQ(stored->data()[100], 0x00);
    EXPECT_EQ(libraryError([&] { file->writeMetadata(buffer(65537)); }),
              "Metadata of 65537 bytes does not fit the block of 65536 bytes.");
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
