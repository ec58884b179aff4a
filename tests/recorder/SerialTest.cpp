// Serial channels and camera registers of simulated recorders through the socket.
#include <fstream>

#include "RecorderFixture.h"

namespace tavu::test {
namespace {

using nlohmann::json;

std::vector<uint8_t> bytes(const std::string& text) { return {text.begin(), text.end()}; }

std::string text(const std::vector<uint8_t>& data) { return {data.begin(), data.end()}; }

json serialState(const json& state, size_t port) { return state.at("ports").at(port).at("serial"); }

class Passthrough : public RecorderFixture {
protected:
    json state() const { return json::parse(std::ifstream(simRoot / "REC-A" / "state.json")); }
};

TEST_F(Passthrough, AChannelIsTheDevicesAndKeepsWorkingThroughRefusalsAndRateChanges) {
    startWithRecorderA();
    EXPECT_EQ(serviceError([&] { client().serialOpen(0, 1, 9600, 0, 1); }), "serial not supported on this device");
    EXPECT_EQ(serviceError([&] { client().serialRead(0, 0, 1); }), "Serial port not open.");
    client().serialOpen(0, 0, 115200, 2, 1);
    EXPECT_EQ(serviceError([&] { client().serialOpen(0, 0, 9600, 0, 1); }), "Serial port already open.");
    EXPECT_EQ(serialState(state(), 0), (json{{"enabled", true}, {"baudRate", 115200}, {"parity", 2}, {"stopBits", 1},
                                             {"watermark", 256}}));
    // Nothing has arrived: the read takes nothing and fails, and the channel stays usable.
    EXPECT_EQ(serviceError([&] { client().serialRead(0, 0, 4); }), "Serial port recieve failed.");
    EXPECT_EQ(client().serialWrite(0, 0, bytes("ID?\r")), 4u);
    EXPECT_EQ(text(client().serialRead(0, 0, 15)), "SIMCAM REC-A-1\r");

    // Another client uses the channel that this one opened.
    auto other = connect();
    other->serialSetBaudRate(0, 0, 9600);
    EXPECT_EQ(client().serialGetBaudRate(0, 0), 9600u);
    EXPECT_TRUE(serialState(state(), 0).at("enabled").get<bool>());
    client().serialWrite(0, 0, bytes("BAUD?\r"));
    EXPECT_EQ(text(other->serialRead(0, 0, 5)), "9600\r");
    client().serialWrite(0, 0, bytes("hello\r"));
    other->serialClear(0, 0);
    EXPECT_EQ(serviceError([&] { client().serialRead(0, 0, 1); }), "Serial port recieve failed.");
    EXPECT_TRUE(client().serialRead(0, 0, 0).empty());

    // Any client closes the channel, and one opened by a client outlives it.
    other->serialClose(0, 0);
    EXPECT_EQ(serviceError([&] { client().serialGetBaudRate(0, 0); }), "Serial port not open.");
    other->serialOpen(0, 0, 19200, 0, 2);
    other.reset();
    EXPECT_EQ(client().serialGetBaudRate(0, 0), 19200u);
    client().serialWrite(0, 0, bytes("x\r"));
    EXPECT_EQ(text(client().serialRead(0, 0, 2)), "x\r");
    client().serialClose(0, 0);
}

TEST_F(Passthrough, RegistersRoundTripInCameraByteOrder) {
    startWithRecorderA();
    // The camera's acquisition-start address, as its register 0x300C holds it.
    EXPECT_EQ(client().registerRead(0, 0, 0x300C, 4), (std::vector<uint8_t>{0, 0, 0x40, 0}));
    const std::vector<uint8_t> written{0x12, 0x34, 0x56, 0x78, 0x9A};
    client().registerWrite(0, 1, 0x5000, written);
    EXPECT_EQ(client().registerRead(0, 1, 0x5000, 5), written);
    EXPECT_EQ(client().registerRead(0, 1, 0x5002, 4), (std::vector<uint8_t>{0x56, 0x78, 0x9A, 0}));
    EXPECT_EQ(client().registerRead(0, 0, 0x5000, 2), (std::vector<uint8_t>{0, 0}));
    EXPECT_EQ(state().at("ports").at(1).at("memoryWrites").back(),
              (json{{"address", 0x5000}, {"bytes", "123456789a"}}));
    EXPECT_EQ(serviceError([&] { client().registerRead(0, 2, 0, 4); }), "Invalid port index.");
}

}  // namespace
}  // namespace tavu::test
