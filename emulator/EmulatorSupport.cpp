#include "emulator/EmulatorSupport.h"

#include "encoding/FileStream.h"
#include "records/MetaRecord.h"

#include <sys/stat.h>

#include <cstdio>
#include <stdexcept>

namespace tavu {

void checkEmulatorPort(uint8_t port) {
    if (port != 0) {
        throw std::runtime_error("Invalid port");
    }
}

uint32_t frameBytes(uint16_t width, uint16_t height) {
    return static_cast<uint32_t>(width) * height * 2u;
}

uint64_t truncatedFileSize(const std::string& path) {
    struct stat status {};
    if (::stat(path.c_str(), &status) != 0) {
        return 0;
    }
    return static_cast<uint64_t>(static_cast<int64_t>(static_cast<int32_t>(status.st_size)));
}

void writeMetaFile(const std::string& path, const std::vector<FileRecord>& records) {
    FileStream stream(path.c_str(), "wb");
    writeMetaList(records, stream);
}

void removeQuietly(const std::string& path) {
    std::remove(path.c_str());
}

}  // namespace tavu
