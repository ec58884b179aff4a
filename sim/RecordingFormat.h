#pragma once
#include "sim/Files.h"

#include <nlohmann/json.hpp>

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace sim {

// A recording's drive file holds the blocks of all its streams, in the order in which they
// filled. Each block starts with this header, which is what lets the repair of an incomplete file
// find every stream's blocks again; the stream's frames follow back to back across its blocks.
struct BlockHeader {
    static constexpr uint64_t Bytes = 32;
    static constexpr char Magic[8] = {'Q', 'S', 'I', 'M', 'B', 'L', 'K', '1'};

    uint32_t streamId = 0;
    uint32_t sequence = 0;      // the block's place among the stream's blocks, from 0
    uint32_t payloadBytes = 0;  // frame bytes in the block

    void store(uint8_t* target) const;
    // None for a block that was never written (all zeros); throws for any other damage.
    static std::optional<BlockHeader> load(const uint8_t* source);
};

// One recorded stream, as "file-<id>.streams" lists it.
struct StoredStream {
    uint32_t id = 0;
    std::string port;
    uint32_t portIndex = 0;
    uint32_t width = 0;
    uint32_t height = 0;
    uint64_t timestamp = 0;
    uint64_t frames = 0;
    std::vector<uint64_t> blocks;  // the file's blocks that hold the stream, in stream order

    uint64_t frameBytes() const { return uint64_t{width} * height * 2; }
};

nlohmann::json streamsToJson(const std::vector<StoredStream>& streams);
std::vector<StoredStream> streamsFromJson(const nlohmann::json& list);

// Reads frames of one stream from its file, piece by piece over the blocks.
void readStreamBytes(const FileDescriptor& file, const StoredStream& stream, uint64_t blockBytes, uint64_t offset, uint8_t* target,
                     uint64_t size);

}  // namespace sim
