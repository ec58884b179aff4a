#include "RegistryHarness.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <stdexcept>

namespace tavu::test {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using testing::ThrowsMessage;

TEST(ManagerStart, WithoutALibraryTheServiceRunsWithNoDevices) {
    ManagerHarness harness;
    const ScopedLibraryOverride absent(nullptr);
    harness.library.collection().addRecorder({"alpha"});

    EXPECT_EQ(harness.start(), "");
    EXPECT_EQ(harness.manager.deviceCount(), 0u);
    EXPECT_THAT([&] { harness.manager.deviceAt(0).name(); }, ThrowsMessage<std::runtime_error>("Invalid device index."));
    EXPECT_FALSE(harness.library.collection().hasCallback());
}

TEST(ManagerStart, FailingInitializeIsSwallowed) {
    ManagerHarness harness;
    harness.library.initializeFailure = "licence missing";
    harness.library.collection().addRecorder({"alpha"});

    EXPECT_EQ(harness.start(), "");
    EXPECT_EQ(harness.manager.deviceCount(), 0u);
}

TEST(ManagerStart, WrongVersionLeavesNoCollectionAndSaysNothing) {
    ManagerHarness harness;
    harness.library.instance->reportedVersion = {2, 1, 0, 37};
    harness.library.collection().addRecorder({"alpha"});

    EXPECT_EQ(harness.start(), "");
    EXPECT_EQ(harness.manager.deviceCount(), 0u);
    EXPECT_THAT(harness.library.instance->requestedHostInterfaces, IsEmpty());
    EXPECT_FALSE(harness.library.collection().hasCallback());
}

TEST(ManagerStart, StartsTheLibraryAndRegistersForChanges) {
    ManagerHarness harness;
    harness.environment.set("TAVUSRV_SATA_ONLY", "1");
    harness.start();

    EXPECT_EQ(harness.library.applicationName, "OREK Pellam");
    EXPECT_FALSE(harness.library.initializeFlag);
    EXPECT_EQ(harness.library.scope, 2u);
    EXPECT_THAT(harness.library.instance->requestedHostInterfaces, ElementsAre(3u));
    EXPECT_TRUE(harness.library.collection().hasCallback());

    harness.manager.stop();
    harness.manager.stop();
    EXPECT_THAT(harness.library.collection().unregisteredIds(), ElementsAre(FakeCollection::CallbackId));
}

TEST(ManagerStart, EmptySataOnlyCountsAsUnset) {
    ManagerHarness harness;
    harness.environment.set("TAVUSRV_SATA_ONLY", "");
    harness.start();
    EXPECT_THAT(harness.library.instance->requestedHostInterfaces, ElementsAre(7u));
}

}  // namespace
}  // namespace tavu::test
