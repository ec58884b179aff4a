#pragma once
#include <atomic>
#include <filesystem>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include <boost/asio/io_context.hpp>
#include <boost/asio/ip/tcp.hpp>
#include <boost/asio/thread_pool.hpp>

#include "tools/tavuweb/Access.h"
#include "tools/tavuweb/Api.h"
#include "tools/tavuweb/Console.h"
#include "tools/tavuweb/LiveHub.h"

namespace tavu::tavuweb {

class PageSession;

// The console's HTTP and WebSocket server. Network work runs on one thread; every call of the
// service runs on a pool of workers, so a slow call or a slow page holds up only itself.
class Server : public Pages {
public:
    // acceptor: bound and listening.
    Server(boost::asio::ip::tcp::acceptor acceptor, Access access, std::filesystem::path pageFolder,
           ServicePool& pool, double maxLiveRate);
    ~Server() override;

    uint16_t port() const;
    // Starts the console's threads and accepts connections.
    void start();
    // Stops accepting, closes the pages and ends the console's threads.
    void stop();

    void broadcast(const std::string& message) override;

    // For the sessions.
    const Access& access() const { return access_; }
    Api& api() { return api_; }
    Console& console() { return console_; }
    LiveHub& live() { return live_; }
    boost::asio::thread_pool& workers() { return workers_; }
    const std::filesystem::path& pageFolder() const { return pageFolder_; }
    void addPage(const std::shared_ptr<PageSession>& page);
    // Bounds the connections that are open at once: a connection holds what this returns for
    // its life; null when there are too many. It may outlive the server.
    std::shared_ptr<void> admitConnection();

private:
    void accept();

    boost::asio::ip::tcp::acceptor acceptor_;
    Access access_;
    std::filesystem::path pageFolder_;
    Console console_;
    Api api_;
    LiveHub live_;
    boost::asio::thread_pool workers_{8};
    std::mutex pagesMutex_;
    std::vector<std::weak_ptr<PageSession>> pages_;
    std::shared_ptr<std::atomic<int>> connections_ = std::make_shared<std::atomic<int>>(0);
    bool stopped_ = false;
};

}  // namespace tavu::tavuweb
