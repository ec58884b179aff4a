#include <functional>

#include "ProtocolFixture.h"

namespace tavu::test {
namespace {

using testing::Return;

constexpr uint32_t DeviceCount = 4;
constexpr uint32_t DeviceName = 5;
constexpr uint32_t PortName = 25;
constexpr uint32_t LockGlobal = 55;
constexpr uint32_t UnlockGlobal = 56;

using DeviceCommandsTest = ProtocolTest;

class NoDeviceTest : public ProtocolTest {
protected:
    NoDeviceTest() : ProtocolTest(0) {}
};

ObjectValue onDevice(uint64_t deviceId) { return makeMap({{"deviceId", u(deviceId)}}); }

TEST_F(NoDeviceTest, CountIsZeroAndLookupsFail) {
    expectReply(call(first(), DeviceCount, std::nullopt), resultMap({{"count", u(0)}}));
    EXPECT_EQ(call(DeviceName, onDevice(0)).error(), "Invalid device index.");
}

// Only the low 32 bits of "deviceId" count.
TEST_F(DeviceCommandsTest, DeviceIdIsCutTo32Bits) {
    EXPECT_CALL(device(0), name()).WillOnce(Return("zero"));
    EXPECT_CALL(device(1), name()).WillOnce(Return("one"));
    expectReply(call(DeviceName, onDevice(1ull << 32)), resultMap({{"name", str("zero")}}));
    expectReply(call(DeviceName, onDevice((1ull << 32) + 1)), resultMap({{"name", str("one")}}));
    EXPECT_EQ(call(DeviceName, onDevice(2)).error(), "Invalid device index.");
}

// Commands that take only "deviceId" and answer with one value of the device.
TEST_F(DeviceCommandsTest, EnquiriesAnswerWithTheDevicesValue) {
    auto& mock = device(1);
    const struct {
        uint32_t ordinal;
        std::function<void()> expect;
        ObjectValue reply;
    } cases[] = {
        {6, [&] { EXPECT_CALL(mock, isConnected()).WillOnce(Return(true)); },
         resultMap({{"connected", boolean(true)}})},
        {23, [&] { EXPECT_CALL(mock, isCxp()).WillOnce(Return(false)); }, resultMap({{"isCxp", boolean(false)}})},
        {24, [&] { EXPECT_CALL(mock, portCount()).WillOnce(Return(4)); }, resultMap({{"count", u(4)}})},
        {51, [&] { EXPECT_CALL(mock, percentUsed()).WillOnce(Return(200)); }, resultMap({{"percent", u(200)}})},
        {57, [&] { EXPECT_CALL(mock, hardwareType()).WillOnce(Return(3)); }, resultMap({{"hardwareType", u(3)}})},
        {7, [&] { EXPECT_CALL(mock, hasIncompleteFile()).WillOnce(Return(true)); },
         resultMap({{"hasIncompleteFile", boolean(true)}})},
        {11, [&] { EXPECT_CALL(mock, recoveryStatus()).WillOnce(Return(RecoveryStatus{70000})); }, resultMap({{"status", u(70000)}})},
        {12, [&] { EXPECT_CALL(mock, recoveryError()).WillOnce(Return("bad drive")); },
         resultMap({{"error", str("bad drive")}})},
        {45, [&] { EXPECT_CALL(mock, isRecordingDone()).WillOnce(Return(false)); },
         resultMap({{"done", boolean(false)}})},
        {8, [&] { EXPECT_CALL(mock, discardIncompleteFile()); }, resultMap({})},
        {9, [&] { EXPECT_CALL(mock, startRecovery()); }, resultMap({})},
        {10, [&] { EXPECT_CALL(mock, cancelRecovery()); }, resultMap({})},
        {13, [&] { EXPECT_CALL(mock, finishRecovery()); }, resultMap({})},
        {33, [&] { EXPECT_CALL(mock, setup()); }, resultMap({})},
        {44, [&] { EXPECT_CALL(mock, softwareTrigger()); }, resultMap({})},
    };
    for (const auto& command : cases) {
        SCOPED_TRACE(command.ordinal);
        command.expect();
        expectReply(call(command.ordinal, onDevice(1)), command.reply);
        EXPECT_EQ(call(command.ordinal, onDevice(2)).error(), "Invalid device index.");
        EXPECT_EQ(call(command.ordinal, makeMap({})).error(), "Key not found in map.");
        testing::Mock::VerifyAndClearExpectations(&mock);
    }
}

TEST_F(DeviceCommandsTest, PortIsCutTo8BitsAfterTheDevice) {
    EXPECT_CALL(device(1), portName(0)).WillOnce(Return("A"));
    expectReply(call(PortName, makeMap({{"deviceId", u(1)}, {"port", u(256)}})), resultMap({{"name", str("A")}}));
    // "deviceId" is read first, so its fault decides.
    EXPECT_EQ(call(PortName, makeMap({{"port", str("x")}})).error(), "Key not found in map.");
    EXPECT_EQ(call(PortName, makeMap({{"deviceId", u(1)}})).error(), "Key not found in map.");
}

TEST_F(DeviceCommandsTest, GlobalLockIsRecordedOnTheConnection) {
    expectReply(call(first(), LockGlobal, std::nullopt), resultMap({}));
    EXPECT_TRUE(first().holdsGlobalLock);
    expectReply(call(first(), UnlockGlobal, std::nullopt), resultMap({}));
    EXPECT_FALSE(first().holdsGlobalLock);
    // Releasing a lock not held is refused by the lock, and the flag keeps its value.
    EXPECT_NE(call(first(), UnlockGlobal, std::nullopt).error(), "");
    EXPECT_FALSE(first().holdsGlobalLock);
}

}  // namespace
}  // namespace tavu::test
