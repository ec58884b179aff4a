#include "encoding/FileStream.h"
#include "encoding/MemStream.h"
#include "tests/encoding/EncodingTestSupport.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <functional>

#include <unistd.h>

namespace tavu::test {
namespace {

using T = ObjectType;

TEST(MessageReaderTest, HeadsDecodeToTypeValueAndLengthConsumingExactlyTheirBytes) {
    struct HeadCase {
        Bytes bytes;
        T type;
        uint64_t value;  // integer bits, or the length of a container or blob
    };
    const std::vector<HeadCase> cases = {
        {concat({0xCF}, std::string(8, '\xFF')), T::PositiveInteger, UINT64_MAX},
        {{0xD0, 0x05}, T::PositiveInteger, 5},
        {{0xD0, 0xFB}, T::NegativeInteger, static_cast<uint64_t>(-5)},
        {{0xD1, 0x00, 0x80}, T::PositiveInteger, 128},
        {{0xD3, 0x80, 0, 0, 0, 0, 0, 0, 0}, T::NegativeInteger, static_cast<uint64_t>(INT64_MIN)},
        {{0xDF, 0x00, 0x01, 0x00, 0x00}, T::Map, 65536},
        {{0x9F}, T::Array, 15},
        {{0xDC, 0xFF, 0xFF}, T::Array, 65535},
        {{0xDD, 0x00, 0x01, 0x00, 0x00}, T::Array, 65536},
        {{0xC4, 0x02}, T::Blob, 2},  // the body stays in the stream
        {{0xC0}, T::Nil, 0},
    };
    for (const HeadCase& c : cases) {
        SCOPED_TRACE(testing::PrintToString(c.bytes));
        Decoder d(c.bytes);
        ASSERT_TRUE(d.reader.next());
        EXPECT_EQ(d.reader.lastType(), c.type);
        if (c.type == T::PositiveInteger || c.type == T::NegativeInteger) {
            EXPECT_EQ(d.reader.posValue(), c.value);
            EXPECT_EQ(d.reader.negValue(), static_cast<int64_t>(c.value));
        } else if (c.type != T::Nil) {
            EXPECT_EQ(d.reader.lastLength(), c.value);
        }
        EXPECT_TRUE(d.atEnd());
    }
}

using TypedRead = std::function<void(MessageReader&)>;

const std::vector<std::pair<const char*, TypedRead>>& typedReads() {
    static const std::vector<std::pair<const char*, TypedRead>> reads = {
        {"Expected array.", [](auto& r) { r.readArrayHeader(); }},
        {"Expected map.", [](auto& r) { r.readMapHeader(); }},
        {"Expected blob.", [](auto& r) { r.readBlobHeader(); }},
        {"Expected boolean.", [](auto& r) { r.readBool(); }},
        {"Expected pos integer.", [](auto& r) { r.readPosInt(); }},
        {"Expected neg integer.", [](auto& r) { r.readNegInt(); }},
        {"Expected integer.", [](auto& r) { r.readInt(); }},
        {"Expected string.", [](auto& r) { std::string s; r.readString(s); }},
    };
    return reads;
}

TEST(MessageReaderTest, TypedReadsNameTheTypeTheyExpected) {
    for (const auto& [text, read] : typedReads()) {
        SCOPED_TRACE(text);
        Decoder d({0xC0});
        EXPECT_THAT([&] { read(d.reader); }, throwsRuntime(text));
    }
    Decoder d({0xFF, 0x05, 0xCF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xD3, 0xFF, 0xFF, 0xFF, 0xFF,
               0xFF, 0xFF, 0xFF, 0xFF});
    EXPECT_THAT([&] { d.reader.readPosInt(); }, throwsRuntime("Expected pos integer."));
    EXPECT_THAT([&] { d.reader.readNegInt(); }, throwsRuntime("Expected neg integer."));
    EXPECT_THAT([&] { d.reader.readInt(); }, throwsRuntime("Integer value out of range, expected int64_t."));
    EXPECT_EQ(d.reader.readInt(), -1);
}

TEST(MessageReaderTest, UnusedExtAndFixextHeadsAreRefusedAsUnreadable) {
    for (uint8_t lead : {0xC1, 0xC7, 0xC8, 0xC9, 0xD4, 0xD5, 0xD6, 0xD7, 0xD8}) {
        SCOPED_TRACE(static_cast<int>(lead));
        Bytes bytes(20, 0x01);
        bytes[0] = lead;
        for (const auto& [text, read] : typedReads()) {
            Decoder d(bytes);
            EXPECT_THAT([&] { read(d.reader); }, throwsRuntime("Failed to read."));
        }
        Decoder d(concat({0xC3}, std::string(bytes.begin(), bytes.end())));
        ASSERT_TRUE(d.reader.next());
        EXPECT_FALSE(d.reader.next());
        EXPECT_EQ(d.reader.lastType(), T::Bool);
    }
}

TEST(MessageReaderTest, FindField) {
    const Bytes map = encode([](auto& w) {
        w.writeMapHeader(3);
        w.writeString("skip"), w.writeArrayHeader(2), w.writeBlob("xyz", 3), w.writeMapHeader(1);
        w.writeString("in"), w.writeInt(-7);
        w.writeString("a"), w.writeUint(1);
        w.writeString("b"), w.writeUint(2);
        w.writeUint(99);  // behind the map
    });
    Decoder hit(map);
    uint32_t remaining = hit.reader.readMapHeader();
    hit.reader.findField(remaining, "a");
    EXPECT_EQ(remaining, 1u);
    EXPECT_EQ(hit.reader.readPosInt(), 1u);
    EXPECT_THAT([&] { hit.reader.findField(remaining, "skip"); }, throwsRuntime("Map field not found."));
    EXPECT_EQ(hit.reader.readPosInt(), 99u);

    Decoder miss(map);
    remaining = miss.reader.readMapHeader();
    EXPECT_THAT([&] { miss.reader.findField(remaining, "ab"); }, throwsRuntime("Map field not found."));
    EXPECT_EQ(remaining, 0u);
    EXPECT_EQ(miss.reader.readPosInt(), 99u);
    EXPECT_THAT([&] { miss.reader.findField(remaining, "a"); }, throwsRuntime("Map field not found."));

    Decoder badKey({0x81, 0x01, 0x02});
    remaining = badKey.reader.readMapHeader();
    EXPECT_THAT([&] { badKey.reader.findField(remaining, "a"); }, throwsRuntime("Expected string."));
}

TEST(MessageReaderTest, BlobBodyIsReadWholeOrNotAtAll) {
    Decoder d({0x01, 0xC4, 0x03, 'a', 'b', 'c', 0xC4, 0x05, 'a', 'b'});
    char buffer[8] = {};
    d.reader.readPosInt();
    EXPECT_THAT([&] { d.reader.readBlobBody(buffer, 3); }, throwsRuntime("Not a blob."));
    ASSERT_EQ(d.reader.readBlobHeader(), 3u);
    EXPECT_THAT([&] { d.reader.readBlobBody(buffer, 2); }, throwsRuntime("Must read entire blob."));
    d.reader.readBlobBody(buffer, 3);
    EXPECT_EQ(std::string(buffer, 3), "abc");
    ASSERT_EQ(d.reader.readBlobHeader(), 5u);
    EXPECT_THAT([&] { d.reader.readBlobBody(buffer, 5); }, throwsRuntime("Failed to read."));
}

TEST(MessageReaderTest, TruncationInMemoryIsEofAtTheEndAndFailedToReadWhenClipped) {
    struct TruncCase {
        Bytes bytes;
        const char* text;
    };
    const std::vector<TruncCase> cases = {
        {{0xA3, 'a', 'b'}, "Failed to read."},
        {{0xCD, 0x01}, "Failed to read."},
        {{0xCD}, "eof"},
        {{0xA0}, "eof"},  // even an empty body is a read at the end
        {{}, "eof"},
    };
    for (TruncCase c : cases) {
        SCOPED_TRACE(testing::PrintToString(c.bytes));
        MemStream stream(c.bytes.data(), c.bytes.size());
        MessageReader reader(stream);
        ObjectValue value;
        EXPECT_THAT([&] { reader.readObject(value); }, throwsRuntime(c.text));
    }
}

// A body cut off exactly where one read step ends reads as any other clipped body.
TEST(MessageReaderTest, TruncationInMemoryAtAReadStepIsFailedToRead) {
    const std::string step(65536, 'x');
    for (uint8_t lead : {uint8_t{0xDB}, uint8_t{0xC6}}) {
        const Bytes bytes = concat({lead, 0x00, 0x01, 0x00, 0x01}, step);
        // A blob's body can also be read on its own, after its head.
        const int ways = lead == 0xC6 ? 3 : 2;
        for (int way = 0; way < ways; ++way) {
            SCOPED_TRACE(testing::Message() << "lead " << int{lead} << " way " << way);
            Bytes copy = bytes;
            MemStream stream(copy.data(), copy.size());
            MessageReader reader(stream);
            ObjectValue value;
            std::vector<uint8_t> body;
            auto read = [&] {
                if (way == 0) {
                    reader.readObject(value);
                } else if (way == 1) {
                    reader.skipValue();
                } else {
                    reader.readBlobHeader();
                    reader.readBlobBody(body);
                }
            };
            EXPECT_THAT(read, throwsRuntime("Failed to read."));
        }
    }
}

TEST(MessageReaderTest, NestingIsReadUpToTheLimitAndRefusedPastIt) {
    for (const Bytes& level : {Bytes{0x91}, Bytes{0x81, 0xA1, 'k'}}) {
        for (const uint32_t depth : {MessageReader::MaxDepth, MessageReader::MaxDepth + 1}) {
            Bytes bytes;
            for (uint32_t i = 0; i < depth; ++i) {
                bytes.insert(bytes.end(), level.begin(), level.end());
            }
            bytes.push_back(0xC0);
            for (const bool skip : {false, true}) {
                SCOPED_TRACE(testing::Message() << "lead " << int{level[0]} << " depth " << depth << " skip " << skip);
                Decoder d(bytes);
                ObjectValue value;
                const auto read = [&] { skip ? d.reader.skipValue() : d.reader.readObject(value); };
                if (depth <= MessageReader::MaxDepth) {
                    EXPECT_NO_THROW(read());
                    EXPECT_TRUE(d.atEnd());
                } else {
                    EXPECT_THAT(read, throwsRuntime("Failed to read."));
                }
            }
        }
    }
}

}  // namespace
}  // namespace tavu::test
