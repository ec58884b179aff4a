#include "service/LocalSocketServer.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/eventfd.h>
#include <sys/file.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <stdexcept>

namespace tavu {

namespace {

void closeFd(int& fd) {
    if (fd >= 0) {
        ::close(fd);
        fd = -1;
    }
}

// The fallback folder under /tmp is ours to create; XDG_RUNTIME_DIR is the session's.
bool ensureFolder(const std::string& socketPath) {
    const std::string folder = socketPath.substr(0, socketPath.rfind('/'));
    if (::mkdir(folder.c_str(), 0700) == 0) {
        return true;
    }
    if (errno != EEXIST) {
        return false;
    }
    const char* runtime = std::getenv("XDG_RUNTIME_DIR");
    struct stat info {};
    if (runtime != nullptr && runtime[0] != '\0') {
        return ::stat(folder.c_str(), &info) == 0 && S_ISDIR(info.st_mode);
    }
    // Anyone can make a folder in /tmp, and whoever owns the one we find, or what a link there
    // points to, could put a socket of their own in our place. Only a real folder of ours is
    // used, closed to others as if we had just made it.
    return ::lstat(folder.c_str(), &info) == 0 && S_ISDIR(info.st_mode) && info.st_uid == ::geteuid() &&
           ((info.st_mode & 077) == 0 || ::chmod(folder.c_str(), 0700) == 0);
}

// Failures of accept that say nothing about the listener: a shortage of descriptors, buffers or
// memory that passes, or a client that broke off before it was taken.
bool isPassing(int error) {
    switch (error) {
    case EMFILE:
    case ENFILE:
    case ENOBUFS:
    case ENOMEM:
    case ECONNABORTED:
    case EINTR:
    case EPROTO:
        return true;
    default:
        return false;
    }
}

constexpr int LongestBackOffMs = 100;

}  // namespace

LocalSocketServer::LocalSocketServer() : abortFd_(::eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK)) {}

LocalSocketServer::~LocalSocketServer() {
    abort();
    closeListener();
    closeFd(abortFd_);
}

bool LocalSocketServer::listen(const std::string& baseName, bool /*global: no meaning here*/) {
    socketPath_ = localSocketPath(baseName);
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    if (socketPath_.size() >= sizeof(address.sun_path) || !ensureFolder(socketPath_)) {
        return false;
    }
    const std::string lockPath = socketPath_ + ".lock";
    lockFd_ = ::open(lockPath.c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0600);
    if (lockFd_ < 0 || ::flock(lockFd_, LOCK_EX | LOCK_NB) != 0) {
        closeFd(lockFd_);
        return false;
    }
    // Whoever holds the lock is the only listener, so a socket file found now is stale.
    ::unlink(socketPath_.c_str());
    std::memcpy(address.sun_path, socketPath_.c_str(), socketPath_.size() + 1);
    listenFd_ = ::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0);
    if (listenFd_ < 0 ||
        ::bind(listenFd_, reinterpret_cast<const sockaddr*>(&address), sizeof(address)) != 0 ||
        ::chmod(socketPath_.c_str(), 0600) != 0 || ::listen(listenFd_, SOMAXCONN) != 0) {
        closeListener();
        closeFd(lockFd_);
        return false;
    }
    listening_ = true;
    return true;
}

LocalSocket LocalSocketServer::accept() {
    if (!listening_ || aborted_) {
        closeListener();
        throw std::runtime_error("Pipe not open.");
    }
    // After a passing failure only abort is watched until the back-off ends: a client that
    // couldn't be taken for want of a descriptor stays in the backlog, and poll would report
    // it again at once.
    int backOffMs = 0;
    for (;;) {
        pollfd waits[3] = {
            {backOffMs == 0 ? listenFd_ : -1, POLLIN, 0}, {abortFd_, POLLIN, 0}, {stopFd_, POLLIN, 0}};
        const int ready = ::poll(waits, 3, backOffMs == 0 ? -1 : backOffMs);
        if (ready < 0 && errno == EINTR) {
            continue;
        }
        if (ready < 0) {
            throw std::runtime_error("ConnectNamedPipe failed.");
        }
        if (waits[2].revents != 0) {
            abort();
        }
        if (aborted_ || waits[1].revents != 0) {
            closeListener();
            throw std::runtime_error("ConnectNamedPipe aborted.");
        }
        const int fd = ::accept4(listenFd_, nullptr, nullptr, SOCK_CLOEXEC);
        if (fd >= 0) {
            return LocalSocket(fd);
        }
        if (errno == EAGAIN || errno == EWOULDBLOCK) {
            backOffMs = 0;  // the client went again between poll and accept
        } else if (isPassing(errno)) {
            backOffMs = std::min(backOffMs * 2 + 1, LongestBackOffMs);
        } else {
            throw std::runtime_error("ConnectNamedPipe failed, GetLastError() = " +
                                     std::to_string(errno) + ".");
        }
    }
}

void LocalSocketServer::abort() {
    if (!listening_ || aborted_.exchange(true)) {
        return;
    }
    // The listening descriptor is closed by accept on its own thread; here the name is
    // given up at once, so that a new instance can start while this one winds down.
    ::unlink(socketPath_.c_str());
    closeFd(lockFd_);
    const uint64_t one = 1;
    [[maybe_unused]] const ssize_t written = ::write(abortFd_, &one, sizeof(one));
}

void LocalSocketServer::closeListener() { closeFd(listenFd_); }

}  // namespace tavu
