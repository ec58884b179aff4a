#include "encoding/FileStream.h"
#include "records/FileTime.h"
#include "records/MetaRecord.h"
#include "tests/records/RecordTestSupport.h"

#include <cstdio>

namespace tavu::test {
namespace {

using namespace std::string_literals;

FileRecord sampleFile(std::vector<uint8_t> info = {1, 2, 3}) {
    return {"run", "P1", "cam", 7, 2, 640, 480, 100, 3, info, 61440000, 133000000000000000,
            11, 22, 33};
}

Bytes written(const std::vector<FileRecord>& list) {
    BufferStream stream;
    writeMetaList(list, stream);
    return Bytes(stream.data(), stream.data() + stream.size());
}

std::vector<FileRecord> parsedFiles(const Bytes& bytes) {
    Decoder decoder(bytes);
    std::vector<FileRecord> list;
    readMetaList(list, decoder.stream);
    return list;
}

// A meta record whose list is the one file map that `fields` writes.
template <typename Fields>
Bytes withFileMap(uint32_t pairs, Fields fields) {
    return encode([&](MessageWriter& w) {
        writeEnvelope(w, "meta", "info");
        w.writeArrayHeader(1);
        w.writeMapHeader(pairs);
        fields(w);
    });
}

TEST(MetaRecordTest, WritesTheEnvelopeAndTheFileMapKeysInOrder) {
    const Bytes head = concat({}, "\x84\xA4orek\xC3\xA4type\xA4meta\xA7version\x00\xA4info"s);
    EXPECT_EQ(written({}), concat(head, "\x90"));
    EXPECT_TRUE(parsedFiles(written({})).empty());

    const Bytes one = written({sampleFile()});
    EXPECT_EQ(Bytes(one.begin(), one.begin() + head.size() + 1), concat(head, "\x91"));

    const std::vector<std::string> keys = {"name", "port", "camera", "fileId", "streamId",
        "width", "height", "numFrames", "numDroppedFrames", "size", "timestamp", "startTime",
        "endTime", "duration", "info"};
    const std::vector<std::string> withoutInfo(keys.begin(), keys.end() - 1);
    EXPECT_EQ(payloadKeys(written({sampleFile(), sampleFile({})}), "meta", "info"),
              (std::vector{keys, withoutInfo}));
}

TEST(MetaRecordTest, RoundTripsThroughAMemoryBuffer) {
    const std::vector<FileRecord> list = {sampleFile(), sampleFile({})};
    Bytes buffer(512);
    writeMetaList(list, buffer.data(), buffer.size());
    std::vector<FileRecord> target = {sampleFile()};  // reading empties the target first
    readMetaList(target, buffer.data(), buffer.size());
    EXPECT_EQ(target, list);
}

TEST(MetaRecordTest, ReadsKeysInAnyOrderSkipsUnknownOnesAndCutsNumbersToWidth) {
    const std::vector<FileRecord> list = parsedFiles(withFileMap(9, [](MessageWriter& w) {
        w.writeString("info");
        w.writeBlob(nullptr, 0);
        w.writeString("extra");
        w.writeMapHeader(1);
        w.writeString("nested");
        w.writeArrayHeader(2);
        w.writeBlob("ab", 2);
        w.writeString("deep");
        number(w, "numFrames", 5);
        number(w, "height", 2);
        number(w, "width", 70000);
        w.writeString("name");
        w.writeString("first");
        w.writeString("name");
        w.writeString("later wins");
        number(w, "fileId", 0x1'0000'0004);
        number(w, "timestamp", 99);
    }));
    ASSERT_EQ(list.size(), 1u);
    const FileRecord& file = list[0];
    EXPECT_EQ(file.name, "later wins");
    EXPECT_EQ(file.width, 4464);
    EXPECT_EQ(file.fileId, 4u);
    EXPECT_TRUE(file.info.empty());
    EXPECT_EQ(file.size, 4464u * 2 * 5 * 2);
    EXPECT_EQ(file.timestamp, 99u);
}

TEST(MetaRecordTest, FillsInSizeAndTimestampAndDropsUnusableEntries) {
    auto minimal = [](const char* name, uint64_t width, uint64_t height, uint64_t frames) {
        return parsedFiles(withFileMap(4, [=](MessageWriter& w) {
            w.writeString("name");
            w.writeString(name);
            number(w, "width", width);
            number(w, "height", height);
            number(w, "numFrames", frames);
        }));
    };
    const uint64_t before = currentFileTime();
    // 2020-01-01 and 2200-01-01 in 100 ns units since 1601-01-01.
    EXPECT_GT(before, 132223104000000000u);
    EXPECT_LT(before, 189027936000000000u);

    const std::vector<FileRecord> list = minimal("a", 640, 480, 10);
    ASSERT_EQ(list.size(), 1u);
    EXPECT_EQ(list[0].size, 640u * 480 * 10 * 2);
    EXPECT_GE(list[0].timestamp, before);
    EXPECT_LE(list[0].timestamp, currentFileTime());

    // 65535 * 65535 overflows 32 signed bits, and the negative product is widened as it is.
    EXPECT_EQ(minimal("b", 65535, 65535, 1).at(0).size, 0xFFFF'FFFF'FFFC'0002u);

    EXPECT_TRUE(minimal("", 640, 480, 10).empty());
    EXPECT_TRUE(minimal("c", 0, 480, 10).empty());
    EXPECT_TRUE(minimal("c", 640, 0, 10).empty());
    EXPECT_TRUE(minimal("c", 640, 480, 0).empty());
}

TEST(MetaRecordTest, RefusesABadSignatureOrAMissingPayload) {
    const Bytes good = written({});
    auto patched = [&](size_t at, const std::string& text) {
        Bytes bytes = good;
        std::copy(text.begin(), text.end(), bytes.begin() + at);
        return bytes;
    };
    const char* invalid = "Invalid file metadata.";
    EXPECT_THAT([&] { parsedFiles(patched(0, "\x83")); }, throwsRuntime(invalid));
    EXPECT_THAT([&] { parsedFiles(patched(2, "Orek")); }, throwsRuntime(invalid));
    EXPECT_THAT([&] { parsedFiles(patched(6, "\xC2")); }, throwsRuntime(invalid));
    EXPECT_THAT([&] { parsedFiles(patched(13, "mexa")); }, throwsRuntime(invalid));
    EXPECT_THAT([&] { parsedFiles(patched(25, "\x01")); }, throwsRuntime(invalid));
    EXPECT_THAT([&] { parsedFiles(patched(27, "infX")); }, throwsRuntime("Map field not found."));

    // Refused by its first key, before the string behind it can fail as a boolean.
    const Bytes typeFirst = concat({}, "\x84\xA4type\xA4meta\xA4orek\xC3"s);
    EXPECT_THAT([&] { parsedFiles(typeFirst); }, throwsRuntime(invalid));
}

TEST(MetaRecordTest, TruncatedInputRaisesTheStreamsFailureAndKeepsEarlierEntries) {
    const Bytes full = written({sampleFile(), sampleFile({})});
    const Bytes cut(full.begin(), full.end() - 1);  // the last value, "duration", is gone

    const std::string path = tempPath("tavu_meta_cut_");
    {
        FileStream out(path.c_str(), "wb");
        out.write(cut.data(), cut.size());
    }
    std::vector<FileRecord> list;
    {
        FileStream in(path.c_str(), "rb");
        EXPECT_THAT([&] { readMetaList(list, in); }, throwsRuntime("Failed to read."));
    }
    std::remove(path.c_str());
    EXPECT_EQ(list, std::vector{sampleFile()});

    EXPECT_THAT([&] { readMetaList(list, cut.data(), cut.size()); }, throwsRuntime("eof"));
}

}  // namespace
}  // namespace tavu::test
