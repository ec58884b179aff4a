#pragma once
#include <condition_variable>
#include <cstdint>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "client/Client.h"
#include "tools/tavuweb/Console.h"
#include "tools/tavuweb/Render.h"

namespace tavu::tavuweb {

// A page that watches a port live.
class LiveWatcher {
public:
    virtual ~LiveWatcher() = default;
    // False while the page hasn't drawn enough of the frames sent before: a slow page gets fewer
    // frames and holds up nobody else.
    virtual bool wantsFrame() = 0;
    virtual DisplayRequest display() = 0;
    // Called on the port's thread.
    virtual void deliver(std::string message) = 0;
    virtual void failed(const std::string& text) = 0;
};

// Live view of ports for any number of pages. The service lets one connection run live view on
// a port, so each port watched has one thread with a connection of its own that takes frames
// as fast as its pages draw them, and makes each page the image it asked for. The thread stops
// live view once the last page looks away.
class LiveHub {
public:
    // maxRate: frames per second that a port is asked for at most; 0 for no bound.
    LiveHub(client::ConnectOptions options, Console& console, double maxRate);
    ~LiveHub();
    LiveHub(const LiveHub&) = delete;
    LiveHub& operator=(const LiveHub&) = delete;

    void watch(uint32_t device, uint8_t port, const std::shared_ptr<LiveWatcher>& watcher);
    void forget(const LiveWatcher* watcher);
    // A page took a frame: its port may grab the next.
    void kick();
    void stop();

private:
    struct Source {
        uint32_t device = 0;
        uint8_t port = 0;
        std::vector<std::weak_ptr<LiveWatcher>> watchers;
        bool finished = false;
        std::thread thread;
    };

    void run(Source& source);
    std::vector<std::shared_ptr<LiveWatcher>> watchersOf(Source& source);

    client::ConnectOptions options_;
    Console& console_;
    std::chrono::nanoseconds minInterval_{0};
    std::mutex mutex_;
    std::condition_variable wake_;
    bool stopping_ = false;
    std::map<std::pair<uint32_t, uint8_t>, std::unique_ptr<Source>> sources_;
};

}  // namespace tavu::tavuweb
