#include "records/Envelope.h"

#include <stdexcept>
#include <string>

namespace tavu {

namespace {

constexpr uint32_t kEnvelopePairs = 4;
constexpr uint32_t kSignaturePairs = 3;

// Each key is checked before its value is read, so a map that opens with another key is
// refused with the record's text and not with a type error from the value behind it.
void expectKey(MessageReader& reader, const char* key, const char* invalidText) {
    std::string text;
    reader.readString(text);
    if (text != key) {
        throw std::runtime_error(invalidText);
    }
}

void check(bool ok, const char* invalidText) {
    if (!ok) {
        throw std::runtime_error(invalidText);
    }
}

}  // namespace

void writeEnvelope(MessageWriter& writer, const char* type, const char* payloadKey) {
    writer.writeMapHeader(kEnvelopePairs);
    writer.writeString("orek");
    writer.writeBool(true);
    writer.writeString("type");
    writer.writeString(type);
    writer.writeString("version");
    writer.writeUint(0);
    writer.writeString(payloadKey);
}

uint32_t readEnvelope(MessageReader& reader, const char* type, const char* invalidText) {
    const uint32_t pairs = reader.readMapHeader();
    check(pairs >= kEnvelopePairs, invalidText);

    expectKey(reader, "orek", invalidText);
    check(reader.readBool(), invalidText);

    expectKey(reader, "type", invalidText);
    std::string recordType;
    reader.readString(recordType);
    check(recordType == type, invalidText);

    // Version 0 is the only one there is; anything else has no reading.
    expectKey(reader, "version", invalidText);
    check(reader.readPosInt() == 0, invalidText);

    return pairs - kSignaturePairs;
}

}  // namespace tavu
