#pragma once

#include <cstddef>
#include <cstdint>

namespace tavu {

// Stores the low `width` bytes of value at `out`, most significant first.
inline void storeBigEndian(uint8_t* out, uint64_t value, size_t width) {
    for (size_t i = width; i > 0; --i) {
        out[i - 1] = static_cast<uint8_t>(value);
        value >>= 8;
    }
}

// Reads `width` bytes at `in`, most significant first.
inline uint64_t loadBigEndian(const uint8_t* in, size_t width) {
    uint64_t value = 0;
    for (size_t i = 0; i < width; ++i) {
        value = (value << 8) | in[i];
    }
    return value;
}

}  // namespace tavu
