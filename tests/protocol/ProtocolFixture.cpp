#include "ProtocolFixture.h"

#include <boost/make_shared.hpp>
#include <cstdio>

#include "encoding/BufferStream.h"
#include "encoding/MessageReader.h"
#include "encoding/MessageWriter.h"
#include "hardware/RecorderDiscovery.h"
#include "protocol/RequestLoop.h"

namespace tavu {

void PrintTo(const DeviceEvent& event, std::ostream* out) {
    *out << "{type " << event.type << ", device " << event.device << ", port " << event.port << "}";
}

namespace test {

namespace {

class FakeCollection : public Quillon::DeviceCollection {
public:
    explicit FakeCollection(uint32_t recorders) : recorders_(recorders) {}

    uint32_t count() override { return recorders_; }
    Quillon::String deviceName(uint32_t index) override { return ("Recorder " + std::to_string(index)).c_str(); }
    uint32_t deviceState(uint32_t) override { return 0; }
    boost::shared_ptr<Quillon::Device> device(uint32_t) override { return {}; }
    uint32_t registerChangeCallback(ChangeCallback) override { return 1; }
    void unregisterChangeCallback(uint32_t) override {}

private:
    uint32_t recorders_;
};

class FakeInstance : public Quillon::Instance {
public:
    explicit FakeInstance(uint32_t recorders) : collection_(boost::make_shared<FakeCollection>(recorders)) {}

    boost::shared_ptr<Quillon::DeviceCollection> deviceCollection(Quillon::HostInterfaceType, bool) override {
        return collection_;
    }
    Quillon::VersionInfo version() override { return {2, 1, 0, 38}; }

private:
    boost::shared_ptr<Quillon::DeviceCollection> collection_;
};

// The client's side of one run of the request loop: the requests it reads, and each reply as
// the loop wrote it, in one write.
class Exchange : public Stream {
public:
    explicit Exchange(BufferStream& requests) : requests_(requests) {}

    uint64_t read(void* buffer, uint64_t byteCount) override { return requests_.read(buffer, byteCount); }
    uint64_t write(const void* buffer, uint64_t byteCount) override {
        const auto* bytes = static_cast<const uint8_t*>(buffer);
        replies.emplace_back(bytes, bytes + byteCount);
        return byteCount;
    }

    std::vector<std::vector<uint8_t>> replies;

private:
    BufferStream& requests_;
};

std::vector<uint8_t> encode(const ObjectValue& value) {
    BufferStream buffer;
    MessageWriter(buffer).writeObject(value);
    return {buffer.data(), buffer.data() + buffer.size()};
}

}  // namespace

FakeLibrary::FakeLibrary(uint32_t recorders) : instance_(boost::make_shared<FakeInstance>(recorders)) {}

ObjectValue resultMap(std::initializer_list<std::pair<const char*, ObjectValue>> pairs) {
    if (pairs.size() == 0) {
        return ObjectValue::map(0);
    }
    return makeMap({{"result", makeMap(pairs)}});
}

ObjectValue blob(const std::string& bytes) {
    return ObjectValue::blobCopy(bytes.data(), static_cast<uint32_t>(bytes.size()));
}

ObjectValue boolean(bool value) { return ObjectValue::boolean(value); }

std::string hex(const std::vector<uint8_t>& bytes) {
    std::string text;
    char digits[4];
    for (const uint8_t byte : bytes) {
        std::snprintf(digits, sizeof digits, "%02X ", byte);
        text += digits;
    }
    return text;
}

void expectReply(const Reply& reply, const ObjectValue& expected) {
    EXPECT_EQ(hex(reply.bytes), hex(encode(expected))) << reply.error();
}

ProtocolTest::ProtocolTest(uint32_t recorders)
    : library_(recorders), override_(&library_) {
    manager_.start({std::make_unique<RecorderDiscovery>([this] {
                        auto device = std::make_unique<testing::StrictMock<MockDevice>>();
                        devices_.push_back(device.get());
                        return device;
                    }),
                    nullptr});
}

// Through the request loop, after the handshake; the loop ends where the requests do.
Reply ProtocolTest::call(ClientHoldings& client, uint32_t ordinal, std::optional<ObjectValue> params) {
    ObjectValue request = makeMap({{"act", str("exec")}, {"ord", u(ordinal)}});
    if (params) {
        request.mapAppend("params", std::move(*params));
    }
    BufferStream requests;
    MessageWriter writer(requests);
    writer.writeObject(makeMap({{"act", str("verCheck")}, {"ver", u(0)}}));
    writer.writeObject(request);
    Exchange exchange(requests);
    try {
        runRequestLoop(exchange, client, manager_, clients_);
    } catch (...) {
        // No more requests.
    }
    Reply reply{exchange.replies.at(1), {}};
    BufferStream bytes;
    bytes.write(reply.bytes.data(), reply.bytes.size());
    MessageReader(bytes).readObject(reply.value);
    return reply;
}

uint32_t ProtocolTest::openQueue(ClientHoldings& client) {
    const Reply reply = call(client, 0, std::nullopt);
    return static_cast<uint32_t>(reply.result().mapAt("queueId").asPositive());
}

std::vector<DeviceEvent> ProtocolTest::takeEvents(ClientHoldings& client) {
    std::vector<DeviceEvent> events;
    DeviceEvent event;
    while (manager_.tryReadEvent(client.eventQueueId, event)) {
        events.push_back(event);
    }
    return events;
}

}  // namespace test
}  // namespace tavu
