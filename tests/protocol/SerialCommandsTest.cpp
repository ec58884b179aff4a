#include <cstring>
#include <stdexcept>
#include <string>

#include "ProtocolFixture.h"

namespace tavu::test {
namespace {

using testing::_;
using testing::Return;
using testing::Throw;

constexpr uint32_t SerialOpen = 14;
constexpr uint32_t SerialRead = 17;
constexpr uint32_t SerialWrite = 18;
constexpr uint32_t RegisterRead = 21;
constexpr uint32_t RegisterWrite = 22;

const char* const NotBlob = "Object type is not blob, but blob expected.";

using SerialCommandsTest = ProtocolTest;

std::string bytesAt(const uint8_t* data, uint32_t size) { return {reinterpret_cast<const char*>(data), size}; }

TEST_F(SerialCommandsTest, OpenReadsItsParametersInOrder) {
    EXPECT_CALL(device(1), serialOpen(3, 115200, 2, 1));
    expectReply(call(SerialOpen, makeMap({{"stopBits", u(257)},
                                          {"parity", u(2)},
                                          {"baudRate", u((1ull << 32) + 115200)},
                                          {"port", u(259)},
                                          {"deviceId", u(1)}})),
                resultMap({}));
    // With two faults, the earlier parameter's decides.
    EXPECT_EQ(call(SerialOpen, makeMap({{"deviceId", u(1)}, {"port", str("1")}})).error(),
              "Object type is not positive integer, but positive integer expected.");
    EXPECT_EQ(call(SerialOpen, makeMap({{"deviceId", u(1)}, {"port", u(1)}, {"parity", str("x")}})).error(),
              "Key not found in map.");
}

TEST_F(SerialCommandsTest, ReadRepliesWithWhatWasDelivered) {
    EXPECT_CALL(device(0), serialRead(1, _, 8)).WillOnce([](uint8_t, uint8_t* buffer, uint32_t) {
        std::memcpy(buffer, "abc", 3);
        return 3;
    });
    expectReply(call(SerialRead, makeMap({{"deviceId", u(0)}, {"port", u(1)}, {"size", u(8)}})),
                resultMap({{"data", blob("abc")}}));
}

// 4294967296 is cut to 0: the device gets an empty buffer, and the reply an empty blob.
TEST_F(SerialCommandsTest, ReadSizeIsCutTo32Bits) {
    EXPECT_CALL(device(0), serialRead(0, _, 0)).Times(2).WillRepeatedly(Return(0));
    for (const uint64_t size : {0ull, 1ull << 32}) {
        expectReply(call(SerialRead, makeMap({{"deviceId", u(0)}, {"port", u(0)}, {"size", u(size)}})),
                    resultMap({{"data", blob("")}}));
    }
}

TEST_F(SerialCommandsTest, WritePassesTheBlobAndRepliesWithTheCount) {
    EXPECT_CALL(device(1), serialWrite(2, _, 5)).WillOnce([](uint8_t, const uint8_t* data, uint32_t size) {
        EXPECT_EQ(bytesAt(data, size), std::string("a\0b\xff", 5));
        return 4;
    });
    expectReply(call(SerialWrite, makeMap({{"deviceId", u(1)}, {"port", u(2)}, {"data", blob({"a\0b\xff", 5})}})),
                resultMap({{"size", u(4)}}));
}

// Nothing reaches the strict mock device when a blob comes as a string.
TEST_F(SerialCommandsTest, DataMustBeABlob) {
    EXPECT_EQ(call(SerialWrite, makeMap({{"deviceId", u(0)}, {"port", u(0)}, {"data", str("abc")}})).error(), NotBlob);
    EXPECT_EQ(
        call(RegisterWrite, makeMap({{"deviceId", u(0)}, {"port", u(0)}, {"addr", u(0)}, {"data", str("")}})).error(),
        NotBlob);
}

TEST_F(SerialCommandsTest, RegisterReadRepliesWithTheFullSize) {
    EXPECT_CALL(device(0), registerRead(1, 0x1000, _, 4)).WillOnce([](uint8_t, uint32_t, uint8_t* buffer, uint32_t) {
        std::memcpy(buffer, "\x01\x02\x03\x04", 4);
    });
    expectReply(call(RegisterRead, makeMap({{"deviceId", u(0)}, {"port", u(1)}, {"addr", u(0x1000)}, {"size", u(4)}})),
                resultMap({{"data", blob("\x01\x02\x03\x04")}}));
}

TEST_F(SerialCommandsTest, RegisterReadFailureIsTheReply) {
    EXPECT_CALL(device(0), registerRead(0, 7, _, 16)).WillOnce(Throw(std::runtime_error("not supported")));
    EXPECT_EQ(
        call(RegisterRead, makeMap({{"deviceId", u(0)}, {"port", u(0)}, {"addr", u(7)}, {"size", u(16)}})).error(),
        "not supported");
}

TEST_F(SerialCommandsTest, RegisterWritePassesAddressAndBlob) {
    EXPECT_CALL(device(1), registerWrite(0, 0xFFFFFFFF, _, 2))
        .WillOnce([](uint8_t, uint32_t, const uint8_t* data, uint32_t size) { EXPECT_EQ(bytesAt(data, size), "hi"); });
    expectReply(call(RegisterWrite,
                     makeMap({{"deviceId", u(1)}, {"port", u(256)}, {"addr", u(0x1FFFFFFFF)}, {"data", blob("hi")}})),
                resultMap({}));
}

TEST_F(SerialCommandsTest, ChannelCommands) {
    EXPECT_CALL(device(0), serialGetBaudRate(1)).WillOnce(Return(9600));
    EXPECT_CALL(device(0), serialSetBaudRate(1, 19200));
    EXPECT_CALL(device(0), serialClear(1));
    EXPECT_CALL(device(0), serialClose(1));
    const ObjectValue port = makeMap({{"deviceId", u(0)}, {"port", u(1)}});
    expectReply(call(15, port), resultMap({{"baudRate", u(9600)}}));
    expectReply(call(16, makeMap({{"deviceId", u(0)}, {"port", u(1)}, {"baudRate", u(19200)}})), resultMap({}));
    expectReply(call(19, port), resultMap({}));
    expectReply(call(20, port), resultMap({}));
}

}  // namespace
}  // namespace tavu::test
