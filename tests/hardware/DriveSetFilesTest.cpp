#include "hardware/DriveSetFiles.h"

#include <gtest/gtest.h>

namespace tavu::test {
namespace {

constexpr uint64_t MiB = 0x100000;

TEST(RecordFileSizes, AreWholeStripes) {
    EXPECT_EQ(configFileStripes(MiB), 2u);
    // 32 MiB, then steps of 8 MiB until block and envelope fit.
    EXPECT_EQ(pairFileStripes(40 * MiB, MiB), 48u);
    EXPECT_EQ(pairFileStripes(32 * MiB - 1024, MiB), 32u);
    EXPECT_EQ(pairFileStripes(32 * MiB - 1023, MiB), 40u);
    EXPECT_EQ(infoFileStripes(16385, 1024), 18u);
}

}  // namespace
}  // namespace tavu::test
