#include <stdexcept>

#include "ProtocolFixture.h"

namespace tavu::test {
namespace {

using testing::_;
using testing::DoAll;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::Return;
using testing::SetArgReferee;
using testing::Throw;

constexpr uint32_t StartRecording = 42;
constexpr uint32_t StopRecording = 43;
constexpr uint32_t RecordingFile = 46;
constexpr uint32_t RecordingProgress = 47;
constexpr uint32_t StartLive = 52;
constexpr uint32_t StopLive = 53;
constexpr uint32_t LiveFrame = 54;

const char* const NotStartedHere = "Live not started by this connection.";

using RecordingCommandsTest = ProtocolTest;
using LiveCommandsTest = ProtocolTest;

ObjectValue recording(uint64_t portMask) {
    return makeMap({{"deviceId", u(1)},
                    {"portMask", u(portMask)},
                    {"externalTrigger", u(0x102)},
                    {"type", u(1)},
                    {"count", u(1ull << 40)},
                    {"usePretrigger", boolean(true)},
                    {"pretriggerCount", u(50)}});
}

ObjectValue onPort(uint32_t deviceId, uint32_t port) { return makeMap({{"deviceId", u(deviceId)}, {"port", u(port)}}); }

// The event's port field carries the whole mask.
TEST_F(RecordingCommandsTest, StartAndStopPostToEveryQueue) {
    openQueue(first());
    openQueue(second());
    EXPECT_CALL(device(1), startRecording(5, 2, 1, 1ull << 40, true, 50));
    EXPECT_CALL(device(1), stopRecording());
    expectReply(call(StartRecording, recording(5)), resultMap({}));
    expectReply(call(second(), StopRecording, makeMap({{"deviceId", u(1)}})), resultMap({}));
    const DeviceEvent started{DeviceEvent::RecordingStarted, 1, 5};
    const DeviceEvent stopped{DeviceEvent::RecordingStopped, 1, 0};
    EXPECT_THAT(takeEvents(first()), ElementsAre(started, stopped));
    EXPECT_THAT(takeEvents(second()), ElementsAre(started, stopped));
}

TEST_F(RecordingCommandsTest, FailedStartPostsNothing) {
    openQueue(first());
    EXPECT_CALL(device(1), startRecording(_, _, _, _, _, _)).WillOnce(Throw(std::runtime_error("No drive set.")));
    EXPECT_EQ(call(StartRecording, recording(5)).error(), "No drive set.");
    EXPECT_THAT(takeEvents(first()), IsEmpty());
}

TEST_F(RecordingCommandsTest, EveryStartParameterIsRequired) {
    for (const char* key : {"portMask", "externalTrigger", "type", "count", "usePretrigger", "pretriggerCount"}) {
        ObjectValue params = ObjectValue::map(6);
        const ObjectValue full = recording(1);
        for (uint32_t index = 0; index < full.size(); ++index) {
            if (std::string(full.mapKeyAt(index)) != key) {
                params.mapAppend(full.mapKeyAt(index), ObjectValue(full.mapValueAt(index)));
            }
        }
        EXPECT_EQ(call(StartRecording, std::move(params)).error(), "Key not found in map.") << key;
    }
}

TEST_F(RecordingCommandsTest, PortCommandsNeedThePort) {
    EXPECT_CALL(device(0), recordingFile(3, _, _)).WillOnce(DoAll(SetArgReferee<1>(70000), SetArgReferee<2>(2)));
    EXPECT_CALL(device(0), recordingProgress(3, _, _))
        .WillOnce(DoAll(SetArgReferee<1>(1ull << 33), SetArgReferee<2>(true)));
    expectReply(call(RecordingFile, onPort(0, 259)), resultMap({{"fileId", u(70000)}, {"streamId", u(2)}}));
    expectReply(call(RecordingProgress, onPort(0, 3)),
                resultMap({{"numFrames", u(1ull << 33)}, {"inPretrigger", boolean(true)}}));
    EXPECT_EQ(call(RecordingProgress, makeMap({{"deviceId", u(0)}})).error(), "Key not found in map.");
}

TEST_F(LiveCommandsTest, StartRecordsTheViewOnlyWhenTheDeviceSucceeds) {
    EXPECT_CALL(device(1), startLive(2))
        .WillOnce(Throw(std::runtime_error("Live alrady started")))
        .WillOnce(Return("orek_tavuFF"));
    EXPECT_EQ(call(StartLive, onPort(1, 2)).error(), "Live alrady started");
    EXPECT_THAT(first().livePorts, IsEmpty());
    expectReply(call(StartLive, onPort(1, 258)), resultMap({{"mapping", str("orek_tavuFF")}}));
    EXPECT_THAT(first().livePorts, ElementsAre(LivePortRef{2, 1}));
}

// Another connection may take frames, but may not stop the view.
TEST_F(LiveCommandsTest, OnlyTheStartingConnectionStops) {
    EXPECT_CALL(device(1), startLive(2)).WillOnce(Return("orek_tavu1"));
    call(StartLive, onPort(1, 2));
    EXPECT_EQ(call(second(), StopLive, onPort(1, 2)).error(), NotStartedHere);
    EXPECT_EQ(call(first(), StopLive, onPort(0, 2)).error(), NotStartedHere);
    EXPECT_EQ(call(first(), StopLive, onPort(1, 3)).error(), NotStartedHere);
    EXPECT_THAT(first().livePorts, ElementsAre(LivePortRef{2, 1}));
    EXPECT_CALL(device(1), liveFrame(2, _, _, _))
        .WillOnce(DoAll(SetArgReferee<1>(320), SetArgReferee<2>(240), SetArgReferee<3>(153600)));
    expectReply(call(second(), LiveFrame, onPort(1, 2)),
                resultMap({{"width", u(320)}, {"height", u(240)}, {"imageSize", u(153600)}}));
}

TEST_F(LiveCommandsTest, StopRemovesEveryEqualEntryAfterTheDevice) {
    EXPECT_CALL(device(1), startLive(_)).WillRepeatedly(Return("orek_tavu1"));
    call(StartLive, onPort(1, 2));
    call(StartLive, onPort(1, 4));
    call(StartLive, onPort(1, 2));
    EXPECT_CALL(device(1), stopLive(2)).WillOnce(Throw(std::runtime_error("Invalid port"))).WillOnce(Return());
    EXPECT_EQ(call(StopLive, onPort(1, 2)).error(), "Invalid port");
    EXPECT_THAT(first().livePorts, ElementsAre(LivePortRef{2, 1}, LivePortRef{4, 1}, LivePortRef{2, 1}));
    expectReply(call(StopLive, onPort(1, 2)), resultMap({}));
    EXPECT_THAT(first().livePorts, ElementsAre(LivePortRef{4, 1}));
}

}  // namespace
}  // namespace tavu::test
