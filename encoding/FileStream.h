#pragma once

#include "encoding/Stream.h"

#include <cstdint>
#include <cstdio>
#include <memory>

namespace tavu {

// A stream over a file opened with fopen. Reads and writes report short
// counts and never raise; the file is closed, and written data flushed, when
// the stream is destroyed.
class FileStream : public Stream {
public:
    // Raises "Failed to open file: <path>" when the file cannot be opened.
    FileStream(const char* path, const char* mode);

    uint64_t read(void* buffer, uint64_t byteCount) override;
    uint64_t write(const void* buffer, uint64_t byteCount) override;

    // Flushes and closes the file. False when a write, the flush or the close failed, which
    // the short counts of write alone don't show: buffered bytes meet a full disk only here.
    bool finish();

private:
    struct Closer {
        void operator()(std::FILE* file) const { std::fclose(file); }
    };

    std::unique_ptr<std::FILE, Closer> file_;
};

}  // namespace tavu
