#include <string>

#include "ProtocolFixture.h"

namespace tavu::test {
namespace {

using testing::_;
using testing::DoAll;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::Return;
using testing::SetArgReferee;

constexpr uint32_t PairPort = 34;
constexpr uint32_t PairedTo = 35;
constexpr uint32_t RepairPort = 36;
constexpr uint32_t UnpairPort = 37;
constexpr uint32_t PortIdentity = 38;
constexpr uint32_t FramesPerPacket = 39;
constexpr uint32_t GetPortConfig = 40;
constexpr uint32_t SetPortConfig = 41;

using PairingCommandsTest = ProtocolTest;

ObjectValue onPort(uint32_t port) { return makeMap({{"deviceId", u(1)}, {"port", u(port)}}); }

ObjectValue pairing(ObjectValue identity, ObjectValue info, uint64_t numFramesPerPacket) {
    return makeMap({{"deviceId", u(1)},
                    {"port", u(2)},
                    {"identity", std::move(identity)},
                    {"info", std::move(info)},
                    {"numFramesPerPacket", u(numFramesPerPacket)}});
}

// The identity stops at its first NUL; the info block goes through whole, and 65536 frames
// per packet are cut to 0.
auto expectPairing(uint16_t numFramesPerPacket) {
    return [numFramesPerPacket](uint8_t, const std::string& identity, const uint8_t* info, uint32_t size,
                                uint16_t framesPerPacket) {
        EXPECT_EQ(identity, "cam");
        EXPECT_EQ(std::string(reinterpret_cast<const char*>(info), size), std::string("\0info", 5));
        EXPECT_EQ(framesPerPacket, numFramesPerPacket);
    };
}

TEST_F(PairingCommandsTest, PairAndUnpairPostToEveryQueueRepairDoesNot) {
    openQueue(first());
    openQueue(second());
    EXPECT_CALL(device(1), pairPort(2, _, _, 5, _)).WillOnce(expectPairing(0));
    EXPECT_CALL(device(1), repairPort(2, _, _, 5, _)).WillOnce(expectPairing(7));
    EXPECT_CALL(device(1), unpairPort(2));
    const ObjectValue info = blob({"\0info", 5});
    expectReply(call(PairPort, pairing(ObjectValue::string("cam\0extra", 9), info, 65536)), resultMap({}));
    expectReply(call(RepairPort, pairing(str("cam"), info, 7)), resultMap({}));
    expectReply(call(UnpairPort, onPort(258)), resultMap({}));
    const DeviceEvent changed{DeviceEvent::PairingChanged, 1, 2};
    EXPECT_THAT(takeEvents(first()), ElementsAre(changed, changed));
    EXPECT_THAT(takeEvents(second()), ElementsAre(changed, changed));
}

TEST_F(PairingCommandsTest, IdentityIsTextAndInfoIsABlob) {
    openQueue(first());
    for (const uint32_t ordinal : {PairPort, RepairPort}) {
        EXPECT_EQ(call(ordinal, pairing(blob("cam"), blob("i"), 1)).error(),
                  "Object type is not string, but string expected.");
        EXPECT_EQ(call(ordinal, pairing(str("cam"), str("i"), 1)).error(),
                  "Object type is not blob, but blob expected.");
    }
    EXPECT_THAT(takeEvents(first()), IsEmpty());
}

TEST_F(PairingCommandsTest, PortEnquiries) {
    EXPECT_CALL(device(1), pairedTo(2)).WillOnce(Return(""));
    EXPECT_CALL(device(1), portIdentity(2, _)).WillOnce(SetArgReferee<1>(std::vector<uint8_t>{'i', 'd'}));
    EXPECT_CALL(device(1), framesPerPacket(2)).WillOnce(Return(65535));
    EXPECT_CALL(device(1), getPortConfig(2, _, _, _, _))
        .WillOnce(
            DoAll(SetArgReferee<1>(640), SetArgReferee<2>(480), SetArgReferee<3>(0x01100025), SetArgReferee<4>(1)));
    expectReply(call(PairedTo, onPort(2)), resultMap({{"pairedTo", str("")}}));
    expectReply(call(PortIdentity, onPort(2)), resultMap({{"data", blob("id")}}));
    expectReply(call(FramesPerPacket, onPort(2)), resultMap({{"numFramesPerPacket", u(65535)}}));
    expectReply(
        call(GetPortConfig, onPort(2)),
        resultMap({{"width", u(640)}, {"height", u(480)}, {"pixelFormat", u(0x01100025)}, {"tapGeometry", u(1)}}));
}

TEST_F(PairingCommandsTest, SetPortConfigCutsToWidthAndPostsNothing) {
    openQueue(first());
    EXPECT_CALL(device(1), setPortConfig(2, 1, 480, 0x01100025, 3));
    expectReply(call(SetPortConfig, makeMap({{"deviceId", u(1)},
                                             {"port", u(2)},
                                             {"width", u(65537)},
                                             {"height", u(480)},
                                             {"pixelFormat", u(0x101100025)},
                                             {"tapGeometry", u(3)}})),
                resultMap({}));
    EXPECT_THAT(takeEvents(first()), IsEmpty());
}

}  // namespace
}  // namespace tavu::test
