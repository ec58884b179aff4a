#pragma once

#include <chrono>
#include <cstdint>

namespace tavu {

// A forward-only source and sink of bytes. Both operations return how many
// bytes actually moved; whether a short count is an error is the caller's call.
class Stream {
public:
    virtual ~Stream() = default;
    virtual uint64_t read(void* buffer, uint64_t byteCount) = 0;
    virtual uint64_t write(const void* buffer, uint64_t byteCount) = 0;
    // Moves what the sink takes at once, without waiting; a stream that can't say so moves nothing.
    virtual uint64_t writeNow(const void* /*buffer*/, uint64_t /*byteCount*/) { return 0; }
    // Sleeps until input is there to read, the peer leaves, or the deadline passes; a stream
    // that can't tell returns at once.
    virtual void awaitInput(std::chrono::steady_clock::time_point /*deadline*/) {}
};

}  // namespace tavu
