// Arbitrary bytes as a port configuration record, and the merge of what was read.
#include "encoding/MemStream.h"
#include "records/ConfigRecord.h"

#include <exception>
#include <vector>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    std::vector<uint8_t> copy(data, data + size);
    tavu::MemStream stream(copy.data(), copy.size());
    try {
        std::vector<tavu::PortRecord> ports(2);
        ports[0].name = "Emu";
        ports[1].name = "P1";
        tavu::mergePortRecords(tavu::readPortRecords(stream), ports, tavu::EmptyBlock::Keep);
    } catch (const std::exception&) {
    }
    return 0;
}
