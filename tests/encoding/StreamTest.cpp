#include "encoding/BufferStream.h"
#include "encoding/FileStream.h"
#include "encoding/MemStream.h"
#include "tests/encoding/EncodingTestSupport.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <string>

#include <unistd.h>

namespace tavu::test {
namespace {

TEST(MemStreamTest, AccessAtTheEndRaisesEofEvenForZeroBytesAndShortAccessIsClipped) {
    MemStream empty(nullptr, 0);
    char out[10] = {};
    EXPECT_THAT([&] { empty.read(out, 0); }, throwsRuntime("eof"));
    EXPECT_THAT([&] { empty.write(out, 0); }, throwsRuntime("eof"));

    char data[5] = {'a', 'b', 'c', 'd', 'e'};
    MemStream stream(data, sizeof data);
    EXPECT_EQ(stream.read(out, 2), 2u);
    EXPECT_EQ(stream.read(out, 10), 3u);
    EXPECT_EQ(std::string(out, 3), "cde");
    EXPECT_THAT([&] { stream.read(out, 0); }, throwsRuntime("eof"));

    // A record that does not fit is cut silently; only the next write raises.
    uint8_t view[2] = {};
    MemStream small(view, sizeof view);
    MessageWriter writer(small);
    writer.writeUint(65535);
    EXPECT_EQ(Bytes(view, view + 2), (Bytes{0xCD, 0xFF}));
    EXPECT_THAT([&] { writer.writeNil(); }, throwsRuntime("eof"));
}

TEST(FileStreamTest, ShortCountAtEndOfFileAndOpenFailureNamesThePath) {
    const std::string path = testing::TempDir() + "tavu_filestream_" + std::to_string(getpid());
    {
        FileStream out(path.c_str(), "wb");
        EXPECT_EQ(out.write("hello", 5), 5u);
    }
    {
        FileStream in(path.c_str(), "rb");
        char buffer[8] = {};
        EXPECT_EQ(in.read(buffer, 8), 5u);
        EXPECT_EQ(std::string(buffer, 5), "hello");
        EXPECT_EQ(in.read(buffer, 1), 0u);
    }
    std::remove(path.c_str());

    const std::string missing = testing::TempDir() + "no-such-folder-tavu/record";
    EXPECT_THAT([&] { FileStream(missing.c_str(), "rb"); },
                throwsRuntime(("Failed to open file: " + missing).c_str()));
}

TEST(BufferStreamTest, AppendsReadsForwardAndClears) {
    BufferStream stream;
    stream.write("abc", 3);
    stream.write("de", 2);
    char out[8] = {};
    EXPECT_EQ(stream.read(out, 2), 2u);
    EXPECT_EQ(stream.read(out, 8), 3u);
    EXPECT_EQ(std::string(out, 3), "cde");
    EXPECT_EQ(stream.read(out, 1), 0u);

    stream.clear();
    stream.write("z", 1);
    EXPECT_EQ(stream.size(), 1u);
    EXPECT_EQ(stream.read(out, 8), 1u);
}

}  // namespace
}  // namespace tavu::test
