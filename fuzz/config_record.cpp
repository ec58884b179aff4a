// Arbitrary bytes as a port configuration record, each port map kept as it is handed over.
#include "encoding/MemStream.h"
#include "records/ConfigRecord.h"

#include <exception>
#include <utility>
#include <vector>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    std::vector<uint8_t> copy(data, data + size);
    tavu::MemStream stream(copy.data(), copy.size());
    try {
        std::vector<tavu::PortRecord> ports;
        tavu::readPortRecords(stream, [&](tavu::PortRecord&& port) { ports.push_back(std::move(port)); });
    } catch (const std::exception&) {
    }
    return 0;
}
