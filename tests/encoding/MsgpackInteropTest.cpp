// Cross-checks against an independent MessagePack implementation.
#define MSGPACK_NO_BOOST
#include <msgpack.hpp>

#include "tests/encoding/EncodingTestSupport.h"

#include <gtest/gtest.h>

#include <map>

namespace tavu::test {
namespace {

template <typename Pack>
Bytes packed(Pack pack) {
    msgpack::sbuffer buffer;
    msgpack::packer<msgpack::sbuffer> packer(buffer);
    pack(packer);
    return Bytes(buffer.data(), buffer.data() + buffer.size());
}

const std::vector<int64_t> kIntegers = {
    0, 1, 127, 128, 255, 256, 65535, 65536, 0xFFFFFFFF, 0x100000000, INT64_MAX,
    -1, -32, -33, -128, -129, -32768, -32769, INT32_MIN, INT64_C(-2147483649), INT64_MIN,
};

TEST(MsgpackInteropTest, WriterMatchesTheReferencePackerByteForByte) {
    for (int64_t value : kIntegers) {
        SCOPED_TRACE(value);
        EXPECT_EQ(encode([&](auto& w) { w.writeInt(value); }), packed([&](auto& p) { p.pack_int64(value); }));
    }
    EXPECT_EQ(encode([](auto& w) { w.writeUint(UINT64_MAX); }), packed([](auto& p) { p.pack_uint64(UINT64_MAX); }));
    EXPECT_EQ(encode([](auto& w) { w.writeDouble(-0.1); }), packed([](auto& p) { p.pack_double(-0.1); }));
    EXPECT_EQ(encode([](auto& w) { w.writeFloat(3.25f); }), packed([](auto& p) { p.pack_float(3.25f); }));
    EXPECT_EQ(encode([](auto& w) { w.writeNil(), w.writeBool(false), w.writeBool(true); }),
              packed([](auto& p) { p.pack_nil(), p.pack_false(), p.pack_true(); }));

    const std::string text(65536, 't');
    for (uint32_t length : {0u, 1u, 2u, 3u, 4u, 8u, 15u, 16u, 31u, 32u, 255u, 256u, 65535u, 65536u}) {
        SCOPED_TRACE(length);
        const char* body = text.data();
        EXPECT_EQ(encode([&](auto& w) { w.writeString(body, length); }),
                  packed([&](auto& p) { p.pack_str(length), p.pack_str_body(body, length); }));
        EXPECT_EQ(encode([&](auto& w) { w.writeBlob(body, length); }),
                  packed([&](auto& p) { p.pack_bin(length), p.pack_bin_body(body, length); }));
        EXPECT_EQ(encode([&](auto& w) { w.writeExt(7, body, length); }),
                  packed([&](auto& p) { p.pack_ext(length, 7), p.pack_ext_body(body, length); }));
        EXPECT_EQ(encode([&](auto& w) { w.writeMapHeader(length); }), packed([&](auto& p) { p.pack_map(length); }));
        if (length <= 65535) {  // above that our array head deliberately differs
            EXPECT_EQ(encode([&](auto& w) { w.writeArrayHeader(length); }),
                      packed([&](auto& p) { p.pack_array(length); }));
        }
    }
}

TEST(MsgpackInteropTest, ReferenceDecoderReadsOurTree) {
    ObjectValue root = ObjectValue::map(0);
    root.mapAppend("neg", ObjectValue::negative(-300));
    root.mapAppend("ratio", ObjectValue::floating(0.25));
    root.mapAppend("data", ObjectValue::blobCopy("\x00\x01", 2));
    root.mapAppend("list", ObjectValue::array(0));
    root.mapAt("list").arrayAppend(ObjectValue::string(std::string(40, 'n').c_str()));
    root.mapAt("list").arrayAppend(ObjectValue());
    const Bytes bytes = encode([&](auto& w) { w.writeObject(root); });

    const msgpack::object_handle handle = msgpack::unpack(reinterpret_cast<const char*>(bytes.data()), bytes.size());
    auto fields = handle.get().as<std::map<std::string, msgpack::object>>();
    EXPECT_EQ(fields.size(), 4u);
    EXPECT_EQ(fields["neg"].as<int64_t>(), -300);
    EXPECT_EQ(fields["ratio"].as<double>(), 0.25);
    EXPECT_EQ(fields["data"].as<std::vector<char>>(), (std::vector<char>{0, 1}));
    const auto list = fields["list"].as<std::vector<msgpack::object>>();
    ASSERT_EQ(list.size(), 2u);
    EXPECT_EQ(list[0].as<std::string>(), std::string(40, 'n'));
    EXPECT_TRUE(list[1].is_nil());
}

// Decoding the reference packer's bytes and writing the tree back must give
// the same bytes; floats are left out since we always write them as 0xCB.
TEST(MsgpackInteropTest, ReaderReadsTheReferencePackersOutput) {
    const std::string longText(70000, 'L');
    const Bytes bytes = packed([&](auto& p) {
        p.pack_map(3);
        p.pack(std::string("ints")), p.pack_array(static_cast<uint32_t>(kIntegers.size()));
        for (int64_t value : kIntegers) {
            p.pack_int64(value);
        }
        p.pack(std::string("text")), p.pack(longText);
        p.pack(std::string("mixed")), p.pack_array(4), p.pack_double(-2.5), p.pack_bin(2);
        p.pack_bin_body("\x07\x08", 2), p.pack_nil(), p.pack_map(0);
    });

    Decoder d(bytes);
    ObjectValue root;
    d.reader.readObject(root);
    EXPECT_EQ(root.mapAt("ints").arrayAt(20).asNegative(), INT64_MIN);
    EXPECT_EQ(root.mapAt("ints").arrayAt(10).asPositive(), static_cast<uint64_t>(INT64_MAX));
    EXPECT_EQ(encode([&](auto& w) { w.writeObject(root); }), bytes);
}

}  // namespace
}  // namespace tavu::test
