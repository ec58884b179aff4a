#include <gtest/gtest.h>

#include <cstring>
#include <map>

#include "EmulatorFixture.h"
#include "support/ServiceProcess.h"
#include "support/TestClient.h"

namespace tavu::test {
namespace {

using enum Command;

ObjectValue onDevice() { return makeMap({{"deviceId", u(0)}}); }

// The service with the emulator as device 0 and a data folder of its own.
class EmulatorServiceTest : public ::testing::Test {
protected:
    EmulatorServiceTest() : service(home, {}, {{"TAVUSRV_ENABLE_EMULATOR", "1"}}) {
        EXPECT_TRUE(service.waitForSocket());
    }

    TestClient connect() {
        TestClient client(home.socketPath());
        client.handshake();
        return client;
    }

    TestHome home;
    ServiceProcess service;
};

// One step of a conversation: who asks what, the reply, and the events that the watching
// connection's queue holds afterwards. A polled step is repeated until its reply comes; a reply
// ending in * is a prefix.
struct Step {
    const char* who;
    Command command;
    ObjectValue params;
    std::string reply;
    std::vector<std::string> events = {};
    bool poll = false;
};

ObjectValue blob(const char* text) { return ObjectValue::blobCopy(reinterpret_cast<const uint8_t*>(text), std::strlen(text)); }
ObjectValue file(uint64_t fileId) { return makeMap({{"deviceId", u(0)}, {"fileId", u(fileId)}, {"streamId", u(0)}}); }
ObjectValue queue(uint64_t queueId) { return makeMap({{"queueId", u(queueId)}}); }

TEST_F(EmulatorServiceTest, RequestsGetTheirRepliesAndPostTheirEventsToEveryQueue) {
    std::map<std::string, TestClient> clients;
    clients.emplace("user", connect());
    clients.emplace("watcher", connect());
    const auto start = [](uint64_t count) {
        return makeMap({{"deviceId", u(0)}, {"portMask", u(1)}, {"externalTrigger", u(0)}, {"type", u(1)},
                        {"count", u(count)}, {"usePretrigger", ObjectValue::boolean(false)}, {"pretriggerCount", u(0)}});
    };
    const Step steps[] = {
        {"watcher", CreateEventQueue, ObjectValue::map(0), "{result: {queueId: 0}}"},
        {"watcher", CreateEventQueue, ObjectValue::map(0), "{error: \"A connection can only have one event queue.\"}"},
        {"user", TryReadEvent, queue(0),
         "{error: \"A connection can only read from an event queue that it created.\"}"},
        {"user", NotifyFilesChanged, makeMap({{"deviceId", u(7)}}), "{}", {"{type: 4, device: 7, port: 0}"}},
        {"user", SetPortConfig,
         makeMap({{"deviceId", u(0)}, {"port", u(0)}, {"width", u(4)}, {"height", u(2)}, {"pixelFormat", u(0)},
                  {"tapGeometry", u(0)}}),
         "{}"},
        {"user", PairPort,
         makeMap({{"deviceId", u(0)}, {"port", u(0)}, {"identity", str("cam")}, {"info", blob("abc")},
                  {"numFramesPerPacket", u(1)}}),
         "{}", {"{type: 5, device: 0, port: 0}"}},
        {"user", StartRecording, start(3), "{}", {"{type: 2, device: 0, port: 1}"}},
        {"user", IsRecordingDone, onDevice(), "{result: {done: true}}", {}, true},
        {"user", StopRecording, onDevice(), "{}", {"{type: 3, device: 0, port: 0}"}},
        {"user", OpenFile, file(1), "{result: {openFileId: 0, mapping: \"orek_tavu*"},
        {"user", FileInfo, makeMap({{"deviceId", u(0)}, {"openFileId", u(0)}}),
         "{result: {width: 4, height: 2, imageSize: 16, numFrames: 3, size: 48}}"},
        {"user", RemoveFile, file(1), "{error: \"File is open\"}"},
        {"user", RenameFile, makeMap({{"deviceId", u(0)}, {"fileId", u(1)}, {"streamId", u(0)}, {"name", str("quiet")}, {"notify", ObjectValue::boolean(false)}}), "{}"},
        {"user", RenameFile, makeMap({{"deviceId", u(0)}, {"fileId", u(1)}, {"streamId", u(0)}, {"name", str("loud")}, {"notify", ObjectValue::boolean(true)}}), "{}",
         {"{type: 4, device: 0, port: 0}"}},
        {"user", CloseFile, makeMap({{"deviceId", u(0)}, {"openFileId", u(0)}}), "{}"},
        {"user", RemoveFile, file(1), "{}", {"{type: 4, device: 0, port: 0}"}},
        {"user", DestroyEventQueue, queue(0), "{}"},
        {"watcher", TryReadEvent, queue(0),
         "{error: \"A connection can only read from an event queue that it created.\"}"},
        {"watcher", CreateEventQueue, ObjectValue::map(0), "{result: {queueId: 1}}"},
    };
    for (const Step& step : steps) {
        SCOPED_TRACE(std::string(step.who) + " " + CommandNames[static_cast<uint32_t>(step.command)]);
        TestClient& client = clients.at(step.who);
        std::string reply = describe(client.exec(step.command, step.params));
        if (step.poll) {
            eventually([&] { return (reply = describe(client.exec(step.command, step.params))) == step.reply; });
        }
        if (step.reply.ends_with('*')) {
            EXPECT_TRUE(reply.starts_with(step.reply.substr(0, step.reply.size() - 1))) << reply;
        } else {
            EXPECT_EQ(reply, step.reply);
        }
        std::vector<std::string> events;
        for (ObjectValue read; ;) {
            read = clients.at("watcher").exec(TryReadEvent, queue(0));
            if (!errorOf(read).empty() || !resultOf(read).mapAt("ok").asBool()) {
                break;
            }
            events.push_back(describe(resultOf(read).mapAt("event")));
        }
        EXPECT_EQ(events, step.events);
    }
}

}  // namespace
}  // namespace tavu::test
