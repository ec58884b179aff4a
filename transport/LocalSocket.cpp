#include "transport/LocalSocket.h"

#include <dirent.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <utility>

namespace tavu {

namespace {

std::string socketFolder(const std::string& baseName) {
    const char* runtime = std::getenv("XDG_RUNTIME_DIR");
    if (runtime != nullptr && runtime[0] != '\0') {
        return runtime;
    }
    return "/tmp/" + baseName + "-" + std::to_string(getuid());
}

}  // namespace

std::string localSocketPath(const std::string& baseName) {
    return socketFolder(baseName) + "/" + baseName;
}

LocalSocket::LocalSocket(LocalSocket&& other) noexcept : fd_(std::exchange(other.fd_, -1)) {}

LocalSocket& LocalSocket::operator=(LocalSocket&& other) noexcept {
    if (this != &other) {
        release();
        fd_ = std::exchange(other.fd_, -1);
    }
    return *this;
}

LocalSocket::~LocalSocket() { release(); }

void LocalSocket::release() {
    if (fd_ >= 0) {
        ::close(fd_);
        fd_ = -1;
    }
}

uint64_t LocalSocket::read(void* buffer, uint64_t byteCount) {
    auto* bytes = static_cast<uint8_t*>(buffer);
    uint64_t moved = 0;
    while (moved < byteCount) {
        const uint64_t got = readSome(bytes + moved, byteCount - moved);
        if (got == 0) {
            break;
        }
        moved += got;
    }
    return moved;
}

uint64_t LocalSocket::readSome(void* buffer, uint64_t byteCount) {
    if (fd_ < 0 || byteCount == 0) {
        return 0;
    }
    for (;;) {
        const ssize_t got = ::recv(fd_, buffer, byteCount, 0);
        if (got > 0) {
            return static_cast<uint64_t>(got);
        }
        if (got < 0 && errno == EINTR) {
            continue;
        }
        return 0;
    }
}

uint64_t LocalSocket::write(const void* buffer, uint64_t byteCount) {
    const auto* bytes = static_cast<const uint8_t*>(buffer);
    uint64_t moved = 0;
    while (fd_ >= 0 && moved < byteCount) {
        const ssize_t sent = ::send(fd_, bytes + moved, byteCount - moved, MSG_NOSIGNAL);
        if (sent < 0 && errno == EINTR) {
            continue;
        }
        if (sent <= 0) {
            break;
        }
        moved += static_cast<uint64_t>(sent);
    }
    return moved;
}

uint64_t LocalSocket::writeNow(const void* buffer, uint64_t byteCount) {
    ssize_t sent = -1;
    do {
        sent = fd_ >= 0 ? ::send(fd_, buffer, byteCount, MSG_NOSIGNAL | MSG_DONTWAIT) : 0;
    } while (sent < 0 && errno == EINTR);
    return sent > 0 ? static_cast<uint64_t>(sent) : 0;
}

void LocalSocket::close() {
    if (fd_ >= 0) {
        ::shutdown(fd_, SHUT_RDWR);
    }
}

bool LocalSocket::connect(const std::string& baseName) { return connectPath(localSocketPath(baseName)); }

bool LocalSocket::connectPath(const std::string& path) {
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    if (path.size() >= sizeof(address.sun_path)) {
        return false;
    }
    std::memcpy(address.sun_path, path.c_str(), path.size() + 1);
    const int fd = ::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
    if (fd < 0) {
        return false;
    }
    if (::connect(fd, reinterpret_cast<const sockaddr*>(&address), sizeof(address)) != 0) {
        ::close(fd);
        return false;
    }
    release();
    fd_ = fd;
    return true;
}

std::vector<std::string> listLocalSockets(const std::string& prefix) {
    std::vector<std::string> names;
    const std::string folder = socketFolder(prefix);
    std::unique_ptr<DIR, int (*)(DIR*)> dir(opendir(folder.c_str()), closedir);
    if (!dir) {
        return names;
    }
    while (const dirent* entry = readdir(dir.get())) {
        const std::string name = entry->d_name;
        struct stat info {};
        if (name.rfind(prefix, 0) != 0 || stat((folder + "/" + name).c_str(), &info) != 0 ||
            !S_ISSOCK(info.st_mode)) {
            continue;
        }
        names.push_back(name);
    }
    return names;
}

}  // namespace tavu
