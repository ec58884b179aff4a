#include "DriveStore.h"
#include "hardware/DriveSetFiles.h"
#include "library/Loader.h"

#include <gtest/gtest.h>

namespace tavu::test {
namespace {

using testing::_;
using testing::InSequence;
using testing::NiceMock;

constexpr uint64_t MiB = 0x100000;

TEST(RecordFileSizes, AreWholeStripes) {
    EXPECT_EQ(configFileStripes(MiB), 2u);
    // 32 MiB, then steps of 8 MiB until block and envelope fit.
    EXPECT_EQ(pairFileStripes(40 * MiB, MiB), 48u);
    EXPECT_EQ(pairFileStripes(32 * MiB - 1024, MiB), 32u);
    EXPECT_EQ(pairFileStripes(32 * MiB - 1023, MiB), 40u);
    EXPECT_EQ(infoFileStripes(16385, 1024), 18u);
}

class EnsureDriveFileTest : public testing::Test {
protected:
    EnsureDriveFileTest() {
        // A stripe of 1 MiB over two drives.
        store.clusterBytes = MiB / 2;
        store.serve(*driveSet, driveSet);
    }

    TestLibrary library;
    ScopedLibraryOverride libraryOverride{&library};
    Ptr<NiceMock<MockDriveSet>> driveSet = boost::make_shared<NiceMock<MockDriveSet>>();
    DriveStore store;
};

TEST_F(EnsureDriveFileTest, ReplacesAFileTooSmall) {
    const uint32_t old = store.add(".config", 1);
    InSequence order;
    EXPECT_CALL(*driveSet, findFile(text(".config")));
    EXPECT_CALL(*driveSet, fileEntry(old));
    EXPECT_CALL(*driveSet, removeFile(old));
    EXPECT_CALL(*driveSet, createFile(text(".config"), 2, TestLibrary::Now));
    EXPECT_CALL(*driveSet, openFile(_));
    ensureDriveFile(*driveSet, ".config", configFileStripes);
}

TEST_F(EnsureDriveFileTest, ReusesAFileLargeEnoughAndMakesAMissingOne) {
    const uint32_t old = store.add(".config", 2);
    EXPECT_CALL(*driveSet, removeFile(_)).Times(0);
    EXPECT_CALL(*driveSet, openFile(_)).Times(testing::AnyNumber());
    EXPECT_CALL(*driveSet, openFile(old));
    EXPECT_CALL(*driveSet, createFile(text("Cam0.pair"), 48, TestLibrary::Now));
    ensureDriveFile(*driveSet, ".config", configFileStripes);
    ensureDriveFile(*driveSet, "Cam0.pair", [](uint64_t stripe) { return pairFileStripes(40 * MiB, stripe); });
}

}  // namespace
}  // namespace tavu::test
