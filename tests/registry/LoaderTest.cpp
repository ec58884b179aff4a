#include "library/Loader.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <stdexcept>

namespace tavu::test {
namespace {

using testing::ThrowsMessage;

TEST(Loader, LibraryPathAppendsBinAsItStands) {
    EXPECT_EQ(recorderLibraryPath(nullptr), "libquillon.so");
    EXPECT_EQ(recorderLibraryPath("/opt/quillon"), "/opt/quillon/Bin/libquillon.so");
    EXPECT_EQ(recorderLibraryPath("/opt/quillon/"), "/opt/quillon//Bin/libquillon.so");
}

TEST(Loader, MissingLibraryOrEntryPointFailsAtEveryUse) {
    const Loader missingFile("/nonexistent/Bin/libquillon.so");
    EXPECT_THAT([&] { missingFile.entry(); }, ThrowsMessage<std::runtime_error>("delayload failure"));
    EXPECT_THAT([&] { missingFile.entry(); }, ThrowsMessage<std::runtime_error>("delayload failure"));

    // A shared object that loads but has no entry point.
    const Loader noEntry("libc.so.6");
    EXPECT_THAT([&] { noEntry.entry(); }, ThrowsMessage<std::runtime_error>("delayload failure"));
}

}  // namespace
}  // namespace tavu::test
