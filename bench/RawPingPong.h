#pragma once
#include <cstddef>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

namespace tavu::bench {

// The baseline of the request round trip: a Unix stream socket server that answers every
// request of a fixed size with a reply of a fixed size, one thread per connection as the
// service has, and nothing else.
class RawPingPongServer {
public:
    RawPingPongServer(std::string path, size_t requestSize, size_t replySize);
    ~RawPingPongServer();
    RawPingPongServer(const RawPingPongServer&) = delete;
    RawPingPongServer& operator=(const RawPingPongServer&) = delete;

    const std::string& path() const { return path_; }

private:
    void acceptLoop();
    void serve(int fd) const;

    std::string path_;
    size_t requestSize_;
    size_t replySize_;
    int listenFd_ = -1;
    std::mutex connectionsMutex_;
    std::vector<std::jthread> connections_;
    std::jthread acceptor_;
};

// One connection to a RawPingPongServer.
class RawPingPongClient {
public:
    RawPingPongClient(const std::string& path, size_t requestSize, size_t replySize);
    ~RawPingPongClient();
    RawPingPongClient(const RawPingPongClient&) = delete;
    RawPingPongClient& operator=(const RawPingPongClient&) = delete;

    void roundTrip();

private:
    int fd_ = -1;
    std::vector<char> request_;
    std::vector<char> reply_;
};

}  // namespace tavu::bench
