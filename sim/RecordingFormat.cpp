#include "sim/RecordingFormat.h"

#include "sim/Errors.h"

#include <algorithm>
#include <cstring>

namespace sim {
namespace {

void storeWord(uint8_t* target, uint32_t value) {
    for (int byte = 0; byte < 4; ++byte) {
        target[byte] = static_cast<uint8_t>(value >> (8 * byte));
    }
}

uint32_t loadWord(const uint8_t* source) {
    uint32_t value = 0;
    for (int byte = 3; byte >= 0; --byte) {
        value = value << 8 | source[byte];
    }
    return value;
}

}  // namespace

void BlockHeader::store(uint8_t* target) const {
    std::memset(target, 0, Bytes);
    std::memcpy(target, Magic, sizeof Magic);
    storeWord(target + 8, streamId);
    storeWord(target + 12, sequence);
    storeWord(target + 16, payloadBytes);
}

std::optional<BlockHeader> BlockHeader::load(const uint8_t* source) {
    if (std::all_of(source, source + Bytes, [](uint8_t byte) { return byte == 0; })) {
        return std::nullopt;
    }
    if (std::memcmp(source, Magic, sizeof Magic) != 0) {
        fail("no valid header");
    }
    return BlockHeader{loadWord(source + 8), loadWord(source + 12), loadWord(source + 16)};
}

nlohmann::json streamsToJson(const std::vector<StoredStream>& streams) {
    nlohmann::json list = nlohmann::json::array();
    for (const StoredStream& stream : streams) {
        list.push_back({{"id", stream.id},
                        {"port", stream.port},
                        {"portIndex", stream.portIndex},
                        {"width", stream.width},
                        {"height", stream.height},
                        {"timestamp", stream.timestamp},
                        {"frames", stream.frames},
                        {"blocks", stream.blocks}});
    }
    return list;
}

std::vector<StoredStream> streamsFromJson(const nlohmann::json& list) {
    std::vector<StoredStream> streams;
    for (const nlohmann::json& item : list) {
        streams.push_back(StoredStream{item.at("id").get<uint32_t>(), item.at("port").get<std::string>(),
                                       item.at("portIndex").get<uint32_t>(), item.at("width").get<uint32_t>(),
                                       item.at("height").get<uint32_t>(), item.at("timestamp").get<uint64_t>(),
                                       item.at("frames").get<uint64_t>(),
                                       item.at("blocks").get<std::vector<uint64_t>>()});
    }
    return streams;
}

void readStreamBytes(const FileDescriptor& file, const StoredStream& stream, uint64_t blockBytes, uint64_t offset,
                     uint8_t* target, uint64_t size) {
    const uint64_t payload = blockBytes - BlockHeader::Bytes;
    while (size > 0) {
        const uint64_t block = offset / payload;
        const uint64_t within = offset % payload;
        const uint64_t piece = std::min(size, payload - within);
        file.readAt(stream.blocks.at(block) * blockBytes + BlockHeader::Bytes + within, target, piece);
        offset += piece;
        target += piece;
        size -= piece;
    }
}

}  // namespace sim
