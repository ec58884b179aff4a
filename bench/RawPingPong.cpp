#include "bench/RawPingPong.h"

#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <cstring>
#include <stdexcept>

namespace tavu::bench {

namespace {

sockaddr_un addressOf(const std::string& path) {
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    std::strncpy(address.sun_path, path.c_str(), sizeof(address.sun_path) - 1);
    return address;
}

// False when the peer has gone.
bool readFully(int fd, char* buffer, size_t size) {
    while (size > 0) {
        const ssize_t got = ::read(fd, buffer, size);
        if (got <= 0) {
            return false;
        }
        buffer += got;
        size -= static_cast<size_t>(got);
    }
    return true;
}

}  // namespace

RawPingPongServer::RawPingPongServer(std::string path, size_t requestSize, size_t replySize)
    : path_(std::move(path)), requestSize_(requestSize), replySize_(replySize) {
    listenFd_ = ::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
    const sockaddr_un address = addressOf(path_);
    ::unlink(path_.c_str());
    if (listenFd_ < 0 || ::bind(listenFd_, reinterpret_cast<const sockaddr*>(&address), sizeof(address)) != 0 ||
        ::listen(listenFd_, 512) != 0) {
        throw std::runtime_error("raw ping-pong server could not listen on " + path_);
    }
    acceptor_ = std::jthread([this] { acceptLoop(); });
}

RawPingPongServer::~RawPingPongServer() {
    ::shutdown(listenFd_, SHUT_RDWR);
    acceptor_ = {};
    connections_.clear();
    ::close(listenFd_);
    ::unlink(path_.c_str());
}

void RawPingPongServer::acceptLoop() {
    for (;;) {
        const int fd = ::accept4(listenFd_, nullptr, nullptr, SOCK_CLOEXEC);
        if (fd < 0) {
            return;
        }
        std::lock_guard guard(connectionsMutex_);
        connections_.emplace_back([this, fd] { serve(fd); });
    }
}

void RawPingPongServer::serve(int fd) const {
    std::vector<char> request(requestSize_);
    const std::vector<char> reply(replySize_, 'r');
    while (readFully(fd, request.data(), request.size())) {
        if (::write(fd, reply.data(), reply.size()) != static_cast<ssize_t>(reply.size())) {
            break;
        }
    }
    ::close(fd);
}

RawPingPongClient::RawPingPongClient(const std::string& path, size_t requestSize, size_t replySize)
    : request_(requestSize, 'q'), reply_(replySize) {
    fd_ = ::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
    const sockaddr_un address = addressOf(path);
    if (fd_ < 0 || ::connect(fd_, reinterpret_cast<const sockaddr*>(&address), sizeof(address)) != 0) {
        throw std::runtime_error("could not connect to the raw ping-pong server");
    }
}

RawPingPongClient::~RawPingPongClient() {
    ::close(fd_);
}

void RawPingPongClient::roundTrip() {
    if (::write(fd_, request_.data(), request_.size()) != static_cast<ssize_t>(request_.size()) ||
        !readFully(fd_, reply_.data(), reply_.size())) {
        throw std::runtime_error("raw ping-pong connection lost");
    }
}

}  // namespace tavu::bench
