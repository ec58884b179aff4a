#pragma once

#include "encoding/Stream.h"

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

namespace tavu {

// The stored state of one camera port, as the port configuration record holds it. A port that
// is unpaired has an empty pairedTo; a port without a block in memory has an empty info.
struct PortRecord {
    std::string name;
    std::string pairedTo;
    uint16_t width = 0;
    uint16_t height = 0;
    uint32_t pixelFormat = 0;
    uint32_t tapGeometry = 0;
    uint16_t numFramesPerPacket = 0;
    std::vector<uint8_t> info;

    bool operator==(const PortRecord&) const = default;
};

// Writes the configuration record: an envelope of type "config" whose payload "config" is an
// array of port maps in the order of `ports`. A port's block goes in as "info" only when it
// is not empty and at most `maxInlineInfo` bytes long; a larger one is the caller's to store
// elsewhere.
void writePortRecords(const std::vector<PortRecord>& ports, Stream& stream,
                      uint64_t maxInlineInfo);

// Reads the port maps of a configuration record and hands each to `apply` as soon as it is
// read, so that a fault in a later map leaves what the earlier ones did. Fields that a map lacks
// are zero or empty. Raises "Inalid config file." for a bad envelope or a port map of fewer than
// five pairs.
void readPortRecords(Stream& stream, const std::function<void(PortRecord&&)>& apply);

}  // namespace tavu
