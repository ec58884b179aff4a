#pragma once

#include "encoding/Stream.h"

#include <cstdint>
#include <stdexcept>

namespace tavu {

// What a MemStream raises for an access that starts at its end. A type of its own, so that a
// reader going through a body in steps can tell the end of the bytes from other failures.
class EndOfData : public std::runtime_error {
public:
    EndOfData() : std::runtime_error("eof") {}
};

// A fixed view of caller-owned memory. It never allocates or grows: reads and
// writes are clipped at the end of the view, and any access that starts at
// the end raises "eof", even one of zero bytes.
class MemStream : public Stream {
public:
    MemStream(void* data, uint64_t size);

    uint64_t read(void* buffer, uint64_t byteCount) override;
    uint64_t write(const void* buffer, uint64_t byteCount) override;

private:
    // Checks for the end and returns how many of byteCount bytes fit.
    uint64_t claim(uint64_t byteCount) const;

    uint8_t* data_;
    uint64_t size_;
    uint64_t position_ = 0;
};

}  // namespace tavu
