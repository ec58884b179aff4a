#pragma once

#include <cstdint>

namespace tavu {

// A forward-only source and sink of bytes. Both operations return how many
// bytes actually moved; whether a short count is an error is the caller's call.
class Stream {
public:
    virtual ~Stream() = default;
    virtual uint64_t read(void* buffer, uint64_t byteCount) = 0;
    virtual uint64_t write(const void* buffer, uint64_t byteCount) = 0;
};

}  // namespace tavu
