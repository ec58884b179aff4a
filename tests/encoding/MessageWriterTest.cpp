// Standard forms are checked against a reference packer in MsgpackInteropTest;
// this file covers what only our format does.
#include "tests/encoding/EncodingTestSupport.h"

#include <gtest/gtest.h>

namespace tavu::test {
namespace {

TEST(MessageWriterTest, ArrayHeadsAboveSixteenBitsKeepTheLeadByteDC) {
    EXPECT_EQ(encode([](auto& w) { w.writeArrayHeader(65535); }), (Bytes{0xDC, 0xFF, 0xFF}));
    EXPECT_EQ(encode([](auto& w) { w.writeArrayHeader(65536); }), (Bytes{0xDC, 0x00, 0x01, 0x00, 0x00}));

    ObjectValue big = ObjectValue::array(65536);
    for (int i = 0; i < 65536; ++i) {
        big.arrayAppend(ObjectValue());
    }
    const Bytes bytes = encode([&](auto& w) { w.writeObject(big); });
    EXPECT_EQ(Bytes(bytes.begin(), bytes.begin() + 5), (Bytes{0xDC, 0x00, 0x01, 0x00, 0x00}));
    EXPECT_EQ(bytes.size(), 5u + 65536u);
}

TEST(MessageWriterTest, StringLengthIsCountedOrTakenAsGiven) {
    EXPECT_EQ(encode([](auto& w) { w.writeString("ab"); }), (Bytes{0xA2, 'a', 'b'}));
    EXPECT_EQ(encode([](auto& w) { w.writeString("a\0b", 3); }), (Bytes{0xA3, 'a', 0, 'b'}));
}

// Each write call on the stream, in order.
class RecordingStream : public Stream {
public:
    uint64_t read(void*, uint64_t) override { return 0; }
    uint64_t write(const void* buffer, uint64_t byteCount) override {
        const auto* bytes = static_cast<const uint8_t*>(buffer);
        writes.emplace_back(bytes, bytes + byteCount);
        return byteCount;
    }
    std::vector<Bytes> writes;
};

TEST(MessageWriterTest, HeadAndBodyAreSeparateStreamWrites) {
    RecordingStream stream;
    MessageWriter writer(stream);
    writer.writeString("", 0);
    writer.writeInt(-300);
    writer.writeBlob("ab", 2);
    EXPECT_EQ(stream.writes, (std::vector<Bytes>{{0xA0}, {}, {0xD1, 0xFE, 0xD4}, {0xC4, 0x02}, {'a', 'b'}}));
}

TEST(MessageWriterTest, WriteObjectWritesTheTreeInStoredOrderWithFloatsAsDouble) {
    ObjectValue inner = ObjectValue::array(0);
    inner.arrayAppend(ObjectValue::negative(-5));
    inner.arrayAppend(ObjectValue::boolean(true));
    inner.arrayAppend(ObjectValue());
    ObjectValue root = ObjectValue::map(0);
    root.mapAppend("a", ObjectValue::positive(1));
    root.mapAppend("a", ObjectValue::floating(1.5));
    root.mapAppend("s", ObjectValue::string("hi"));
    root.mapAppend("b", ObjectValue::blobCopy("\x09", 1));
    root.mapAppend("l", std::move(inner));

    EXPECT_EQ(encode([&](auto& w) { w.writeObject(root); }),
              (Bytes{0x85, 0xA1, 'a', 0x01, 0xA1, 'a', 0xCB, 0x3F, 0xF8, 0, 0, 0, 0, 0, 0,
                     0xA1, 's', 0xA2, 'h', 'i', 0xA1, 'b', 0xC4, 0x01, 0x09,
                     0xA1, 'l', 0x93, 0xFB, 0xC3, 0xC0}));
}

}  // namespace
}  // namespace tavu::test
