#pragma once
#include "wire/FileRecord.h"

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

namespace tavu {

// The one port is 0; raises "Invalid port" for any other.
void checkEmulatorPort(uint8_t port);

// Bytes of one frame of 16-bit pixels, cut to 32 bits.
uint32_t frameBytes(uint16_t width, uint16_t height);

// A file's size as a signed 32-bit number sign-extended, so a file of 2 GiB or more shows a wrong
// size: a limit of the emulated device. 0 when the file cannot be queried.
uint64_t truncatedFileSize(const std::string& path);

class Stream;

// Replaces a record file with what `write` puts into it. The record goes to a file beside it
// first and takes the old one's place only once all of it is on disk: rewritten in place, a
// record cut short by a full disk would lose every recording that the old one listed. Where
// that file can't be written, a record no longer than the old one is written over it, so that
// a shrinking catalogue finds room on a full disk. Raises "Failed to open file: <path>" when
// the new record cannot be written whole.
void replaceRecordFile(const std::string& path, const std::function<void(Stream&)>& write);

// Writes a file metadata record with replaceRecordFile.
void writeMetaFile(const std::string& path, const std::vector<FileRecord>& records);

// Removes a file, ignoring any failure.
void removeQuietly(const std::string& path);

}  // namespace tavu
