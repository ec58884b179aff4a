// Arbitrary bytes as a file metadata record.
#include "records/MetaRecord.h"

#include <exception>
#include <vector>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    std::vector<tavu::FileRecord> files;
    try {
        tavu::readMetaList(files, data, size);
    } catch (const std::exception&) {
    }
    return 0;
}
