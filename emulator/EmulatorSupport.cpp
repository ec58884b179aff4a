#include "emulator/EmulatorSupport.h"

#include "encoding/BufferStream.h"
#include "encoding/FileStream.h"
#include "records/MetaRecord.h"

#include <sys/stat.h>

#include <cstdio>
#include <filesystem>
#include <span>
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

namespace {

// Whether all of `bytes` reached the file opened in `mode`.
bool writeFile(const std::string& path, const char* mode, std::span<const uint8_t> bytes) {
    try {
        FileStream file(path.c_str(), mode);
        return file.write(bytes.data(), bytes.size()) == bytes.size() && file.finish();
    } catch (const std::runtime_error&) {
        return false;
    }
}

// Writes over the start of a file at least as long as `bytes` and cuts off the rest. Blocks the
// file already has need no new room, so this works on a full disk, where a new file beside it
// can't be written. A failure part-way would leave neither record whole, hence only the second
// choice.
bool overwriteInPlace(const std::string& path, std::span<const uint8_t> bytes) {
    std::error_code error;
    const uintmax_t size = std::filesystem::file_size(path, error);
    if (error || bytes.size() > size || !writeFile(path, "r+b", bytes)) {
        return false;
    }
    // Readers stop at the end of the record, so an old tail that stays is harmless.
    std::filesystem::resize_file(path, bytes.size(), error);
    return true;
}

}  // namespace

void replaceRecordFile(const std::string& path, const std::function<void(Stream&)>& write) {
    BufferStream record;
    write(record);
    const std::span<const uint8_t> bytes(record.data(), record.size());
    const std::string partial = path + ".partial";
    if (writeFile(partial, "wb", bytes) && std::rename(partial.c_str(), path.c_str()) == 0) {
        return;
    }
    removeQuietly(partial);
    if (!overwriteInPlace(path, bytes)) {
        throw std::runtime_error("Failed to open file: " + path);
    }
}

void writeMetaFile(const std::string& path, const std::vector<FileRecord>& records) {
    replaceRecordFile(path, [&](Stream& stream) { writeMetaList(records, stream); });
}

void removeQuietly(const std::string& path) {
    std::remove(path.c_str());
}

}  // namespace tavu
