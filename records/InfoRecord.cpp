#include "records/InfoRecord.h"

#include "encoding/MessageReader.h"
#include "encoding/MessageWriter.h"
#include "records/Envelope.h"

namespace tavu {

void writeInfoRecord(std::span<const uint8_t> block, Stream& stream) {
    MessageWriter writer(stream);
    writeEnvelope(writer, "info", "info");
    writer.writeBlob(block.data(), static_cast<uint32_t>(block.size()));
}

std::vector<uint8_t> readInfoRecord(Stream& stream) {
    MessageReader reader(stream);
    uint32_t remaining = readEnvelope(reader, "info", "Inalid info file.");
    reader.findField(remaining, "info");
    reader.readBlobHeader();
    std::vector<uint8_t> block;
    reader.readBlobBody(block);
    return block;
}

std::string infoRecordName(uint32_t fileId, uint32_t streamId) {
    return std::to_string(fileId) + "-" + std::to_string(streamId) + ".info";
}

}  // namespace tavu
