#pragma once
#include "encoding/Stream.h"
#include "library/Buffer.h"
#include "library/DriveFile.h"

#include <boost/shared_ptr.hpp>

#include <cstdint>

namespace tavu {

// A byte stream over a named file of a drive set, which the library reads and writes only in whole
// blocks (a cluster on each drive), in sequence from the first. There is no seek: a stream for
// writing overwrites the file from its start, and a stream for reading starts at its first block.
//
// Writing fills one block at a time and hands each full block to the library; flush writes the
// partial last block whole, so whatever the buffer held behind the data goes with it. Readers of
// records stop at the record's end and never look there.
class QuillonFileStream : public Stream {
public:
    QuillonFileStream(boost::shared_ptr<Quillon::DriveFile> file, bool forWriting);
    QuillonFileStream(const QuillonFileStream&) = delete;
    QuillonFileStream& operator=(const QuillonFileStream&) = delete;
    // Flushes what is left, unless an exception is leaving the writer: its record is broken
    // anyway, and a second failure while unwinding would end the process. A failure of the flush
    // here ends the process too, so writers flush themselves first.
    ~QuillonFileStream() override;

    // Delivers every byte asked for or throws: reading past the end is the library's failure.
    uint64_t read(void* buffer, uint64_t byteCount) override;
    uint64_t write(const void* buffer, uint64_t byteCount) override;
    // Writes the partly filled block, if any bytes wait in it.
    void flush();

    bool dirty() const { return dirty_; }

private:
    boost::shared_ptr<Quillon::DriveFile> file_;
    uint32_t blockBytes_;
    uint32_t position_;
    boost::shared_ptr<Common::Buffer> buffer_;
    bool dirty_ = false;
    int exceptionsAtStart_;
};

}  // namespace tavu
