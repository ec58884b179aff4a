#include "sim/SimRecordedStream.h"

#include "library/Frame.h"

#include <boost/make_shared.hpp>

#include <fcntl.h>

#include <algorithm>

namespace sim {

Quillon::String SimRecordedStream::portName() {
    recorder_->session("RecordedStream::portName").storage().set(driveSetId_).file(fileId_);
    return stream_.port.c_str();
}

boost::shared_ptr<Quillon::FrameSequence> SimRecordedStream::frames(uint64_t, uint64_t, bool, bool) {
    recorder_->session("RecordedStream::frames").storage().set(driveSetId_).file(fileId_);
    return boost::make_shared<SimFrameSequence>(recorder_, driveSetId_, fileId_, stream_);
}

boost::shared_ptr<Common::DataType> SimFrameSequence::dataType() {
    recorder_->requireConnected("FrameSequence::dataType");
    return boost::make_shared<Common::DataType>(stream_.width, stream_.height, 16);
}

uint64_t SimFrameSequence::frameCount() {
    recorder_->requireConnected("FrameSequence::frameCount");
    return stream_.frames;
}

void SimFrameSequence::readFrames(boost::shared_ptr<Common::Frame>& frame, uint64_t& index, uint32_t count) {
    frame.reset();
    auto session = recorder_->session("FrameSequence::readFrames");
    const StoredDriveSet& set = session.storage().set(driveSetId_);
    set.file(fileId_);
    if (index >= stream_.frames || count == 0) {
        return;
    }
    const uint64_t frames = std::min<uint64_t>(count, stream_.frames - index);
    auto buffer = boost::make_shared<Common::Buffer>(frames * stream_.frameBytes());
    const FileDescriptor data(set.dataPath(fileId_), O_RDONLY);
    readStreamBytes(data, stream_, set.blockBytes(), index * stream_.frameBytes(), buffer->data(), buffer->size());
    frame = boost::make_shared<Common::Frame>(boost::make_shared<Common::DataType>(stream_.width, stream_.height, 16),
                                              buffer);
    index += frames;
}

}  // namespace sim
