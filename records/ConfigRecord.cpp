#include "records/ConfigRecord.h"

#include "encoding/MessageReader.h"
#include "encoding/MessageWriter.h"
#include "records/Envelope.h"

#include <stdexcept>

namespace tavu {

namespace {

constexpr const char* kInvalidConfig = "Inalid config file.";
constexpr uint32_t kPortPairsWithoutInfo = 7;
// A port map needs at least its name and the four numbers of its configuration.
constexpr uint32_t kMinPortPairs = 5;

void writePortMap(MessageWriter& writer, const PortRecord& port, uint64_t maxInlineInfo) {
    const bool inlineInfo = !port.info.empty() && port.info.size() <= maxInlineInfo;
    writer.writeMapHeader(inlineInfo ? kPortPairsWithoutInfo + 1 : kPortPairsWithoutInfo);
    auto number = [&](const char* key, uint64_t value) {
        writer.writeString(key);
        writer.writeUint(value);
    };
    writer.writeString("name");
    writer.writeString(port.name);
    writer.writeString("pairedTo");
    writer.writeString(port.pairedTo);
    number("width", port.width);
    number("height", port.height);
    number("pixelFormat", port.pixelFormat);
    number("tapGeometry", port.tapGeometry);
    number("numFramesPerPacket", port.numFramesPerPacket);
    if (inlineInfo) {
        writer.writeString("info");
        writer.writeBlob(port.info.data(), static_cast<uint32_t>(port.info.size()));
    }
}

// Numbers are cut to the field's width without a check, as everywhere in records.
template <typename T>
void readNumber(MessageReader& reader, T& field) {
    field = static_cast<T>(reader.readPosInt());
}

void readPortField(MessageReader& reader, const std::string& key, PortRecord& port) {
    if (key == "name") {
        reader.readString(port.name);
    } else if (key == "pairedTo") {
        reader.readString(port.pairedTo);
    } else if (key == "width") {
        readNumber(reader, port.width);
    } else if (key == "height") {
        readNumber(reader, port.height);
    } else if (key == "pixelFormat") {
        readNumber(reader, port.pixelFormat);
    } else if (key == "tapGeometry") {
        readNumber(reader, port.tapGeometry);
    } else if (key == "numFramesPerPacket") {
        readNumber(reader, port.numFramesPerPacket);
    } else if (key == "info") {
        reader.readBlobHeader();
        reader.readBlobBody(port.info);
    } else {
        reader.skipValue();
    }
}

PortRecord readPortMap(MessageReader& reader) {
    uint32_t pairs = reader.readMapHeader();
    if (pairs < kMinPortPairs) {
        throw std::runtime_error(kInvalidConfig);
    }
    PortRecord port;
    std::string key;
    for (; pairs > 0; --pairs) {
        reader.readString(key);
        readPortField(reader, key, port);
    }
    return port;
}

}  // namespace

void writePortRecords(const std::vector<PortRecord>& ports, Stream& stream,
                      uint64_t maxInlineInfo) {
    MessageWriter writer(stream);
    writeEnvelope(writer, "config", "config");
    writer.writeArrayHeader(static_cast<uint32_t>(ports.size()));
    for (const PortRecord& port : ports) {
        writePortMap(writer, port, maxInlineInfo);
    }
}

void readPortRecords(Stream& stream, const std::function<void(PortRecord&&)>& apply) {
    MessageReader reader(stream);
    uint32_t remaining = readEnvelope(reader, "config", kInvalidConfig);
    reader.findField(remaining, "config");
    for (uint32_t count = reader.readArrayHeader(); count > 0; --count) {
        apply(readPortMap(reader));
    }
}

}  // namespace tavu
