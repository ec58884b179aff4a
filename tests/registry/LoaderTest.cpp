#include "FakeLibrary.h"
#include "library/Loader.h"
#include "library/Quillon.h"

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

TEST(Loader, PlainFunctionsGoThroughTheInstalledEntryTable) {
    FakeLibrary library;
    const ScopedLibraryOverride installed(&library);

    const uint8_t bytes[] = {1, 2, 3};
    const auto buffer = Common::Buffer::create(bytes, sizeof bytes);
    ASSERT_EQ(buffer->size(), 3u);
    EXPECT_EQ(*buffer->ptr(2), 3);
    EXPECT_EQ(Common::TimestampHelper::universalTime(), library.universalTime());
    EXPECT_EQ(Quillon::Instance::initialize("app", false, Quillon::Scope{2}), library.instance);
}

TEST(Loader, AbsentOverrideFailsLikeAMissingLibraryAndNestingRestores) {
    FakeLibrary library;
    const ScopedLibraryOverride outer(&library);
    {
        const ScopedLibraryOverride absent(nullptr);
        EXPECT_THAT([] { Quillon::Instance::initialize("app", false, Quillon::Scope{2}); },
                    ThrowsMessage<std::runtime_error>("delayload failure"));
    }
    EXPECT_EQ(&libraryEntry(), &library);
}

}  // namespace
}  // namespace tavu::test
