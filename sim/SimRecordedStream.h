#pragma once
#include "library/DriveFile.h"
#include "sim/RecordingFormat.h"
#include "sim/Recorder.h"

#include <cstdint>
#include <memory>

namespace sim {

// One stream of a recording's file, as the file listed it when the handle was made.
class SimRecordedStream : public Quillon::RecordedStream {
public:
    SimRecordedStream(std::shared_ptr<Recorder> recorder, uint32_t driveSetId, uint32_t fileId, StoredStream stream)
        : recorder_(std::move(recorder)), driveSetId_(driveSetId), fileId_(fileId), stream_(std::move(stream)) {}

    Quillon::String portName() override;
    // Always the whole stream: the arguments are not used.
    boost::shared_ptr<Quillon::FrameSequence> frames(uint64_t first, uint64_t count, bool flag1, bool flag2) override;

private:
    std::shared_ptr<Recorder> recorder_;
    uint32_t driveSetId_;
    uint32_t fileId_;
    StoredStream stream_;
};

// Reads the frames of a stream: 16-bit little-endian pixels, row by row, as they were stored.
class SimFrameSequence : public Quillon::FrameSequence {
public:
    SimFrameSequence(std::shared_ptr<Recorder> recorder, uint32_t driveSetId, uint32_t fileId, StoredStream stream)
        : recorder_(std::move(recorder)), driveSetId_(driveSetId), fileId_(fileId), stream_(std::move(stream)) {}

    boost::shared_ptr<Common::DataType> dataType() override;
    uint64_t frameCount() override;
    // Reads up to `count` frames from `index` into one buffer, back to back, and moves `index` past
    // them; `frame` stays empty from the end of the stream on.
    void readFrames(boost::shared_ptr<Common::Frame>& frame, uint64_t& index, uint32_t count) override;

private:
    std::shared_ptr<Recorder> recorder_;
    uint32_t driveSetId_;
    uint32_t fileId_;
    StoredStream stream_;
};

}  // namespace sim
