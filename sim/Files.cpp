#include "sim/Files.h"

#include "sim/Errors.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <fstream>
#include <sstream>

namespace sim {

namespace fs = std::filesystem;

FileDescriptor::FileDescriptor(const fs::path& path, int flags)
    : path_(path), fd_(::open(path.c_str(), flags | O_CLOEXEC, 0644)) {
    if (fd_ < 0) {
        failWith("open", std::strerror(errno));
    }
}

FileDescriptor::~FileDescriptor() { ::close(fd_); }

void FileDescriptor::readAt(uint64_t offset, void* target, uint64_t size) const {
    auto* bytes = static_cast<char*>(target);
    while (size > 0) {
        const ssize_t done = ::pread(fd_, bytes, size, static_cast<off_t>(offset));
        if (done < 0 && errno == EINTR) {
            continue;
        }
        if (done == 0) {
            failWith("read", "unexpected end of file");
        }
        if (done < 0) {
            failWith("read", std::strerror(errno));
        }
        bytes += done;
        offset += static_cast<uint64_t>(done);
        size -= static_cast<uint64_t>(done);
    }
}

void FileDescriptor::writeAt(uint64_t offset, const void* source, uint64_t size) const {
    const auto* bytes = static_cast<const char*>(source);
    while (size > 0) {
        const ssize_t done = ::pwrite(fd_, bytes, size, static_cast<off_t>(offset));
        if (done < 0 && errno == EINTR) {
            continue;
        }
        if (done <= 0) {
            failWith("write", done < 0 ? std::strerror(errno) : "nothing written");
        }
        bytes += done;
        offset += static_cast<uint64_t>(done);
        size -= static_cast<uint64_t>(done);
    }
}

void FileDescriptor::resize(uint64_t size) const {
    if (::ftruncate(fd_, static_cast<off_t>(size)) != 0) {
        failWith("resize", std::strerror(errno));
    }
}

uint64_t FileDescriptor::size() const {
    struct stat status {};
    if (::fstat(fd_, &status) != 0) {
        failWith("examine", std::strerror(errno));
    }
    return static_cast<uint64_t>(status.st_size);
}

void FileDescriptor::failWith(const char* action, const char* reason) const {
    fail("Cannot " + std::string(action) + " " + path_.string() + ": " + reason);
}

std::string readTextFile(const fs::path& path) {
    std::ifstream in(path, std::ios::binary);
    if (!in) {
        fail("Cannot read " + path.string() + ": " + std::strerror(errno));
    }
    std::ostringstream text;
    text << in.rdbuf();
    return text.str();
}

void writeFileAtomically(const fs::path& path, const std::string& text) {
    std::error_code error;
    fs::create_directories(path.parent_path(), error);
    const fs::path temporary = path.string() + ".new";
    {
        std::ofstream out(temporary, std::ios::binary | std::ios::trunc);
        out << text;
        out.flush();
        if (!out) {
            fail("Cannot write " + temporary.string());
        }
    }
    fs::rename(temporary, path, error);
    if (error) {
        fail("Cannot replace " + path.string() + ": " + error.message());
    }
}

nlohmann::json readJsonFile(const fs::path& path) {
    try {
        return nlohmann::json::parse(readTextFile(path));
    } catch (const nlohmann::json::parse_error& e) {
        fail(path.string() + ": " + e.what());
    }
}

void writeJsonFile(const fs::path& path, const nlohmann::json& value) {
    writeFileAtomically(path, value.dump(2) + "\n");
}

}  // namespace sim
