#include "Blocked.h"
#include "registry/DeviceManager.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <chrono>
#include <future>
#include <stdexcept>
#include <system_error>

namespace tavu::test {
namespace {

using testing::ThrowsMessage;

const DeviceEvent Closed{DeviceEvent::QueueClosed, 0, 0};

TEST(QueueSlots, LowestFreeAndEmptySlotIsReused) {
    DeviceManager manager;
    EXPECT_EQ(manager.createQueue(), 0u);
    EXPECT_EQ(manager.createQueue(), 1u);
    EXPECT_EQ(manager.createQueue(), 2u);

    // A connection that ends while its queue holds events leaves an empty, reusable slot.
    manager.broadcast({DeviceEvent::FilesChanged, 0, 0});
    manager.destroyQueue(2, true);
    manager.destroyQueue(1, true);
    EXPECT_EQ(manager.createQueue(), 1u);
    EXPECT_EQ(manager.createQueue(), 2u);

    EXPECT_EQ(manager.tryReadEvent(2), std::nullopt);
}

TEST(QueueSlots, ClosingWithNoReaderLosesTheSlot) {
    DeviceManager manager;
    ASSERT_EQ(manager.createQueue(), 0u);
    manager.destroyQueue(0, false);

    // The slot keeps its QueueClosed, so it is passed over; reads of it are refused all the same.
    EXPECT_EQ(manager.createQueue(), 1u);
    EXPECT_THAT([&] { manager.readEvent(0); },
                ThrowsMessage<std::runtime_error>("Inalid event queue id."));
    EXPECT_THAT([&] { manager.tryReadEvent(0); },
                ThrowsMessage<std::runtime_error>("Inalid event queue id."));
    EXPECT_THAT([&] { manager.destroyQueue(0, false); },
                ThrowsMessage<std::runtime_error>("Inalid event queue id."));
    EXPECT_THAT([&] { manager.destroyQueue(7, true); },
                ThrowsMessage<std::runtime_error>("Inalid event queue id."));
}

TEST(QueueSlots, ClosingWakesABlockedReaderWithQueueClosed) {
    DeviceManager manager;
    const uint32_t queueId = manager.createQueue();
    std::promise<pid_t> readerId;
    auto reader = std::async(std::launch::async, [&] {
        readerId.set_value(gettid());
        const DeviceEvent event = manager.readEvent(queueId);
        return std::make_pair(event, std::chrono::steady_clock::now());
    });
    ASSERT_TRUE(waitUntilBlocked(readerId.get_future().get()));

    const auto closed = std::chrono::steady_clock::now();
    manager.destroyQueue(queueId, false);
    const auto [event, returned] = reader.get();

    EXPECT_EQ(event, Closed);
    EXPECT_LT(returned - closed, std::chrono::milliseconds(400));
    // The reader took the QueueClosed, so the slot is free and empty again.
    EXPECT_EQ(manager.createQueue(), queueId);
}

TEST(QueueSlots, BroadcastReachesEveryQueueInUseInOrder) {
    DeviceManager manager;
    const uint32_t first = manager.createQueue();
    const uint32_t closed = manager.createQueue();
    const uint32_t second = manager.createQueue();
    manager.destroyQueue(closed, true);

    manager.notifyFilesChanged(42);
    manager.broadcast({DeviceEvent::RecordingStopped, 1, 0});

    for (uint32_t id : {first, second}) {
        EXPECT_EQ(manager.tryReadEvent(id), (DeviceEvent{DeviceEvent::FilesChanged, 42, 0}));
        EXPECT_EQ(manager.readEvent(id), (DeviceEvent{DeviceEvent::RecordingStopped, 1, 0}));
        EXPECT_EQ(manager.tryReadEvent(id), std::nullopt);
    }
    EXPECT_EQ(manager.createQueue(), closed);
    EXPECT_EQ(manager.tryReadEvent(closed), std::nullopt);
}

TEST(GlobalLock, WaiterGetsTheLockWhenTheHolderLetsGo) {
    DeviceManager manager;
    manager.lockGlobal();
    std::promise<pid_t> waiterId;
    auto waiter = std::async(std::launch::async, [&] {
        waiterId.set_value(gettid());
        manager.lockGlobal();
        manager.unlockGlobal();
    });
    ASSERT_TRUE(waitUntilBlocked(waiterId.get_future().get()));
    EXPECT_EQ(waiter.wait_for(std::chrono::seconds(0)), std::future_status::timeout);

    manager.unlockGlobal();
    EXPECT_EQ(waiter.wait_for(std::chrono::seconds(10)), std::future_status::ready);
}

TEST(GlobalLock, MisuseIsAnErrorNotAHang) {
    DeviceManager manager;
    EXPECT_THROW(manager.unlockGlobal(), std::system_error);
    manager.lockGlobal();
    EXPECT_THROW(manager.lockGlobal(), std::system_error);
    // Only the holder may release it.
    auto other = std::async(std::launch::async, [&] { manager.unlockGlobal(); });
    EXPECT_THROW(other.get(), std::system_error);
    manager.unlockGlobal();
}

}  // namespace
}  // namespace tavu::test
