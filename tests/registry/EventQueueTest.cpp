#include "Blocked.h"
#include "registry/EventQueue.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <condition_variable>
#include <mutex>
#include <new>
#include <vector>
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

// A reader whose peer is a byte counter: what the poster sends for it lands in `received`.
class FakeReader final : public EventHandOff {
public:
    FakeReader(uint64_t takesAtOnce, bool encodeFails, bool peerSpoke)
        : takesAtOnce_(takesAtOnce), encodeFails_(encodeFails), peerSpoke_(peerSpoke) {
        unsent.reserve(64);
    }

    std::vector<uint8_t> encode(const DeviceEvent& event) const override {
        if (encodeFails_) {
            throw std::bad_alloc();
        }
        return std::vector<uint8_t>(10, static_cast<uint8_t>(event.type));
    }
    uint64_t sendNow(std::span<const uint8_t> bytes) noexcept override {
        const uint64_t sent = std::min<uint64_t>(takesAtOnce_, bytes.size());
        received.insert(received.end(), bytes.begin(), bytes.begin() + static_cast<std::ptrdiff_t>(sent));
        return sent;
    }
    // A peer that spoke already returns at once; a quiet one sleeps through the deadline, as a
    // client waiting for its reply does, unless the test lets it go.
    void awaitPeer(steady_clock::time_point deadline) noexcept override {
        std::unique_lock lock(mutex_);
        spoke_.wait_until(lock, deadline, [this] { return peerSpoke_; });
    }
    void speak() {
        std::lock_guard lock(mutex_);
        peerSpoke_ = true;
        spoke_.notify_all();
    }

    std::vector<uint8_t> received;

private:
    uint64_t takesAtOnce_;
    bool encodeFails_;
    std::mutex mutex_;
    std::condition_variable spoke_;
    bool peerSpoke_;
};

TEST(EventQueue, APosterAnswersABlockedReaderOrLeavesTheEventQueued) {
    struct Case {
        const char* name;
        uint64_t takesAtOnce;
        bool encodeFails;
        bool peerSpoke;     // the reader sleeps on the queue, not on its peer
        bool queuedBefore;  // an event waits already when the reader comes
        bool taken;
        size_t received;
    };
    const Case cases[] = {
        {"whole reply sent for a reader sleeping on its peer", 100, false, false, false, true, 10},
        {"a peer that takes part leaves the rest to the reader", 4, false, false, false, true, 4},
        {"a peer that takes nothing leaves it all", 0, false, false, false, true, 0},
        {"a reply that can't be made: the reader takes the event", 100, true, false, false, false, 0},
        {"a reader whose peer spoke first is answered too", 100, false, true, false, true, 10},
        {"an event waiting already is popped, not sent", 100, false, false, true, false, 0},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        EventQueue queue;
        FakeReader reader(c.takesAtOnce, c.encodeFails, c.peerSpoke);
        const DeviceEvent sent{DeviceEvent::FilesChanged, 2, 0};
        if (c.queuedBefore) {
            queue.push(sent);
        }
        std::promise<pid_t> readerId;
        auto popped = std::async(std::launch::async, [&] {
            readerId.set_value(gettid());
            return queue.pop(&reader);
        });
        const pid_t readerThread = readerId.get_future().get();
        const auto posted = steady_clock::now();
        if (!c.queuedBefore) {
            ASSERT_TRUE(waitUntilBlocked(readerThread));
            queue.push(sent);
        }
        // Its next request wakes a reader that was answered while it slept on its peer.
        reader.speak();

        EXPECT_EQ(popped.get(), sent);
        EXPECT_LT(steady_clock::now() - posted, milliseconds(400));
        EXPECT_EQ(reader.taken, c.taken);
        EXPECT_EQ(reader.received.size(), c.received);
        EXPECT_EQ(reader.unsent.size(), c.taken ? 10 - c.received : 0);
        EXPECT_TRUE(queue.isEmpty());
    }
}

}  // namespace
}  // namespace tavu::test
