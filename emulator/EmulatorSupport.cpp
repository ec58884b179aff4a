#include "emulator/EmulatorSupport.h"

#include "encoding/FileStream.h"
#include "records/MetaRecord.h"

#include <sys/stat.h>

#include <cstdio>
#include <memory>
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

void replaceRecordFile(const std::string& path, const std::function<void(Stream&)>& write) {
    const std::string partial = path + ".partial";
    const std::string failure = "Failed to open file: " + path;
    std::unique_ptr<FileStream> stream;
    try {
        stream = std::make_unique<FileStream>(partial.c_str(), "wb");
    } catch (const std::runtime_error&) {
        throw std::runtime_error(failure);
    }
    bool whole = false;
    try {
        write(*stream);
        whole = stream->finish();
    } catch (...) {
        removeQuietly(partial);
        throw;
    }
    if (!whole || std::rename(partial.c_str(), path.c_str()) != 0) {
        removeQuietly(partial);
        throw std::runtime_error(failure);
    }
}

void writeMetaFile(const std::string& path, const std::vector<FileRecord>& records) {
    replaceRecordFile(path, [&](Stream& stream) { writeMetaList(records, stream); });
}

void removeQuietly(const std::string& path) {
    std::remove(path.c_str());
}

}  // namespace tavu
