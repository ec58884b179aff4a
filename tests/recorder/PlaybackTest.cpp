// Playback of recordings on a simulated recorder through the socket: open files, their regions,
// the frames that the cameras delivered, and what open files forbid.
#include "RecorderFixture.h"
#include "client/FrameView.h"

namespace tavu::test {
namespace {

using Playback = RecorderFixture;

TEST_F(Playback, OpenFilesReadTheCameraFramesReuseTheLowestIdAndBarRemoval) {
    startWithRecorderA();
    const std::vector<FileRecord> files = recordFrames(3, 20, 16, 4);
    ASSERT_EQ(files.size(), 2u);
    const FileRecord& second = files[1];

    // The same stream twice: two ids with a region each.
    const OpenedFile a = client().openFile(0, second.fileId, second.streamId);
    const OpenedFile b = client().openFile(0, second.fileId, second.streamId);
    EXPECT_EQ(a.openFileId, 0u);
    EXPECT_EQ(b.openFileId, 1u);
    EXPECT_NE(a.mapping, b.mapping);
    const OpenFileInfo info = client().fileInfo(0, b.openFileId);
    EXPECT_EQ(info.width, 16u);
    EXPECT_EQ(info.height, 4u);
    EXPECT_EQ(info.imageSize, 16u * 4 * 2);
    EXPECT_EQ(info.numFrames, 20u);
    EXPECT_EQ(info.size, 20u * 16 * 4 * 2);

    const client::FrameView viewA(a.mapping), viewB(b.mapping);
    client().readFrame(0, a.openFileId, 19);
    client().readFrame(0, b.openFileId, 3);
    EXPECT_TRUE(isCameraFrame(viewA.frame(info.imageSize), 16, 4, 1, 19));
    EXPECT_TRUE(isCameraFrame(viewB.frame(info.imageSize), 16, 4, 1, 3));
    client().readFrame(0, a.openFileId, 0);
    EXPECT_TRUE(isCameraFrame(viewA.frame(info.imageSize), 16, 4, 1, 0));
    // Past the end the reader has no frame, and the region keeps the last one.
    EXPECT_EQ(serviceError([&] { client().readFrame(0, a.openFileId, 20); }), "Failed to read file.");
    EXPECT_TRUE(isCameraFrame(viewA.frame(info.imageSize), 16, 4, 1, 0));
    EXPECT_NE(serviceError([&] { client().openFile(0, second.fileId, 99); }), "");

    // Nobody removes a stream while it is open, whoever opened it.
    const auto other = connect();
    EXPECT_EQ(serviceError([&] { other->removeFile(0, second.fileId, second.streamId); }),
              "Can't remove file, file is open.");
    EXPECT_EQ(serviceError([&] { other->readFrame(0, a.openFileId, 0); }), "File not opened by this connection.");

    client().closeFile(0, a.openFileId);
    EXPECT_EQ(serviceError([&] { client().closeFile(0, a.openFileId); }), "File not opened by this connection.");
    client().readFrame(0, b.openFileId, 7);
    EXPECT_TRUE(isCameraFrame(viewB.frame(info.imageSize), 16, 4, 1, 7));
    const OpenedFile c = client().openFile(0, files[0].fileId, files[0].streamId);
    EXPECT_EQ(c.openFileId, 0u);
    client().readFrame(0, c.openFileId, 5);
    EXPECT_TRUE(isCameraFrame(client::FrameView(c.mapping).frame(info.imageSize), 16, 4, 0, 5));
    EXPECT_EQ(serviceError([&] { other->removeFile(0, second.fileId, second.streamId); }),
              "Can't remove file, file is open.");

    client().closeFile(0, b.openFileId);
    other->removeFile(0, second.fileId, second.streamId);
    EXPECT_EQ(client().listFiles(0).size(), 1u);
    client().readFrame(0, c.openFileId, 19);
    EXPECT_TRUE(isCameraFrame(client::FrameView(c.mapping).frame(info.imageSize), 16, 4, 0, 19));
    client().closeFile(0, c.openFileId);
}

}  // namespace
}  // namespace tavu::test
