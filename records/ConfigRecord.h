#pragma once

#include "encoding/Stream.h"

#include <cstdint>
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

// Reads the port maps of a configuration record as they stand. Fields that a map lacks are
// zero or empty. Raises "Inalid config file." for a bad envelope or a port map of fewer than
// five pairs.
std::vector<PortRecord> readPortRecords(Stream& stream);

// What a stored port map with an empty block does to the block of its port.
enum class EmptyBlock {
    Keep,   // the block may be in a file of its own, to be loaded when asked for
    Store,  // the record is the only place of the block
};

// Copies each stored element onto the first port of the same name; elements that name no port
// are dropped. Everything but the block is always replaced.
void mergePortRecords(std::vector<PortRecord> stored, std::vector<PortRecord>& ports,
                      EmptyBlock emptyBlock);

}  // namespace tavu
