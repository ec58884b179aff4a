#include "ProtocolFixture.h"

namespace tavu::test {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

constexpr uint32_t CreateEventQueue = 0;
constexpr uint32_t DestroyEventQueue = 1;
constexpr uint32_t ReadEvent = 2;
constexpr uint32_t TryReadEvent = 3;
constexpr uint32_t NotifyFilesChanged = 50;

const char* const NotOwner = "A connection can only read from an event queue that it created.";

using QueueCommandsTest = ProtocolTest;

ObjectValue queueParam(uint64_t queueId) { return makeMap({{"queueId", u(queueId)}}); }

ObjectValue eventMap(uint32_t type, uint32_t device, uint32_t port) {
    return makeMap({{"type", u(type)}, {"device", u(device)}, {"port", u(port)}});
}

TEST_F(QueueCommandsTest, SecondQueueIsRefusedAndFirstStaysUsable) {
    const uint32_t queueId = openQueue(first());
    EXPECT_EQ(call(first(), CreateEventQueue, std::nullopt).error(), "A connection can only have one event queue.");
    EXPECT_EQ(first().eventQueueId, queueId);
    expectReply(call(TryReadEvent, queueParam(queueId)), resultMap({{"ok", boolean(false)}}));
}

TEST_F(QueueCommandsTest, ReadsOnlyItsOwnQueue) {
    const uint32_t othersQueue = openQueue(second());
    for (const uint32_t ordinal : {ReadEvent, TryReadEvent}) {
        EXPECT_EQ(call(first(), ordinal, queueParam(othersQueue)).error(), NotOwner) << ordinal;
        openQueue(first());
        EXPECT_EQ(call(first(), ordinal, queueParam(othersQueue)).error(), NotOwner) << ordinal;
        call(first(), DestroyEventQueue, queueParam(first().eventQueueId));
    }
}

// NoEventQueue passes the ownership test of a connection without a queue; the manager refuses it.
TEST_F(QueueCommandsTest, NoQueueIdReachesManager) {
    EXPECT_EQ(call(TryReadEvent, queueParam(NoEventQueue)).error(), "Inalid event queue id.");
    EXPECT_EQ(call(DestroyEventQueue, queueParam(NoEventQueue)).error(), "Inalid event queue id.");
}

TEST_F(QueueCommandsTest, EventRepliesCarryTheEventAsMapOfThree) {
    const uint32_t queueId = openQueue(first());
    call(NotifyFilesChanged, makeMap({{"deviceId", u(7)}}));
    call(NotifyFilesChanged, makeMap({{"deviceId", u(8)}}));
    expectReply(call(TryReadEvent, queueParam(queueId)),
                resultMap({{"ok", boolean(true)}, {"event", eventMap(DeviceEvent::FilesChanged, 7, 0)}}));
    expectReply(call(ReadEvent, queueParam(queueId)),
                resultMap({{"event", eventMap(DeviceEvent::FilesChanged, 8, 0)}}));
}

TEST_F(QueueCommandsTest, DestroyingAnothersQueueResetsItsOwner) {
    const uint32_t queueId = openQueue(second());
    expectReply(call(first(), DestroyEventQueue, queueParam(queueId)), resultMap({}));
    EXPECT_EQ(second().eventQueueId, NoEventQueue);
    EXPECT_EQ(call(second(), ReadEvent, queueParam(queueId)).error(), NotOwner);
    EXPECT_EQ(call(first(), DestroyEventQueue, queueParam(queueId)).error(), "Inalid event queue id.");
    openQueue(second());
    EXPECT_NE(second().eventQueueId, NoEventQueue);
}

// The number is passed on without a lookup, to every queue, the caller's included.
TEST_F(QueueCommandsTest, NotifyFilesChangedNeedsNoDevice) {
    openQueue(first());
    openQueue(second());
    expectReply(call(NotifyFilesChanged, makeMap({{"deviceId", u((1ull << 32) + 99)}})), resultMap({}));
    EXPECT_THAT(takeEvents(first()), ElementsAre(DeviceEvent{DeviceEvent::FilesChanged, 99, 0}));
    EXPECT_THAT(takeEvents(second()), ElementsAre(DeviceEvent{DeviceEvent::FilesChanged, 99, 0}));
}

TEST_F(QueueCommandsTest, ParameterFaultsAreReplies) {
    const struct {
        std::optional<ObjectValue> params;
        const char* error;
    } cases[] = {
        {std::nullopt, "Key not found in map."},
        {makeMap({}), "Key not found in map."},
        {u(1), "Object is not a map."},
        {makeMap({{"queueId", str("0")}}), "Object type is not positive integer, but positive integer expected."},
    };
    openQueue(first());
    for (const auto& fault : cases) {
        for (const uint32_t ordinal : {DestroyEventQueue, ReadEvent, TryReadEvent}) {
            EXPECT_EQ(call(first(), ordinal, fault.params).error(), fault.error) << ordinal;
        }
    }
    EXPECT_NE(first().eventQueueId, NoEventQueue);
    EXPECT_THAT(takeEvents(first()), IsEmpty());
}

}  // namespace
}  // namespace tavu::test
