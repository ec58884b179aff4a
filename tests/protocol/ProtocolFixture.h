#pragma once
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdint>
#include <memory>
#include <optional>
#include <ostream>
#include <string>
#include <vector>

#include "encoding/ObjectValue.h"
#include "hardware/library/DeviceCollection.h"
#include "hardware/library/Instance.h"
#include "hardware/library/LibraryEntry.h"
#include "hardware/library/Loader.h"
#include "registry/DeviceManager.h"
#include "registry/HardwareDevice.h"
#include "service/ConnectionServer.h"
#include "support/TestClient.h"

namespace tavu {

void PrintTo(const DeviceEvent& event, std::ostream* out);

namespace test {

class MockDevice : public HardwareDevice {
public:
    MOCK_METHOD(std::string, name, (), (override));
    MOCK_METHOD(bool, isConnected, (), (override));
    MOCK_METHOD(bool, hasIncompleteFile, (), (override));
    MOCK_METHOD(void, discardIncompleteFile, (), (override));
    MOCK_METHOD(void, startRecovery, (), (override));
    MOCK_METHOD(void, finishRecovery, (), (override));
    MOCK_METHOD(void, cancelRecovery, (), (override));
    MOCK_METHOD(uint32_t, recoveryStatus, (), (override));
    MOCK_METHOD(std::string, recoveryError, (), (override));
    MOCK_METHOD(void, serialOpen, (uint8_t, uint32_t, uint8_t, uint8_t), (override));
    MOCK_METHOD(uint32_t, serialGetBaudRate, (uint8_t), (override));
    MOCK_METHOD(void, serialSetBaudRate, (uint8_t, uint32_t), (override));
    MOCK_METHOD(uint32_t, serialRead, (uint8_t, uint8_t*, uint32_t), (override));
    MOCK_METHOD(uint32_t, serialWrite, (uint8_t, const uint8_t*, uint32_t), (override));
    MOCK_METHOD(void, serialClear, (uint8_t), (override));
    MOCK_METHOD(void, serialClose, (uint8_t), (override));
    MOCK_METHOD(void, registerRead, (uint8_t, uint32_t, uint8_t*, uint32_t), (override));
    MOCK_METHOD(void, registerWrite, (uint8_t, uint32_t, const uint8_t*, uint32_t), (override));
    MOCK_METHOD(uint8_t, portCount, (), (override));
    MOCK_METHOD(std::string, portName, (uint8_t), (override));
    MOCK_METHOD(bool, isCxp, (), (override));
    MOCK_METHOD(std::vector<FileRecord>, listFiles, (), (override));
    MOCK_METHOD(void, openFile, (uint32_t&, std::string&, uint32_t, uint32_t), (override));
    MOCK_METHOD(void, fileInfo, (uint32_t, uint16_t&, uint16_t&, uint32_t&, uint64_t&, uint64_t&), (override));
    MOCK_METHOD(void, closeFile, (uint32_t), (override));
    MOCK_METHOD(void, readFrame, (uint32_t, uint64_t), (override));
    MOCK_METHOD(void, removeFile, (uint32_t, uint32_t), (override));
    MOCK_METHOD(void, fileIdentity, (uint32_t, uint32_t, std::vector<uint8_t>&), (override));
    MOCK_METHOD(void, pairPort, (uint8_t, const std::string&, const uint8_t*, uint32_t, uint16_t), (override));
    MOCK_METHOD(void, repairPort, (uint8_t, const std::string&, const uint8_t*, uint32_t, uint16_t), (override));
    MOCK_METHOD(void, unpairPort, (uint8_t), (override));
    MOCK_METHOD(void, portIdentity, (uint8_t, std::vector<uint8_t>&), (override));
    MOCK_METHOD(uint16_t, framesPerPacket, (uint8_t), (override));
    MOCK_METHOD(std::string, pairedTo, (uint8_t), (override));
    MOCK_METHOD(void, getPortConfig, (uint8_t, uint16_t&, uint16_t&, uint32_t&, uint32_t&), (override));
    MOCK_METHOD(void, setPortConfig, (uint8_t, uint16_t, uint16_t, uint32_t, uint32_t), (override));
    MOCK_METHOD(void, setup, (), (override));
    MOCK_METHOD(void, startRecording, (uint32_t, uint8_t, uint8_t, uint64_t, bool, uint64_t), (override));
    MOCK_METHOD(void, stopRecording, (), (override));
    MOCK_METHOD(void, softwareTrigger, (), (override));
    MOCK_METHOD(bool, isRecordingDone, (), (override));
    MOCK_METHOD(void, recordingFile, (uint8_t, uint32_t&, uint32_t&), (override));
    MOCK_METHOD(void, recordingProgress, (uint8_t, uint64_t&, bool&), (override));
    MOCK_METHOD(void, renameFile, (uint32_t, uint32_t, const std::string&), (override));
    MOCK_METHOD(std::string, setFileInfo,
                (uint32_t, uint32_t, const std::string&, uint16_t, uint16_t, uint64_t, uint64_t, uint64_t, uint64_t,
                 uint64_t),
                (override));
    MOCK_METHOD(uint8_t, percentUsed, (), (override));
    MOCK_METHOD(uint8_t, hardwareType, (), (override));
    MOCK_METHOD(std::string, startLive, (uint8_t), (override));
    MOCK_METHOD(void, stopLive, (uint8_t), (override));
    MOCK_METHOD(void, liveFrame, (uint8_t, uint16_t&, uint16_t&, uint32_t&), (override));

    // What the device list update needs; no test looks at these.
    uint32_t collectionIndex() override { return collectionIndex_; }
    void identify(const std::string&, uint32_t collectionIndex) override { collectionIndex_ = collectionIndex; }
    void foundDisconnected(boost::shared_ptr<Quillon::DeviceCollection>) override {}
    void connect(boost::shared_ptr<Quillon::DeviceCollection>, uint32_t) override {}
    void reconnect() override {}
    void markDisconnected() override {}

private:
    uint32_t collectionIndex_ = 0;
};

// A recorder library with a fixed number of connected recorders and nothing else.
class FakeLibrary : public Quillon::LibraryEntry {
public:
    explicit FakeLibrary(uint32_t recorders);

    boost::shared_ptr<Quillon::Instance> initialize(const Quillon::String&, bool, Quillon::Scope) override {
        return instance_;
    }
    boost::shared_ptr<Quillon::DataDescriptor> createDataDescriptor(uint32_t) override { return {}; }
    boost::shared_ptr<Common::Buffer> createBuffer(const void*, uint64_t) override { return {}; }
    uint64_t universalTime() override { return 0; }

private:
    boost::shared_ptr<Quillon::Instance> instance_;
};

// What a command wrote: the bytes, and the first value decoded from them.
struct Reply {
    std::vector<uint8_t> bytes;
    ObjectValue value;

    std::string error() const { return errorOf(value); }
    const ObjectValue& result() const { return resultOf(value); }
};

// {"result": {pairs}}, or {} for no pairs: what a reply should encode to.
ObjectValue resultMap(std::initializer_list<std::pair<const char*, ObjectValue>> pairs);
ObjectValue blob(const std::string& bytes);
ObjectValue boolean(bool value);
std::string hex(const std::vector<uint8_t>& bytes);
// The bytes of the reply against the encoding of the expected value, shown in hexadecimal.
void expectReply(const Reply& reply, const ObjectValue& expected);

// A device manager with strict mock recorders, and two connections of a server, on which
// commands run as the request loop runs them.
class ProtocolTest : public ::testing::Test {
protected:
    explicit ProtocolTest(uint32_t recorders = 2);

    testing::StrictMock<MockDevice>& device(uint32_t index) { return *devices_.at(index); }
    ClientConnection& first() { return *server_.connections[0]; }
    ClientConnection& second() { return *server_.connections[1]; }

    Reply call(ClientConnection& connection, uint32_t ordinal, std::optional<ObjectValue> params);
    Reply call(uint32_t ordinal, ObjectValue params) { return call(first(), ordinal, std::move(params)); }

    // Gives the connection a queue and returns its id.
    uint32_t openQueue(ClientConnection& connection);
    // Everything waiting in the connection's queue, oldest first.
    std::vector<DeviceEvent> takeEvents(ClientConnection& connection);

private:
    FakeLibrary library_;
    ScopedLibraryOverride override_;
    std::vector<testing::StrictMock<MockDevice>*> devices_;  // owned by manager_
    ConnectionServer server_;

protected:
    // Last, so that it stops before the library and the mocks' list go.
    DeviceManager manager_;
};

}  // namespace test
}  // namespace tavu
