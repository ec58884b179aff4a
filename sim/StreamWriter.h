#pragma once
#include "sim/Files.h"

#include <cstdint>
#include <functional>
#include <optional>
#include <vector>

namespace sim {

// Lays the frames of one stream into blocks of its recording's file: frames go back to back into
// a block in memory, and each block goes to the file whole once it is full, so a stream holds no
// more than one block in memory. Blocks are reserved in the drive set before a frame goes in, so
// that a frame that was taken is also one that reaches the drive.
class StreamWriter {
public:
    // Grows the file by `count` blocks and gives the first of them; none when the set is full.
    using Reserve = std::function<std::optional<uint64_t>(uint64_t count)>;
    // Runs before each block goes to the file; throws for a write that fails.
    using BeforeWrite = std::function<void()>;

    StreamWriter(const FileDescriptor& file, uint64_t blockBytes, uint32_t streamId, Reserve reserve,
                 BeforeWrite beforeWrite);

    // False, with nothing taken, when the set has no room for the frame. Throws when a block
    // cannot be written.
    bool append(const uint8_t* frame, uint64_t size);
    // Writes the block that is partly filled.
    void flush();
    // After a failed write: the stream keeps what reached the file, its whole frames of
    // `frameBytes` each, and nothing more is written.
    void abandon(uint64_t frameBytes);

    uint64_t frames() const { return frames_; }
    const std::vector<uint64_t>& blocks() const { return blocks_; }

private:
    uint64_t payloadBytes() const { return block_.size() - headerBytes(); }
    static uint64_t headerBytes();
    void writeBlock();

    const FileDescriptor& file_;
    uint32_t streamId_;
    Reserve reserve_;
    BeforeWrite beforeWrite_;
    std::vector<uint8_t> block_;
    uint64_t filled_ = 0;           // frame bytes in block_
    std::vector<uint64_t> blocks_;  // reserved, in stream order; those from written_ on are not yet written
    uint64_t written_ = 0;
    uint64_t writtenBytes_ = 0;  // frame bytes in the written blocks
    uint64_t frames_ = 0;
};

}  // namespace sim
