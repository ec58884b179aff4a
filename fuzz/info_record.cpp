// Arbitrary bytes as an info record: a port's ".pair" file or a recording's ".info" file.
#include "encoding/MemStream.h"
#include "records/InfoRecord.h"

#include <exception>
#include <vector>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    std::vector<uint8_t> copy(data, data + size);
    tavu::MemStream stream(copy.data(), copy.size());
    try {
        tavu::readInfoRecord(stream);
    } catch (const std::exception&) {
    }
    return 0;
}
