#pragma once

#include "records/Envelope.h"
#include "tests/encoding/EncodingTestSupport.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include <unistd.h>

namespace tavu::test {

// The keys of each map in the payload array of a record, in stored order.
inline std::vector<std::vector<std::string>> payloadKeys(const Bytes& bytes, const char* type,
                                                         const char* payloadKey) {
    Decoder decoder(bytes);
    MessageReader& reader = decoder.reader;
    uint32_t remaining = readEnvelope(reader, type, "bad envelope");
    reader.findField(remaining, payloadKey);
    std::vector<std::vector<std::string>> maps(reader.readArrayHeader());
    for (auto& keys : maps) {
        keys.resize(reader.readMapHeader());
        for (auto& key : keys) {
            reader.readString(key);
            reader.skipValue();
        }
    }
    return maps;
}

inline void number(MessageWriter& writer, const char* key, uint64_t value) {
    writer.writeString(key);
    writer.writeUint(value);
}

inline std::string tempPath(const char* stem) {
    return testing::TempDir() + stem + std::to_string(getpid());
}

}  // namespace tavu::test
