// Every typed call against a fake service: the request that goes out (ordinal, keys, types,
// values) and how the reply comes back.
#include <gtest/gtest.h>

#include <functional>
#include <set>

#include "tests/client/FakeService.h"
#include "client/Client.h"
#include "client/ClientErrors.h"
#include "tests/support/ServiceProcess.h"
#include "tests/support/TestClient.h"

namespace tavu::test {
namespace {

using client::Client;
using client::Command;

ObjectValue bin(std::vector<uint8_t> bytes) {
    return ObjectValue::blobCopy(bytes.data(), static_cast<uint32_t>(bytes.size()));
}
ObjectValue flag(bool value) { return ObjectValue::boolean(value); }
ObjectValue none() { return ObjectValue::map(0); }

struct WireCase {
    const char* name;
    Command command;
    const char* params;  // as describe() writes them
    ObjectValue result;  // the "result" map of the reply; empty for {}
    std::function<void(Client&)> call;  // makes the call and checks what it returned
};

ObjectValue fileEntry() {
    return makeMap({{"name", str("shot")},       {"port", str("Emu")},       {"camera", str("cam")},
                    {"fileId", u(5)},            {"streamId", u(1)},         {"width", u(640)},
                    {"height", u(480)},          {"numFrames", u(100)},      {"numDroppedFrames", u(2)},
                    {"size", u(61440000)},       {"timestamp", u(133000000000000000)},
                    {"duration", u(9)},          {"startTime", u(7)},        {"endTime", u(8)}});
}

std::vector<WireCase> queueAndDeviceCases() {
    return {
        {"createEventQueue", Command::CreateEventQueue, "{}", makeMap({{"queueId", u(7)}}),
         [](Client& c) { EXPECT_EQ(c.createEventQueue(), 7u); }},
        {"destroyEventQueue", Command::DestroyEventQueue, "{queueId: 7}", none(),
         [](Client& c) { c.destroyEventQueue(7); }},
        {"readEvent", Command::ReadEvent, "{queueId: 7}",
         makeMap({{"event", makeMap({{"type", u(5)}, {"device", u(2)}, {"port", u(3)}})}}),
         [](Client& c) { EXPECT_EQ(c.readEvent(7), (DeviceEvent{5, 2, 3})); }},
        {"tryReadEvent, empty", Command::TryReadEvent, "{queueId: 7}", makeMap({{"ok", flag(false)}}),
         [](Client& c) { EXPECT_FALSE(c.tryReadEvent(7)); }},
        {"tryReadEvent, one event", Command::TryReadEvent, "{queueId: 7}",
         makeMap({{"ok", flag(true)}, {"event", makeMap({{"type", u(2)}, {"device", u(2)}, {"port", u(5)}})}}),
         [](Client& c) { EXPECT_EQ(c.tryReadEvent(7), (DeviceEvent{2, 2, 5})); }},
        {"deviceCount", Command::DeviceCount, "{}", makeMap({{"count", u(3)}}),
         [](Client& c) { EXPECT_EQ(c.deviceCount(), 3u); }},
        {"deviceName", Command::DeviceName, "{deviceId: 2}", makeMap({{"name", str("Recorder")}}),
         [](Client& c) { EXPECT_EQ(c.deviceName(2), "Recorder"); }},
        {"deviceConnected", Command::DeviceConnected, "{deviceId: 2}", makeMap({{"connected", flag(true)}}),
         [](Client& c) { EXPECT_TRUE(c.deviceConnected(2)); }},
        {"isCxp", Command::IsCxp, "{deviceId: 2}", makeMap({{"isCxp", flag(true)}}),
         [](Client& c) { EXPECT_TRUE(c.isCxp(2)); }},
        {"portCount", Command::PortCount, "{deviceId: 2}", makeMap({{"count", u(4)}}),
         [](Client& c) { EXPECT_EQ(c.portCount(2), 4); }},
        {"portName", Command::PortName, "{deviceId: 2, port: 3}", makeMap({{"name", str("P3")}}),
         [](Client& c) { EXPECT_EQ(c.portName(2, 3), "P3"); }},
        {"percentUsed", Command::PercentUsed, "{deviceId: 2}", makeMap({{"percent", u(42)}}),
         [](Client& c) { EXPECT_EQ(c.percentUsed(2), 42); }},
        {"hardwareType", Command::HardwareType, "{deviceId: 2}", makeMap({{"hardwareType", u(3)}}),
         [](Client& c) { EXPECT_EQ(c.hardwareType(2), 3); }},
        {"notifyFilesChanged", Command::NotifyFilesChanged, "{deviceId: 2}", none(),
         [](Client& c) { c.notifyFilesChanged(2); }},
        {"lockGlobal", Command::LockGlobal, "{}", none(), [](Client& c) { c.lockGlobal(); }},
        {"unlockGlobal", Command::UnlockGlobal, "{}", none(), [](Client& c) { c.unlockGlobal(); }},
    };
}

std::vector<WireCase> serialCases() {
    return {
        {"serialOpen", Command::SerialOpen, "{deviceId: 2, port: 3, baudRate: 115200, parity: 1, stopBits: 2}", none(),
         [](Client& c) { c.serialOpen(2, 3, 115200, 1, 2); }},
        {"serialGetBaudRate", Command::SerialGetBaudRate, "{deviceId: 2, port: 3}", makeMap({{"baudRate", u(9600)}}),
         [](Client& c) { EXPECT_EQ(c.serialGetBaudRate(2, 3), 9600u); }},
        {"serialSetBaudRate", Command::SerialSetBaudRate, "{deviceId: 2, port: 3, baudRate: 9600}", none(),
         [](Client& c) { c.serialSetBaudRate(2, 3, 9600); }},
        {"serialRead", Command::SerialRead, "{deviceId: 2, port: 3, size: 16}", makeMap({{"data", bin({1, 2})}}),
         [](Client& c) { EXPECT_EQ(c.serialRead(2, 3, 16), (std::vector<uint8_t>{1, 2})); }},
        {"serialWrite", Command::SerialWrite, "{deviceId: 2, port: 3, data: bin(01 02 03)}", makeMap({{"size", u(3)}}),
         [](Client& c) { EXPECT_EQ(c.serialWrite(2, 3, std::vector<uint8_t>{1, 2, 3}), 3u); }},
        {"serialClear", Command::SerialClear, "{deviceId: 2, port: 3}", none(), [](Client& c) { c.serialClear(2, 3); }},
        {"serialClose", Command::SerialClose, "{deviceId: 2, port: 3}", none(), [](Client& c) { c.serialClose(2, 3); }},
        {"registerRead", Command::RegisterRead, "{deviceId: 2, port: 3, addr: 12300, size: 4}",
         makeMap({{"data", bin({0, 0, 0x40, 0})}}),
         [](Client& c) { EXPECT_EQ(c.registerRead(2, 3, 0x300C, 4), (std::vector<uint8_t>{0, 0, 0x40, 0})); }},
        {"registerWrite", Command::RegisterWrite, "{deviceId: 2, port: 3, addr: 16384, data: bin(00 00 00 01)}", none(),
         [](Client& c) { c.registerWrite(2, 3, 0x4000, std::vector<uint8_t>{0, 0, 0, 1}); }},
    };
}

std::vector<WireCase> fileCases() {
    return {
        {"listFiles", Command::ListFiles, "{deviceId: 2}",
         makeMap({{"files", [] {
                       ObjectValue files = ObjectValue::array(1);
                       files.arrayAppend(fileEntry());
                       return files;
                   }()}}),
         [](Client& c) {
             const std::vector<FileRecord> files = c.listFiles(2);
             ASSERT_EQ(files.size(), 1u);
             FileRecord expected{"shot", "Emu", "cam", 5, 1, 640, 480, 100, 2, {}, 61440000, 133000000000000000, 7, 8, 9};
             EXPECT_EQ(files[0], expected);
         }},
        {"openFile", Command::OpenFile, "{deviceId: 2, fileId: 5, streamId: 1}",
         makeMap({{"openFileId", u(4)}, {"mapping", str("orek_tavu1")}}),
         [](Client& c) {
             const client::OpenedFile opened = c.openFile(2, 5, 1);
             EXPECT_EQ(opened.openFileId, 4u);
             EXPECT_EQ(opened.mapping, "orek_tavu1");
         }},
        {"fileInfo", Command::FileInfo, "{deviceId: 2, openFileId: 4}",
         makeMap({{"width", u(640)}, {"height", u(480)}, {"imageSize", u(614400)}, {"numFrames", u(100)},
                  {"size", u(61440000)}}),
         [](Client& c) {
             const client::OpenFileInfo info = c.fileInfo(2, 4);
             EXPECT_EQ(info.width, 640);
             EXPECT_EQ(info.height, 480);
             EXPECT_EQ(info.imageSize, 614400u);
             EXPECT_EQ(info.numFrames, 100u);
             EXPECT_EQ(info.size, 61440000u);
         }},
        {"closeFile", Command::CloseFile, "{deviceId: 2, openFileId: 4}", none(), [](Client& c) { c.closeFile(2, 4); }},
        {"readFrame", Command::ReadFrame, "{deviceId: 2, openFileId: 4, frame: 5000000000}", none(),
         [](Client& c) { c.readFrame(2, 4, 5000000000); }},
        {"removeFile", Command::RemoveFile, "{deviceId: 2, fileId: 5, streamId: 1}", none(),
         [](Client& c) { c.removeFile(2, 5, 1); }},
        {"fileIdentity", Command::FileIdentity, "{deviceId: 2, fileId: 5, streamId: 1}", makeMap({{"data", bin({0xAA})}}),
         [](Client& c) { EXPECT_EQ(c.fileIdentity(2, 5, 1), std::vector<uint8_t>{0xAA}); }},
        {"renameFile", Command::RenameFile, "{deviceId: 2, fileId: 5, streamId: 1, name: \"take 2\", notify: false}",
         none(), [](Client& c) { c.renameFile(2, 5, 1, "take 2", false); }},
        {"setFileInfo", Command::SetFileInfo,
         "{deviceId: 2, fileId: 5, streamId: 1, name: \"a\", width: 640, height: 480, numImages: 100, "
         "numDroppedFrames: 2, startTime: 7, endTime: 8, duration: 9, notify: true}",
         makeMap({{"name", str("a(1)")}}), [](Client& c) {
             const client::FileInfoUpdate update{"a", 640, 480, 100, 2, 7, 8, 9, true};
             EXPECT_EQ(c.setFileInfo(2, 5, 1, update), "a(1)");
         }},
    };
}

std::vector<WireCase> portCases() {
    return {
        {"setup", Command::Setup, "{deviceId: 2}", none(), [](Client& c) { c.setup(2); }},
        {"pairPort", Command::PairPort,
         "{deviceId: 2, port: 3, identity: \"cam\", info: bin(09 08), numFramesPerPacket: 5}", none(),
         [](Client& c) { c.pairPort(2, 3, "cam", std::vector<uint8_t>{9, 8}, 5); }},
        {"pairedTo", Command::PairedTo, "{deviceId: 2, port: 3}", makeMap({{"pairedTo", str("cam")}}),
         [](Client& c) { EXPECT_EQ(c.pairedTo(2, 3), "cam"); }},
        {"repairPort", Command::RepairPort,
         "{deviceId: 2, port: 3, identity: \"cam\", info: bin(07), numFramesPerPacket: 6}", none(),
         [](Client& c) { c.repairPort(2, 3, "cam", std::vector<uint8_t>{7}, 6); }},
        {"unpairPort", Command::UnpairPort, "{deviceId: 2, port: 3}", none(), [](Client& c) { c.unpairPort(2, 3); }},
        {"portIdentity", Command::PortIdentity, "{deviceId: 2, port: 3}", makeMap({{"data", bin({9, 8})}}),
         [](Client& c) { EXPECT_EQ(c.portIdentity(2, 3), (std::vector<uint8_t>{9, 8})); }},
        {"framesPerPacket", Command::FramesPerPacket, "{deviceId: 2, port: 3}", makeMap({{"numFramesPerPacket", u(5)}}),
         [](Client& c) { EXPECT_EQ(c.framesPerPacket(2, 3), 5); }},
        {"getPortConfig", Command::GetPortConfig, "{deviceId: 2, port: 3}",
         makeMap({{"width", u(640)}, {"height", u(480)}, {"pixelFormat", u(6)}, {"tapGeometry", u(7)}}),
         [](Client& c) { EXPECT_EQ(c.getPortConfig(2, 3), (client::PortConfig{640, 480, 6, 7})); }},
        {"setPortConfig", Command::SetPortConfig,
         "{deviceId: 2, port: 3, width: 640, height: 480, pixelFormat: 6, tapGeometry: 7}", none(),
         [](Client& c) { c.setPortConfig(2, 3, client::PortConfig{640, 480, 6, 7}); }},
    };
}

std::vector<WireCase> recordingCases() {
    using client::RecoveryStatus;
    return {
        {"startRecording", Command::StartRecording,
         "{deviceId: 2, portMask: 5, externalTrigger: 3, type: 1, count: 100, usePretrigger: true, "
         "pretriggerCount: 20}",
         none(), [](Client& c) {
             c.startRecording(2, client::RecordingRequest{5, client::ExternalStart | client::ExternalStop,
                                                          client::StopCondition::FrameCount, 100, true, 20});
         }},
        {"stopRecording", Command::StopRecording, "{deviceId: 2}", none(), [](Client& c) { c.stopRecording(2); }},
        {"softwareTrigger", Command::SoftwareTrigger, "{deviceId: 2}", none(), [](Client& c) { c.softwareTrigger(2); }},
        {"isRecordingDone", Command::IsRecordingDone, "{deviceId: 2}", makeMap({{"done", flag(true)}}),
         [](Client& c) { EXPECT_TRUE(c.isRecordingDone(2)); }},
        {"recordingFile", Command::RecordingFile, "{deviceId: 2, port: 3}", makeMap({{"fileId", u(5)}, {"streamId", u(1)}}),
         [](Client& c) {
             const client::RecordingFile file = c.recordingFile(2, 3);
             EXPECT_EQ(file.fileId, 5u);
             EXPECT_EQ(file.streamId, 1u);
         }},
        {"recordingProgress", Command::RecordingProgress, "{deviceId: 2, port: 3}",
         makeMap({{"numFrames", u(42)}, {"inPretrigger", flag(true)}}),
         [](Client& c) {
             const client::RecordingProgress progress = c.recordingProgress(2, 3);
             EXPECT_EQ(progress.numFrames, 42u);
             EXPECT_TRUE(progress.inPretrigger);
         }},
        {"hasIncompleteFile", Command::HasIncompleteFile, "{deviceId: 2}", makeMap({{"hasIncompleteFile", flag(true)}}),
         [](Client& c) { EXPECT_TRUE(c.hasIncompleteFile(2)); }},
        {"discardIncompleteFile", Command::DiscardIncompleteFile, "{deviceId: 2}", none(),
         [](Client& c) { c.discardIncompleteFile(2); }},
        {"startRecovery", Command::StartRecovery, "{deviceId: 2}", none(), [](Client& c) { c.startRecovery(2); }},
        {"cancelRecovery", Command::CancelRecovery, "{deviceId: 2}", none(), [](Client& c) { c.cancelRecovery(2); }},
        {"recoveryStatus", Command::RecoveryStatus, "{deviceId: 2}", makeMap({{"status", u(2)}}),
         [](Client& c) { EXPECT_EQ(c.recoveryStatus(2), RecoveryStatus::Failed); }},
        // The one reply whose result carries a key named "error": a success all the same.
        {"recoveryError", Command::RecoveryError, "{deviceId: 2}", makeMap({{"error", str("bad block")}}),
         [](Client& c) { EXPECT_EQ(c.recoveryError(2), "bad block"); }},
        {"finishRecovery", Command::FinishRecovery, "{deviceId: 2}", none(), [](Client& c) { c.finishRecovery(2); }},
        {"startLive", Command::StartLive, "{deviceId: 2, port: 3}", makeMap({{"mapping", str("orek_tavu2")}}),
         [](Client& c) { EXPECT_EQ(c.startLive(2, 3), "orek_tavu2"); }},
        {"stopLive", Command::StopLive, "{deviceId: 2, port: 3}", none(), [](Client& c) { c.stopLive(2, 3); }},
        {"liveFrame", Command::LiveFrame, "{deviceId: 2, port: 3}",
         makeMap({{"width", u(4)}, {"height", u(2)}, {"imageSize", u(16)}}),
         [](Client& c) {
             const client::FrameGeometry frame = c.liveFrame(2, 3);
             EXPECT_EQ(frame.width, 4);
             EXPECT_EQ(frame.height, 2);
             EXPECT_EQ(frame.imageSize, 16u);
         }},
    };
}

std::vector<WireCase> allCases() {
    std::vector<WireCase> cases;
    for (auto family : {queueAndDeviceCases, serialCases, fileCases, portCases, recordingCases}) {
        for (WireCase& wireCase : family()) {
            cases.push_back(std::move(wireCase));
        }
    }
    return cases;
}

class WireTest : public ::testing::Test {
protected:
    std::string socketPath() const { return (home.runtimeDir() / "fake").string(); }
    client::ConnectOptions options() const {
        client::ConnectOptions connect;
        connect.socketPath = socketPath();
        connect.startService = false;
        return connect;
    }

    TestHome home;
};

TEST_F(WireTest, EveryCommandSendsItsOrdinalAndParametersAndDecodesItsReply) {
    FakeService service(socketPath());
    Client client(options());
    std::set<uint32_t> covered;
    size_t served = 1;  // the version check
    for (const WireCase& wireCase : allCases()) {
        SCOPED_TRACE(wireCase.name);
        service.queueReply(wireCase.result.size() == 0 ? none() : makeMap({{"result", wireCase.result}}));
        wireCase.call(client);
        const auto ordinal = static_cast<uint32_t>(wireCase.command);
        covered.insert(ordinal);
        const std::vector<std::string> requests = service.requests();
        ASSERT_EQ(requests.size(), ++served);
        EXPECT_EQ(requests.back(), "{act: \"exec\", ord: " + std::to_string(ordinal) + ", params: " + wireCase.params + "}");
    }
    EXPECT_EQ(covered.size(), client::CommandCount);
    // Each request went out in one write, so the service read each in one receive.
    for (const int receives : service.receivesPerRequest()) {
        EXPECT_EQ(receives, 1);
    }
}

TEST_F(WireTest, ConnectingPassesTheVersionCheckFirst) {
    FakeService service(socketPath());
    Client client(options());
    EXPECT_EQ(service.requests(), std::vector<std::string>{"{act: \"verCheck\", ver: 0}"});
}

TEST_F(WireTest, RefusedVersionIsAConnectionError) {
    FakeService service(socketPath(), false);
    try {
        Client client(options());
        FAIL() << "connected";
    } catch (const client::ConnectionError& error) {
        EXPECT_NE(std::string(error.what()).find("Unsupported version."), std::string::npos) << error.what();
    }
}

TEST_F(WireTest, ErrorReplyCarriesTheServiceTextAndTheConnectionGoesOn) {
    FakeService service(socketPath());
    Client client(options());
    service.queueReply(makeMap({{"error", str("Invalid port")}}));
    try {
        client.pairedTo(0, 9);
        FAIL() << "no error";
    } catch (const client::ServiceError& error) {
        EXPECT_STREQ(error.what(), "Invalid port");
        EXPECT_EQ(error.command(), Command::PairedTo);
    }
    service.queueReply(makeMap({{"result", makeMap({{"count", u(1)}})}}));
    EXPECT_EQ(client.deviceCount(), 1u);
}

TEST_F(WireTest, MalformedRepliesAreConnectionErrorsNamingTheCommand) {
    const std::vector<std::pair<const char*, ObjectValue>> replies = {
        {"missing key", makeMap({{"result", makeMap({{"cnt", u(1)}})}})},
        {"wrong type", makeMap({{"result", makeMap({{"count", str("1")}})}})},
        {"beyond the wire width", makeMap({{"result", makeMap({{"count", u(1ull << 32)}})}})},
        {"not a map", str("count")},
    };
    for (const auto& [problem, reply] : replies) {
        SCOPED_TRACE(problem);
        FakeService service(socketPath());
        Client client(options());
        service.queueReply(reply);
        try {
            client.deviceCount();
            FAIL() << "accepted";
        } catch (const client::ConnectionError& error) {
            EXPECT_NE(std::string(error.what()).find("deviceCount"), std::string::npos) << error.what();
        }
    }
}

TEST_F(WireTest, LostConnectionFailsThisCallAndEveryLaterOne) {
    FakeService service(socketPath());
    Client client(options());
    service.queueReply(std::nullopt);
    EXPECT_THROW(client.stopRecording(0), client::ConnectionError);
    EXPECT_THROW(client.deviceCount(), client::ConnectionError);
}

}  // namespace
}  // namespace tavu::test
