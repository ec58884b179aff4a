#include "RegistryHarness.h"

#include <gtest/gtest.h>

#include <stdexcept>

namespace tavu::test {
namespace {

constexpr uint32_t Disconnected = Quillon::DeviceCollection::StateDisconnected;

TEST(ManagerUpdate, FindsConnectedAndDisconnectedRecorders) {
    ManagerHarness harness;
    harness.library.collection().addRecorder({"alpha"});
    harness.library.collection().addRecorder({"beta", Disconnected});

    EXPECT_EQ(harness.start(),
              "Updating device list.\n"
              "Found device: alpha\n"
              "Found device: beta (disconnected)\n"
              "Done updating device list.\n");

    ASSERT_EQ(harness.manager.deviceCount(), 2u);
    MockHardwareDevice& alpha = harness.device(0);
    EXPECT_EQ(&harness.manager.deviceAt(0), &alpha);
    EXPECT_EQ(alpha.identifiedName, "alpha");
    EXPECT_EQ(alpha.connectCalls, 1);
    EXPECT_EQ(alpha.connectedIndex, 0u);
    MockHardwareDevice& beta = harness.device(1);
    EXPECT_EQ(beta.identifiedName, "beta");
    EXPECT_EQ(beta.index, 1u);
    EXPECT_EQ(beta.connectCalls, 0);
    EXPECT_EQ(beta.foundDisconnectedCalls, 1);
    EXPECT_TRUE(beta.heldCollection);
}

TEST(ManagerUpdate, FollowsRecordersThatComeAndGo) {
    ManagerHarness harness;
    FakeCollection& collection = harness.library.collection();
    collection.addRecorder({"alpha"});
    harness.start();
    const uint32_t first = harness.manager.createQueue();
    const uint32_t second = harness.manager.createQueue();

    collection.setState(0, Disconnected);
    collection.addRecorder({"gamma"});
    EXPECT_EQ(harness.change(first),
              "Updating device list.\n"
              "Found device: alpha (existing, disconnected)\n"
              "Found device: gamma\n"
              "Done updating device list.\n");
    EXPECT_EQ(harness.device(0).markDisconnectedCalls, 1);
    ASSERT_EQ(harness.manager.deviceCount(), 2u);
    EXPECT_EQ(harness.device(1).connectedIndex, 1u);

    collection.setState(0, 0);
    EXPECT_EQ(harness.change(first),
              "Updating device list.\n"
              "Found device: alpha (existing)\n"
              "Found device: gamma (existing)\n"
              "Done updating device list.\n");
    EXPECT_EQ(harness.device(0).reconnectCalls, 1);
    EXPECT_EQ(harness.device(1).reconnectCalls, 1);

    // Every update was broadcast to every client queue, one event per update.
    DeviceEvent event;
    for (int update = 0; update < 2; ++update) {
        ASSERT_TRUE(harness.manager.tryReadEvent(second, event));
        EXPECT_EQ(event, (DeviceEvent{DeviceEvent::DevicesChanged, 0, 0}));
    }
    EXPECT_FALSE(harness.manager.tryReadEvent(second, event));
}

TEST(ManagerUpdate, FallingCountRemovesAndAddsNothing) {
    ManagerHarness harness;
    FakeCollection& collection = harness.library.collection();
    collection.addRecorder({"alpha"});
    collection.addRecorder({"beta"});
    harness.start();
    const uint32_t queue = harness.manager.createQueue();

    collection.reportCount(1);
    collection.setState(1, Disconnected);
    EXPECT_EQ(harness.change(queue),
              "Updating device list.\n"
              "Found device: alpha (existing)\n"
              "Found device: beta (existing, disconnected)\n"
              "Done updating device list.\n");
    EXPECT_EQ(harness.manager.deviceCount(), 2u);
    EXPECT_EQ(harness.devicesCreated(), 2u);
}

TEST(ManagerUpdate, FailuresAreLoggedPerDeviceAndTheDeviceKeepsItsPlace) {
    ManagerHarness harness;
    FakeCollection& collection = harness.library.collection();
    collection.addRecorder({"alpha"});
    collection.addRecorder({"beta"});
    collection.addRecorder({"gamma"});
    harness.prepareDevice = [](MockHardwareDevice& device) {
        device.connectFailure = [] { throw std::runtime_error("no drive set."); };
    };
    EXPECT_EQ(harness.start(),
              "Updating device list.\n"
              "Found device: alpha\n"
              "Caught exception: no drive set.\n"
              "Found device: beta\n"
              "Caught exception: no drive set.\n"
              "Found device: gamma\n"
              "Caught exception: no drive set.\n"
              "Done updating device list.\n");
    ASSERT_EQ(harness.manager.deviceCount(), 3u);

    const uint32_t queue = harness.manager.createQueue();
    harness.device(0).reconnectFailure = [] { throw Common::GeneralException("link lost"); };
    harness.device(1).reconnectFailure = [] { throw 42; };
    EXPECT_EQ(harness.change(queue),
              "Updating device list.\n"
              "Found device: alpha (existing)\n"
              "Caught exception: link lost\n"
              "Found device: beta (existing)\n"
              "Found device: gamma (existing)\n"
              "Done updating device list.\n");
    EXPECT_EQ(harness.device(2).reconnectCalls, 1);
}

TEST(ManagerUpdate, FilteredRecordersStayOutForGood) {
    ManagerHarness harness;
    FakeCollection& collection = harness.library.collection();
    collection.addRecorder({"Lab-1"});
    collection.addRecorder({"Office-2"});
    harness.environment.set("TAVUSRV_DEVICE_NAME_WHITELIST", "lab*");
    harness.environment.set("TAVUSRV_DEVICE_NAME_BLACKLIST", "");
    EXPECT_EQ(harness.start(),
              "Updating device list.\n"
              "Found device: Lab-1\n"
              "Done updating device list.\n");

    const uint32_t queue = harness.manager.createQueue();
    harness.environment.unset("TAVUSRV_DEVICE_NAME_WHITELIST");
    collection.setState(1, Disconnected);
    EXPECT_EQ(harness.change(queue),
              "Updating device list.\n"
              "Found device: Lab-1 (existing)\n"
              "Done updating device list.\n");
    EXPECT_EQ(harness.manager.deviceCount(), 1u);
}

TEST(ManagerUpdate, EmptyWhitelistRejectsEveryNamedRecorder) {
    ManagerHarness harness;
    harness.library.collection().addRecorder({"alpha"});
    harness.environment.set("TAVUSRV_DEVICE_NAME_WHITELIST", "");
    harness.start();
    EXPECT_EQ(harness.manager.deviceCount(), 0u);
}

TEST(ManagerUpdate, AlternativeNameFiltersSkipSilently) {
    ManagerHarness harness;
    FakeCollection& collection = harness.library.collection();
    collection.addRecorder({"one", 0, std::nullopt});
    collection.addRecorder({"two", 0, "SPARE"});
    collection.addRecorder({"three", 0, "main"});
    harness.environment.set("TAVUSRV_DEVICE_ALT_NAME_BLACKLIST", "spare");

    EXPECT_EQ(harness.start(),
              "Updating device list.\n"
              "Found device: three\n"
              "Done updating device list.\n");
    ASSERT_EQ(harness.manager.deviceCount(), 1u);
    EXPECT_EQ(harness.device(0).index, 2u);
}

}  // namespace
}  // namespace tavu::test
