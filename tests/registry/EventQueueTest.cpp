#include "Blocked.h"
#include "registry/EventQueue.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <chrono>
#include <future>
#include <thread>

namespace tavu::test {
namespace {

using std::chrono::milliseconds;
using std::chrono::steady_clock;

TEST(EventQueue, TimedReadOnAnEmptyQueueGivesNoEventAfterTheTimeout) {
    EventQueue queue;
    const auto begin = steady_clock::now();
    const DeviceEvent event = queue.pop();
    const auto waited = steady_clock::now() - begin;

    EXPECT_EQ(event, (DeviceEvent{DeviceEvent::NoEvent, 0, 0}));
    EXPECT_GE(waited, milliseconds(490));
    EXPECT_LT(waited, milliseconds(3000));
    EXPECT_TRUE(queue.isEmpty());
}

TEST(EventQueue, KeepsOrderAndTryPopLeavesTheEventAloneWhenEmpty) {
    EventQueue queue;
    queue.push({DeviceEvent::FilesChanged, 1, 0});
    queue.push({DeviceEvent::PairingChanged, 2, 3});

    EXPECT_EQ(queue.pop(), (DeviceEvent{DeviceEvent::FilesChanged, 1, 0}));
    EXPECT_EQ(queue.tryPop(), (DeviceEvent{DeviceEvent::PairingChanged, 2, 3}));
    EXPECT_EQ(queue.tryPop(), std::nullopt);

    queue.push({DeviceEvent::RecordingStopped, 1, 0});
    queue.clear();
    EXPECT_TRUE(queue.isEmpty());
}

TEST(EventQueue, PushWakesABlockedReaderAtOnce) {
    EventQueue queue;
    std::promise<pid_t> readerId;
    auto reader = std::async(std::launch::async, [&] {
        readerId.set_value(gettid());
        const DeviceEvent event = queue.pop();
        return std::make_pair(event, steady_clock::now());
    });
    ASSERT_TRUE(waitUntilBlocked(readerId.get_future().get()));

    const auto pushed = steady_clock::now();
    queue.push({DeviceEvent::RecordingStopped, 4, 0});
    const auto [event, returned] = reader.get();

    EXPECT_EQ(event, (DeviceEvent{DeviceEvent::RecordingStopped, 4, 0}));
    EXPECT_LT(returned - pushed, milliseconds(400));
}

}  // namespace
}  // namespace tavu::test
