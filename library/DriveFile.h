#pragma once
#include "library/Forward.h"
#include "library/String.h"
#include "library/Values.h"

#include <boost/shared_ptr.hpp>

#include <cstdint>

namespace Quillon {

// Reads the frames of one recorded stream by number.
class FrameSequence {
public:
    virtual ~FrameSequence() = default;

    virtual boost::shared_ptr<Common::DataType> dataType() = 0;
    virtual uint64_t frameCount() = 0;
    // `frame` stays empty when nothing could be read.
    virtual void readFrames(boost::shared_ptr<Common::Frame>& frame, uint64_t& index, uint32_t count) = 0;
};

class RecordedStream {
public:
    virtual ~RecordedStream() = default;

    // Name of the port that recorded the stream.
    virtual String portName() = 0;
    virtual boost::shared_ptr<FrameSequence> frames(uint64_t first, uint64_t count, bool flag1, bool flag2) = 0;
};

// One numbered file of a drive set: recorded streams, or a named record file read and written
// block by block, plus a metadata block.
class DriveFile {
public:
    virtual ~DriveFile() = default;

    virtual boost::shared_ptr<DriveSet> driveSet(bool flag) = 0;
    virtual boost::shared_ptr<DriveFileInfo> info() = 0;
    virtual boost::shared_ptr<Common::Buffer> readMetadata() = 0;
    virtual void writeMetadata(const boost::shared_ptr<Common::Buffer>& buffer) = 0;
    virtual uint32_t metadataCapacity() = 0;
    virtual void readBlock(const boost::shared_ptr<Common::Buffer>& buffer, uint32_t flags) = 0;
    virtual void writeBlock(const boost::shared_ptr<Common::Buffer>& buffer) = 0;
    virtual uint32_t streamCount() = 0;
    virtual boost::shared_ptr<RecordedStream> streamByIndex(uint32_t index) = 0;
    virtual uint32_t streamIdByIndex(uint32_t index) = 0;
    virtual boost::shared_ptr<RecordedStream> streamById(uint32_t streamId) = 0;
};

// The library's repair job for an incomplete file.
class Recovery {
public:
    virtual ~Recovery() = default;

    virtual void cancel() = 0;
    virtual bool isFinished() = 0;
    virtual bool isCancelled() = 0;
    // Meaningful once isFinished() is true.
    virtual bool isSuccessful() = 0;
    virtual String errorText() = 0;
};

}  // namespace Quillon
