#pragma once

#include "encoding/Stream.h"
#include "wire/FileRecord.h"

#include <cstdint>
#include <vector>

namespace tavu {

// The file metadata record: an envelope of type "meta" whose payload "info" is an array of
// file maps, one for each FileRecord. The writer keeps a fixed key order with "info" last and
// only for a non-empty block; the reader takes the keys in any order.

void writeMetaList(const std::vector<FileRecord>& list, Stream& stream);
// Through a MemStream: a record longer than `size` is cut short, and a write that starts at
// the end of the buffer raises "eof".
void writeMetaList(const std::vector<FileRecord>& list, void* data, uint64_t size);

// Empties `target` and appends each usable file map of the record. An entry without a name,
// width, height or frame count is dropped; a missing size or time stamp is filled in. On
// failure `target` holds the entries read so far, so callers that merge parse into a scratch list.
void readMetaList(std::vector<FileRecord>& target, Stream& stream);
void readMetaList(std::vector<FileRecord>& target, const void* data, uint64_t size);

}  // namespace tavu
