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

}  // namespace
}  // namespace tavu::test
