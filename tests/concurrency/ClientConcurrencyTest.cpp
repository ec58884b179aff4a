#include <gtest/gtest.h>
#include <poll.h>

#include <barrier>
#include <chrono>
#include <thread>

#include "support/ServiceProcess.h"
#include "support/TestClient.h"

namespace tavu::test {
namespace {

constexpr uint64_t CreateEventQueue = 0;
constexpr uint64_t DestroyEventQueue = 1;
constexpr uint64_t ReadEvent = 2;
constexpr uint64_t TryReadEvent = 3;
constexpr uint64_t NotifyFilesChanged = 50;
constexpr uint64_t LockGlobal = 55;
constexpr uint64_t UnlockGlobal = 56;

constexpr uint64_t QueueClosed = 0;
constexpr uint64_t FilesChanged = 4;
constexpr uint64_t NoEvent = 6;

ObjectValue queueParams(uint64_t queueId) { return makeMap({{"queueId", u(queueId)}}); }

bool hasReplyWaiting(TestClient& client) {
    pollfd wait{client.nativeHandle(), POLLIN, 0};
    return poll(&wait, 1, 0) == 1;
}

class ClientConcurrencyTest : public ::testing::Test {
protected:
    void SetUp() override {
        service = std::make_unique<ServiceProcess>(home);
        ASSERT_TRUE(service->waitForSocket());
    }
    std::unique_ptr<TestClient> client() {
        auto connected = std::make_unique<TestClient>(home.socketPath());
        connected->handshake();
        return connected;
    }
    uint64_t createQueue(TestClient& owner) {
        return resultOf(owner.exec(CreateEventQueue)).mapAt("queueId").asPositive();
    }

    TestHome home;
    std::unique_ptr<ServiceProcess> service;
};

TEST_F(ClientConcurrencyTest, BlockedReadTimesOutThenIsReleasedByAnotherConnection) {
    auto owner = client();
    auto other = client();
    const uint64_t queueId = createQueue(*owner);

    const auto before = std::chrono::steady_clock::now();
    const ObjectValue idle = resultOf(owner->exec(ReadEvent, queueParams(queueId))).mapAt("event");
    const auto waited = std::chrono::steady_clock::now() - before;
    EXPECT_EQ(idle.mapAt("type").asPositive(), NoEvent);
    EXPECT_GE(waited, std::chrono::milliseconds(450));
    EXPECT_LT(waited, std::chrono::seconds(3));

    owner->send(makeMap({{"act", str("exec")}, {"ord", u(ReadEvent)}, {"params", queueParams(queueId)}}));
    ASSERT_TRUE(service->waitUntilIdle());
    EXPECT_EQ(other->exec(DestroyEventQueue, queueParams(queueId)).type(), ObjectType::Map);
    const ObjectValue closed = resultOf(owner->receive()).mapAt("event");
    EXPECT_EQ(closed.mapAt("type").asPositive(), QueueClosed);
    // The owner's id was reset, so the old id is no longer its own, and it may make a new queue.
    EXPECT_EQ(errorOf(owner->exec(ReadEvent, queueParams(queueId))),
              "A connection can only read from an event queue that it created.");
    createQueue(*owner);
}

TEST_F(ClientConcurrencyTest, GlobalLockPassesToTheWaiterWhenTheHolderDies) {
    auto holder = client();
    auto waiter = client();
    EXPECT_EQ(errorOf(holder->exec(LockGlobal)), "");
    waiter->send(makeMap({{"act", str("exec")}, {"ord", u(LockGlobal)}}));
    ASSERT_TRUE(service->waitUntilIdle());
    EXPECT_FALSE(hasReplyWaiting(*waiter));
    // Other commands of other clients go on while the lock is held.
    auto bystander = client();
    EXPECT_EQ(errorOf(bystander->exec(NotifyFilesChanged, makeMap({{"deviceId", u(0)}}))), "");

    holder.reset();
    EXPECT_EQ(errorOf(waiter->receive()), "");
    EXPECT_EQ(errorOf(waiter->exec(UnlockGlobal)), "");
}

TEST_F(ClientConcurrencyTest, EveryClientSeesEveryBroadcast) {
    constexpr int Clients = 12;
    std::barrier queuesReady(Clients);
    std::vector<std::thread> threads;
    std::vector<int> received(Clients, 0);
    for (int i = 0; i < Clients; ++i) {
        threads.emplace_back([&, i] {
            auto me = client();
            const uint64_t queueId = createQueue(*me);
            queuesReady.arrive_and_wait();
            EXPECT_EQ(errorOf(me->exec(NotifyFilesChanged, makeMap({{"deviceId", u(100 + i)}}))), "");
            while (received[i] < Clients) {
                const ObjectValue event = resultOf(me->exec(ReadEvent, queueParams(queueId))).mapAt("event");
                const uint64_t type = event.mapAt("type").asPositive();
                if (type == NoEvent) {
                    break;  // half a second without news: something was lost
                }
                EXPECT_EQ(type, FilesChanged);
                ++received[i];
            }
            EXPECT_FALSE(resultOf(me->exec(TryReadEvent, queueParams(queueId))).mapAt("ok").asBool());
        });
    }
    for (auto& thread : threads) {
        thread.join();
    }
    for (int i = 0; i < Clients; ++i) {
        EXPECT_EQ(received[i], Clients) << "client " << i;
    }
    EXPECT_EQ(service->waitForExit(), 0);
}

TEST_F(ClientConcurrencyTest, ClientsComingAndGoingWhileOthersWork) {
    auto steady = client();
    const uint64_t queueId = createQueue(*steady);
    std::vector<std::thread> churn;
    for (int t = 0; t < 4; ++t) {
        churn.emplace_back([&] {
            for (int i = 0; i < 20; ++i) {
                auto transient = client();
                createQueue(*transient);
                transient->exec(LockGlobal);
                // Gone while holding the queue and the lock: both must be given back.
            }
        });
    }
    for (auto& thread : churn) {
        thread.join();
    }
    EXPECT_EQ(errorOf(steady->exec(LockGlobal)), "");
    EXPECT_EQ(errorOf(steady->exec(UnlockGlobal)), "");
    // Queues freed silently by departing clients are reused, lowest id first.
    auto late = client();
    EXPECT_EQ(createQueue(*late), queueId == 0 ? 1u : 0u);
}

}  // namespace
}  // namespace tavu::test
