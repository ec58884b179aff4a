#include "Recorder.h"
#include "records/MetaRecord.h"
#include "service/SharedRegion.h"

#include <gtest/gtest.h>

#include <numeric>

namespace tavu::test {
namespace {

using testing::_;
using testing::Return;

Ptr<Common::Frame> frameOf(uint32_t bytes, uint32_t bitDepth = 16) {
    auto buffer = boost::make_shared<Common::Buffer>(bytes);
    std::iota(buffer->data(), buffer->data() + bytes, uint8_t{1});
    return boost::make_shared<Common::Frame>(boost::make_shared<Common::DataType>(4, 2, bitDepth), buffer);
}

// The bytes of a region, as a client that mapped it sees them.
std::vector<uint8_t> mapped(const std::string& mapping, size_t bytes) {
    SharedRegion region;
    EXPECT_TRUE(region.open(mapping));
    const auto* view = static_cast<const uint8_t*>(region.view());
    return std::vector<uint8_t>(view, view + bytes);
}

class Playback : public testing::Test {
protected:
    static constexpr uint32_t FileId = 60;
    static constexpr uint32_t StreamId = 3;

    Playback() {
        recorder.connect();
        ON_CALL(*recorder.driveSet, openFile(FileId)).WillByDefault(Return(file));
        ON_CALL(*file, streamById(StreamId)).WillByDefault(Return(stream));
        ON_CALL(*stream, frames(0, 0, false, false)).WillByDefault(Return(sequence));
        ON_CALL(*sequence, dataType()).WillByDefault(Return(boost::make_shared<Common::DataType>(4, 2, 16)));
        ON_CALL(*sequence, frameCount()).WillByDefault(Return(10));
        ON_CALL(*file, readMetadata()).WillByDefault([] {
            FileRecord record;
            record.name = "played";
            record.fileId = FileId;
            record.streamId = StreamId;
            record.width = 4;
            record.height = 2;
            record.numFrames = 10;
            auto buffer = boost::make_shared<Common::Buffer>(1024);
            writeMetaList({record}, buffer->data(), buffer->size());
            return buffer;
        });
    }

    uint32_t open(std::string* mapping = nullptr) {
        uint32_t openFileId = 0;
        std::string name;
        recorder.tavu->openFile(openFileId, name, FileId, StreamId);
        if (mapping != nullptr) {
            *mapping = name;
        }
        return openFileId;
    }

    Recorder recorder;
    Ptr<Nice<MockDriveFile>> file = boost::make_shared<Nice<MockDriveFile>>();
    Ptr<Nice<MockRecordedStream>> stream = boost::make_shared<Nice<MockRecordedStream>>();
    Ptr<Nice<MockFrameSequence>> sequence = boost::make_shared<Nice<MockFrameSequence>>();
};

TEST_F(Playback, SlotsShareOneReaderAreReusedLowestFirstAndBarRemoval) {
    // Opened once for both slots, and again only after the last of them closed.
    EXPECT_CALL(*recorder.driveSet, openFile(FileId)).Times(2);
    EXPECT_CALL(*file, streamById(StreamId)).Times(2);
    std::string first;
    std::string second;
    EXPECT_EQ(open(&first), 0u);
    EXPECT_EQ(open(&second), 1u);
    EXPECT_NE(first, second);

    recorder.tavu->closeFile(0);
    EXPECT_EQ(thrownText([&] { recorder.tavu->closeFile(0); }), "Invalid file id.");
    EXPECT_EQ(open(), 0u);
    recorder.tavu->closeFile(1);
    EXPECT_EQ(thrownText([&] { recorder.tavu->removeFile(FileId, StreamId); }), "Can't remove file, file is open.");
    recorder.tavu->closeFile(0);
    EXPECT_EQ(open(), 0u);
    recorder.tavu->closeFile(0);
    testing::Mock::VerifyAndClearExpectations(recorder.driveSet.get());
    // Its last stream gone, the drive file goes too.
    EXPECT_CALL(*recorder.driveSet, removeFile(FileId));
    recorder.tavu->removeFile(FileId, StreamId);
}

TEST_F(Playback, ReadFrameCopiesOneFrameIntoTheRegion) {
    std::string mapping;
    const uint32_t id = open(&mapping);
    uint16_t width = 0;
    uint16_t height = 0;
    uint32_t imageSize = 0;
    uint64_t numFrames = 0;
    uint64_t size = 0;
    recorder.tavu->fileInfo(id, width, height, imageSize, numFrames, size);
    EXPECT_EQ(std::tie(width, height, imageSize, numFrames, size), std::make_tuple(4, 2, 16u, 10u, 160u));

    EXPECT_CALL(*sequence, readFrames(_, testing::Eq(7u), 1))
        .WillOnce([](Ptr<Common::Frame>& frame, uint64_t&, uint32_t) { frame = frameOf(20); })
        .WillOnce([](Ptr<Common::Frame>& frame, uint64_t&, uint32_t) { frame = frameOf(15); })
        .WillOnce([](Ptr<Common::Frame>&, uint64_t&, uint32_t) {});
    // A larger buffer gives its first frame's worth of bytes.
    recorder.tavu->readFrame(id, 7);
    std::vector<uint8_t> expected(16);
    std::iota(expected.begin(), expected.end(), uint8_t{1});
    EXPECT_EQ(mapped(mapping, 16), expected);
    EXPECT_EQ(thrownText([&] { recorder.tavu->readFrame(id, 7); }), "Buffer size doesn't match expected size.");
    EXPECT_EQ(thrownText([&] { recorder.tavu->readFrame(id, 7); }), "Failed to read file.");
    EXPECT_EQ(thrownText([&] { recorder.tavu->readFrame(5, 7); }), "Invalid file id.");
}

}  // namespace
}  // namespace tavu::test
