#include "encoding/FileStream.h"

#include <stdexcept>
#include <string>

namespace tavu {

FileStream::FileStream(const char* path, const char* mode) : file_(std::fopen(path, mode)) {
    if (!file_) {
        throw std::runtime_error(std::string("Failed to open file: ") + path);
    }
}

uint64_t FileStream::read(void* buffer, uint64_t byteCount) {
    return std::fread(buffer, 1, byteCount, file_.get());
}

uint64_t FileStream::write(const void* buffer, uint64_t byteCount) {
    return std::fwrite(buffer, 1, byteCount, file_.get());
}

bool FileStream::finish() {
    std::FILE* file = file_.release();
    if (file == nullptr) {
        return false;
    }
    const bool flushed = std::fflush(file) == 0 && std::ferror(file) == 0;
    return std::fclose(file) == 0 && flushed;
}

}  // namespace tavu
