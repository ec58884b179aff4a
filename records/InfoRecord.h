#pragma once

#include "encoding/Stream.h"

#include <cstdint>
#include <span>
#include <string>
#include <vector>

namespace tavu {

// The largest identity block that stands inside a configuration or file metadata record on a
// drive set; a larger one goes into an info record of its own.
constexpr uint64_t kMaxInlineBlock = 16384;

// An info record holds one identity block: an envelope of type "info" whose payload "info" is
// a blob. A port's ".pair" file and a recording's "<fileId>-<streamId>.info" file both hold one.
void writeInfoRecord(std::span<const uint8_t> block, Stream& stream);

// Raises "Inalid info file." for a bad envelope.
std::vector<uint8_t> readInfoRecord(Stream& stream);

// The file name of a recording's info record, e.g. "12-3.info".
std::string infoRecordName(uint32_t fileId, uint32_t streamId);

}  // namespace tavu
