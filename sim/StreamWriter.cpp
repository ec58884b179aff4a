#include "sim/StreamWriter.h"

#include "sim/RecordingFormat.h"

#include <algorithm>
#include <cstring>

namespace sim {

StreamWriter::StreamWriter(const FileDescriptor& file, uint64_t blockBytes, uint32_t streamId, Reserve reserve,
                           BeforeWrite beforeWrite)
    : file_(file),
      streamId_(streamId),
      reserve_(std::move(reserve)),
      beforeWrite_(std::move(beforeWrite)),
      block_(blockBytes) {}

uint64_t StreamWriter::headerBytes() { return BlockHeader::Bytes; }

bool StreamWriter::append(const uint8_t* frame, uint64_t size) {
    const uint64_t room = (blocks_.size() - written_) * payloadBytes() - filled_;
    if (size > room) {
        const uint64_t needed = (size - room + payloadBytes() - 1) / payloadBytes();
        const std::optional<uint64_t> first = reserve_(needed);
        if (!first) {
            return false;
        }
        for (uint64_t block = 0; block < needed; ++block) {
            blocks_.push_back(*first + block);
        }
    }
    while (size > 0) {
        if (filled_ == payloadBytes()) {
            writeBlock();
        }
        const uint64_t piece = std::min(size, payloadBytes() - filled_);
        std::memcpy(block_.data() + headerBytes() + filled_, frame, piece);
        filled_ += piece;
        frame += piece;
        size -= piece;
    }
    ++frames_;
    return true;
}

void StreamWriter::flush() {
    if (filled_ > 0) {
        writeBlock();
    }
}

void StreamWriter::abandon(uint64_t frameBytes) {
    blocks_.resize(written_);
    filled_ = 0;
    frames_ = frameBytes == 0 ? 0 : writtenBytes_ / frameBytes;
}

void StreamWriter::writeBlock() {
    beforeWrite_();
    std::memset(block_.data() + headerBytes() + filled_, 0, payloadBytes() - filled_);
    BlockHeader{streamId_, static_cast<uint32_t>(written_), static_cast<uint32_t>(filled_)}.store(block_.data());
    file_.writeAt(blocks_[written_] * block_.size(), block_.data(), block_.size());
    ++written_;
    writtenBytes_ += filled_;
    filled_ = 0;
}

}  // namespace sim
