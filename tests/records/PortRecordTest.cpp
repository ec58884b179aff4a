#include "encoding/MemStream.h"
#include "records/ConfigRecord.h"
#include "records/InfoRecord.h"
#include "tests/records/RecordTestSupport.h"

#include <limits>

namespace tavu::test {
namespace {

constexpr uint64_t kUnlimited = std::numeric_limits<uint64_t>::max();

PortRecord port(const std::string& name, size_t blockSize) {
    return {name, "cam of " + name, 1024, 768, 0x01100007, 70000, 4, Bytes(blockSize, 0x5A)};
}

Bytes written(const std::vector<PortRecord>& ports, uint64_t maxInlineInfo) {
    BufferStream stream;
    writePortRecords(ports, stream, maxInlineInfo);
    return Bytes(stream.data(), stream.data() + stream.size());
}

std::vector<PortRecord> parsedPorts(const Bytes& bytes) {
    Decoder decoder(bytes);
    std::vector<PortRecord> ports;
    readPortRecords(decoder.stream, [&](PortRecord&& port) { ports.push_back(std::move(port)); });
    return ports;
}

template <typename Fields>
Bytes withPortMap(uint32_t pairs, Fields fields, const char* type = "config") {
    return encode([&](MessageWriter& w) {
        writeEnvelope(w, type, "config");
        w.writeArrayHeader(1);
        w.writeMapHeader(pairs);
        fields(w);
    });
}

TEST(ConfigRecordTest, WritesPortsInOrderWithBlocksInlineUpToTheLimit) {
    const std::vector<PortRecord> ports = {port("A", 16384), port("B", 16385), port("C", 0)};
    EXPECT_EQ(parsedPorts(written(ports, kUnlimited)), ports);

    std::vector<PortRecord> hardware = parsedPorts(written(ports, kMaxInlineBlock));
    EXPECT_EQ(hardware.at(0), ports[0]);
    EXPECT_TRUE(hardware.at(1).info.empty());

    const std::vector<std::string> keys = {"name", "pairedTo", "width", "height",
        "pixelFormat", "tapGeometry", "numFramesPerPacket", "info"};
    const std::vector<std::string> withoutInfo(keys.begin(), keys.end() - 1);
    EXPECT_EQ(payloadKeys(written(ports, kMaxInlineBlock), "config", "config"),
              (std::vector{keys, withoutInfo, withoutInfo}));
}

TEST(ConfigRecordTest, ReadsKeysInAnyOrderAndAcceptsAnUnpairedPort) {
    const Bytes reversed = withPortMap(9, [](MessageWriter& w) {
        w.writeString("info");
        w.writeBlob("xy", 2);
        number(w, "numFramesPerPacket", 0x10005);
        number(w, "tapGeometry", 6);
        number(w, "pixelFormat", 5);
        number(w, "height", 4);
        number(w, "width", 3);
        w.writeString("pairedTo");
        w.writeString("cam");
        w.writeString("unknown");
        w.writeArrayHeader(2);
        w.writeMapHeader(0);
        w.writeNil();
        w.writeString("name");
        w.writeString("P");
    });
    EXPECT_EQ(parsedPorts(reversed),
              (std::vector<PortRecord>{{"P", "cam", 3, 4, 5, 6, 5, {'x', 'y'}}}));

    auto fivePairs = [](MessageWriter& w) {
        w.writeString("name");
        w.writeString("P");
        number(w, "width", 3);
        number(w, "height", 4);
        number(w, "pixelFormat", 5);
        number(w, "tapGeometry", 6);
    };
    EXPECT_EQ(parsedPorts(withPortMap(5, fivePairs)),
              (std::vector<PortRecord>{{"P", "", 3, 4, 5, 6, 0, {}}}));

    const char* invalid = "Inalid config file.";
    EXPECT_THAT([&] { parsedPorts(withPortMap(4, fivePairs)); }, throwsRuntime(invalid));
    EXPECT_THAT([&] { parsedPorts(withPortMap(5, fivePairs, "meta")); }, throwsRuntime(invalid));
    Bytes threePairs = withPortMap(5, fivePairs);
    threePairs[0] = 0x83;
    EXPECT_THAT([&] { parsedPorts(threePairs); }, throwsRuntime(invalid));
}

// Maps A, B and C, one of them refused for its pair count: the maps before it are handed over.
TEST(ConfigRecordTest, HandsOverEachPortMapBeforeABrokenOne) {
    for (const size_t broken : {0u, 2u}) {
        const Bytes bytes = encode([&](MessageWriter& w) {
            writeEnvelope(w, "config", "config");
            w.writeArrayHeader(3);
            for (const char name : {'A', 'B', 'C'}) {
                w.writeMapHeader(name - 'A' == static_cast<int>(broken) ? 4 : 5);
                w.writeString("name");
                w.writeString(std::string(1, name));
                for (const char* key : {"width", "height", "pixelFormat", "tapGeometry"}) {
                    number(w, key, 1);
                }
            }
        });
        Decoder decoder(bytes);
        std::string handedOver;
        EXPECT_THAT([&] { readPortRecords(decoder.stream, [&](PortRecord&& port) { handedOver += port.name; }); },
                    throwsRuntime("Inalid config file."));
        EXPECT_EQ(handedOver, std::string("AB").substr(0, broken));
    }
}

TEST(InfoRecordTest, RoundTripsBlocksAndNamesRecordingFiles) {
    EXPECT_EQ(infoRecordName(12, 3), "12-3.info");
    EXPECT_EQ(infoRecordName(4294967295u, 0), "4294967295-0.info");

    for (size_t size : {0u, 16385u}) {
        const Bytes block(size, 0xA5);
        BufferStream stream;
        writeInfoRecord(block, stream);
        EXPECT_EQ(readInfoRecord(stream), block);
    }

    // In memory, an empty blob as the very last value meets the end of the buffer.
    BufferStream empty;
    writeInfoRecord({}, empty);
    Bytes bytes(empty.data(), empty.data() + empty.size());
    MemStream memory(bytes.data(), bytes.size());
    EXPECT_THAT([&] { readInfoRecord(memory); }, throwsRuntime("eof"));
}

TEST(InfoRecordTest, RefusesABadEnvelopeAndAShortBody) {
    auto read = [](const Bytes& bytes) {
        Decoder decoder(bytes);
        return readInfoRecord(decoder.stream);
    };
    BufferStream good;
    writeInfoRecord(Bytes{1, 2, 3}, good);
    Bytes bytes(good.data(), good.data() + good.size());

    EXPECT_THAT([&] { read(written({}, kUnlimited)); }, throwsRuntime("Inalid info file."));
    bytes[0] = 0x83;
    EXPECT_THAT([&] { read(bytes); }, throwsRuntime("Inalid info file."));
    bytes[0] = 0x84;
    bytes.pop_back();
    EXPECT_THAT([&] { read(bytes); }, throwsRuntime("Failed to read."));
}

}  // namespace
}  // namespace tavu::test
