#include "SimFixture.h"

#include <gmock/gmock.h>

#include <fstream>

namespace tavu::test {
namespace {

using testing::HasSubstr;
using Value = Quillon::ParameterValue;

class HardwareState : public SimFixture {
protected:
    boost::shared_ptr<Common::Buffer> bigEndian(uint32_t value) {
        const uint8_t bytes[] = {static_cast<uint8_t>(value >> 24), static_cast<uint8_t>(value >> 16),
                                 static_cast<uint8_t>(value >> 8), static_cast<uint8_t>(value)};
        return library().createBuffer(bytes, sizeof bytes);
    }
    uint32_t readWord(Quillon::Port& port, uint32_t address) {
        const auto word = buffer(4);
        port.readMemory(word, address, 0);
        const uint8_t* b = word->data();
        return uint32_t{b[0]} << 24 | uint32_t{b[1]} << 16 | uint32_t{b[2]} << 8 | b[3];
    }
    nlohmann::json portState(uint32_t port) { return readState("REC-A")["ports"][port]; }
};

TEST_F(HardwareState, EachRecorderStartsWithAFreshStateFile) {
    std::filesystem::create_directories(root() / "REC-A");
    std::ofstream(root() / "REC-A" / "state.json") << "left by an earlier run";
    collection();
    const auto state = readState("REC-A");
    EXPECT_EQ(state["connected"], true);
    ASSERT_EQ(state["ports"].size(), 2u);
    EXPECT_EQ(state["ports"][1]["name"], "A2");
    EXPECT_TRUE(state["ports"][1]["dataDescriptor"].is_null());
    EXPECT_EQ(readState("REC-B")["connected"], false);
}

TEST_F(HardwareState, TheLastDataDescriptorOfAPortIsPublishedFieldByField) {
    const auto port = recorderA()->port(1);
    const auto descriptor = library().createDataDescriptor(4);
    descriptor->setCustom(true);
    descriptor->setManufacturer("OREK");
    descriptor->setModel("TAVU");
    descriptor->setSubModel("1");
    descriptor->field(35) = Value::unsigned32(2048);
    descriptor->field(9) = Value::boolean(false);
    descriptor->field(1) = Value::unsigned32(512);
    descriptor->field(35) = Value::unsigned32(1024);
    port->setDataDescriptor(descriptor);
    // Later changes to the caller's descriptor do not reach the port.
    descriptor->field(2) = Value::unsigned32(7);

    EXPECT_EQ(portState(1)["dataDescriptor"], nlohmann::json::parse(R"({
        "type": 4, "manufacturer": "OREK", "model": "TAVU", "subModel": "1", "custom": true,
        "fields": [{"id": 35, "tag": 2, "value": 1024}, {"id": 9, "tag": 0, "value": false},
                   {"id": 1, "tag": 2, "value": 512}]})"));

    struct ForeignDescriptor : Quillon::DataDescriptor {
        Value& field(uint32_t) override { return value; }
        Value value;
    };
    EXPECT_EQ(libraryError([&] { port->setDataDescriptor(boost::make_shared<ForeignDescriptor>()); }),
              "A data descriptor must come from this library's factory.");
}

TEST_F(HardwareState, CameraMemoryIsBigEndianAndWakesAnAsleepCamera) {
    const auto port = recorderA()->port(1);
    EXPECT_EQ(port->measuredFrameRate(), 0.0);
    const uint32_t acquisitionStart = readWord(*port, 0x300C);
    EXPECT_EQ(acquisitionStart, 0x4000u);
    EXPECT_EQ(readWord(*port, acquisitionStart), 0u);

    port->writeMemory(bigEndian(1), acquisitionStart, 0);
    EXPECT_EQ(readWord(*port, acquisitionStart), 1u);
    EXPECT_EQ(port->measuredFrameRate(), 50.0);
    EXPECT_EQ(portState(1)["memoryWrites"], nlohmann::json::parse(R"([{"address": 16384, "bytes": "00000001"}])"));

    EXPECT_THAT(libraryError([&] { port->readMemory(buffer(8), 0xFFFFFFFC, 0); }),
                HasSubstr("Camera memory ends at 0xFFFFFFFF"));
}

TEST_F(HardwareState, APortWithoutACameraHasNoMemory) {
    auto description = twoRecorders();
    description["recorders"][0]["ports"][0]["cameraDetected"] = false;
    writeDescription(description);
    const auto port = recorderA()->port(0);
    EXPECT_EQ(port->measuredFrameRate(), 0.0);
    EXPECT_EQ(libraryError([&] { readWord(*port, 0x300C); }), "There is no camera on port A1.");
}

TEST_F(HardwareState, TriggerParametersAndInputsArePublished) {
    const auto bank = recorderA()->triggerBank();
    const auto control = bank->element(19, 0);
    control->parameter("Start Enable")->set(Value::boolean(true));
    control->parameter("Stop Frame Count Value")->set(Value::unsigned32(5));
    control->parameter("Pretrigger Loop Time Value")->set(Value::unsigned64(1ULL << 40));
    control->connectInput(bank->element(2, 0), 0, true);
    control->connectInput(bank->element(0, 0), 1, false);

    EXPECT_EQ(readState("REC-A")["trigger"]["recordControl"], nlohmann::json::parse(R"({
        "parameters": {"Start Enable": true, "Stop Frame Count Value": 5, "Pretrigger Loop Time Value": 1099511627776},
        "inputs": {"start": {"source": "externalInput", "variant": true},
                   "stop": {"source": "softwareSource", "variant": false}}})"));

    EXPECT_EQ(libraryError([&] { control->parameter("Stop Time Value")->set(Value::unsigned32(1)); }),
              "Parameter \"Stop Time Value\" takes unsigned 64-bit values, not unsigned 32-bit ones.");
    EXPECT_EQ(libraryError([&] { control->parameter("Start Enabled"); }),
              "Trigger element recordControl has no parameter \"Start Enabled\".");
    EXPECT_EQ(libraryError([&] { control->connectInput(bank->element(2, 0), 2, false); }),
              "Trigger element recordControl has no input 2.");
    EXPECT_THAT(libraryError([&] { bank->element(19, 1); }), HasSubstr("no element of kind 19 with index 1"));
    EXPECT_THAT(libraryError([&] { bank->element(5, 0); }), HasSubstr("no element of kind 5"));
}

TEST_F(HardwareState, PortsAttachToADriveSetUntilDetachedOrTheSetGoes) {
    const auto device = recorderA();
    const auto set = createDriveSetOfAllDrives(*device);
    const auto record = device->record();
    record->detachPort(device->port(0));
    record->attachDriveSet(set, device->port(0));
    record->attachDriveSet(set, device->port(1));
    EXPECT_EQ(portState(0)["driveSet"], 1);
    record->detachPort(device->port(0));
    EXPECT_TRUE(portState(0)["driveSet"].is_null());
    EXPECT_EQ(portState(1)["driveSet"], 1);
    device->storage(0)->driveSets()->remove(1);
    EXPECT_TRUE(portState(1)["driveSet"].is_null());
    EXPECT_EQ(libraryError([&] { record->attachDriveSet(set, device->port(0)); }), "There is no drive set 1.");
}

TEST_F(HardwareState, PixelFormatAndGrabSettingsArePublished) {
    const auto device = recorderA();
    device->port(0)->setBitDepth(16);
    device->port(1)->setPacking(0);
    device->port(0)->startGrab(Quillon::GrabOptions{true, 4}, 0);
    EXPECT_TRUE(device->port(0)->isGrabbing());
    EXPECT_EQ(portState(0)["bitDepth"], 16);
    EXPECT_EQ(portState(1)["packing"], 0);
    EXPECT_EQ(portState(0)["grabbing"], true);
    device->port(0)->stopGrab();
    EXPECT_FALSE(device->port(0)->isGrabbing());
    EXPECT_EQ(libraryError([&] { device->port(1)->setBitDepth(16); }), "Port A2 has no bit depth setting.");
    EXPECT_EQ(libraryError([&] { device->port(0)->setPacking(0); }), "Port A1 has no packing setting.");
}

}  // namespace
}  // namespace tavu::test
