#include "LibraryMocks.h"
#include "library/Loader.h"
#include "hardware/QuillonFileStream.h"

#include <gtest/gtest.h>

#include <numeric>

namespace tavu::test {
namespace {

using testing::_;
using testing::NiceMock;
using testing::Return;

// Two drives of 8-byte clusters.
constexpr uint32_t BlockBytes = 16;

std::vector<uint8_t> counting(size_t size, uint8_t first = 0) {
    std::vector<uint8_t> bytes(size);
    std::iota(bytes.begin(), bytes.end(), first);
    return bytes;
}

class QuillonFileStreamTest : public testing::Test {
protected:
    QuillonFileStreamTest() {
        Quillon::Vector<Ptr<Quillon::Drive>> drives = vectorOf<Ptr<Quillon::Drive>>(
            {boost::make_shared<FakeDrive>(0), boost::make_shared<FakeDrive>(1)});
        ON_CALL(*driveSet, drives()).WillByDefault(Return(drives));
        ON_CALL(*file, driveSet(_)).WillByDefault(Return(driveSet));
        ON_CALL(*file, info()).WillByDefault(Return(boost::make_shared<Quillon::DriveFileInfo>(Quillon::DriveFileInfo{8})));
        ON_CALL(*file, writeBlock(_)).WillByDefault([this](const Ptr<Common::Buffer>& buffer) {
            written.emplace_back(buffer->data(), buffer->data() + buffer->size());
        });
    }

    TestLibrary library;
    ScopedLibraryOverride libraryOverride{&library};
    Ptr<NiceMock<MockDriveSet>> driveSet = boost::make_shared<NiceMock<MockDriveSet>>();
    Ptr<NiceMock<MockDriveFile>> file = boost::make_shared<NiceMock<MockDriveFile>>();
    std::vector<std::vector<uint8_t>> written;
};

TEST_F(QuillonFileStreamTest, AnExactBlockIsWrittenAtOnceAndFlushAddsNothing) {
    QuillonFileStream stream(file, true);
    const std::vector<uint8_t> data = counting(BlockBytes);
    EXPECT_EQ(stream.write(data.data(), data.size()), BlockBytes);
    EXPECT_EQ(written, std::vector<std::vector<uint8_t>>{data});
    EXPECT_FALSE(stream.dirty());
    stream.flush();
    EXPECT_EQ(written.size(), 1u);
}

TEST_F(QuillonFileStreamTest, ABlockAndOneByteLeaveTheByteForFlush) {
    QuillonFileStream stream(file, true);
    const std::vector<uint8_t> data = counting(BlockBytes + 1);
    stream.write(data.data(), data.size());
    EXPECT_EQ(written.size(), 1u);
    EXPECT_TRUE(stream.dirty());
    stream.flush();
    ASSERT_EQ(written.size(), 2u);
    // A whole block: the byte, and what the buffer held behind it.
    EXPECT_EQ(written[1].size(), BlockBytes);
    EXPECT_EQ(written[1][0], BlockBytes);
}

TEST_F(QuillonFileStreamTest, TheEndOfAWriterFlushesOnlyWhatWasWritten) {
    { QuillonFileStream untouched(file, true); }
    EXPECT_TRUE(written.empty());
    const uint8_t bytes[] = {42, 43};
    { QuillonFileStream stream(file, true); stream.write(&bytes[0], 1); }
    ASSERT_EQ(written.size(), 1u);
    EXPECT_EQ(written[0][0], 42);
    // A writer that an exception leaves holds a broken record, which stays unwritten.
    try {
        QuillonFileStream stream(file, true);
        stream.write(&bytes[1], 1);
        throw std::runtime_error("record failed");
    } catch (const std::runtime_error&) {
    }
    EXPECT_EQ(written.size(), 1u);
}

TEST_F(QuillonFileStreamTest, ReadsFetchABlockOnlyWhenTheLastIsUsedUp) {
    uint8_t next = 0;
    EXPECT_CALL(*file, readBlock(_, 0)).Times(2).WillRepeatedly([&](const Ptr<Common::Buffer>& buffer, uint32_t) {
        const std::vector<uint8_t> block = counting(BlockBytes, next);
        std::copy(block.begin(), block.end(), buffer->data());
        next += BlockBytes;
    });
    QuillonFileStream stream(file, false);
    uint8_t first[2] = {0xFF, 0xFF};
    stream.read(&first[0], 1);
    stream.read(&first[1], 1);
    EXPECT_EQ(std::vector<uint8_t>(first, first + 2), counting(2));
    // Across the end of the first block into the second.
    std::vector<uint8_t> rest(BlockBytes);
    EXPECT_EQ(stream.read(rest.data(), rest.size()), BlockBytes);
    EXPECT_EQ(rest, counting(BlockBytes, 2));
}

}  // namespace
}  // namespace tavu::test
