#include "tools/tavuweb/LiveHub.h"

#include <algorithm>

#include "client/ClientErrors.h"
#include "client/LiveView.h"

namespace tavu::tavuweb {

namespace {

using namespace std::chrono_literals;
using Clock = std::chrono::steady_clock;

}  // namespace

LiveHub::LiveHub(client::ConnectOptions options, Console& console, double maxRate)
    : options_(std::move(options)), console_(console) {
    if (maxRate > 0) {
        minInterval_ = std::chrono::nanoseconds(static_cast<int64_t>(1e9 / maxRate));
    }
}

LiveHub::~LiveHub() { stop(); }

void LiveHub::stop() {
    std::map<std::pair<uint32_t, uint8_t>, std::unique_ptr<Source>> sources;
    {
        const std::lock_guard lock(mutex_);
        stopping_ = true;
        sources.swap(sources_);
    }
    wake_.notify_all();
    for (auto& [key, source] : sources) {
        source->thread.join();
    }
}

void LiveHub::watch(uint32_t device, uint8_t port, const std::shared_ptr<LiveWatcher>& watcher) {
    forget(watcher.get());
    std::unique_ptr<Source> ended;
    {
        const std::lock_guard lock(mutex_);
        if (stopping_) {
            return;
        }
        auto& source = sources_[{device, port}];
        if (source && source->finished) {
            ended.swap(source);
        }
        if (!source) {
            source = std::make_unique<Source>();
            source->device = device;
            source->port = port;
            source->watchers.push_back(watcher);
            Source& started = *source;
            source->thread = std::thread([this, &started] { run(started); });
        } else {
            source->watchers.push_back(watcher);
        }
    }
    if (ended) {
        ended->thread.join();
    }
    wake_.notify_all();
}

void LiveHub::forget(const LiveWatcher* watcher) {
    const std::lock_guard lock(mutex_);
    for (auto& [key, source] : sources_) {
        std::erase_if(source->watchers, [&](const std::weak_ptr<LiveWatcher>& entry) {
            const auto held = entry.lock();
            return !held || held.get() == watcher;
        });
    }
    wake_.notify_all();
}

void LiveHub::kick() { wake_.notify_all(); }

std::vector<std::shared_ptr<LiveWatcher>> LiveHub::watchersOf(Source& source) {
    std::vector<std::shared_ptr<LiveWatcher>> held;
    std::erase_if(source.watchers, [](const std::weak_ptr<LiveWatcher>& entry) { return entry.expired(); });
    for (const auto& entry : source.watchers) {
        if (auto watcher = entry.lock()) {
            held.push_back(std::move(watcher));
        }
    }
    return held;
}

void LiveHub::run(Source& source) {
    const auto finish = [&](const std::string& problem) {
        std::vector<std::shared_ptr<LiveWatcher>> watchers;
        {
            const std::lock_guard lock(mutex_);
            watchers = watchersOf(source);
            source.watchers.clear();
            source.finished = true;
        }
        if (!problem.empty()) {
            for (const auto& watcher : watchers) {
                watcher->failed(problem);
            }
        }
    };
    const std::string label = "port " + std::to_string(source.port) + " of device " + std::to_string(source.device);
    try {
        client::Client client(options_);
        std::optional<client::LiveView> live;
        live.emplace(client, source.device, source.port);
        uint64_t grabbed = 0;
        Clock::time_point rateStart = Clock::now();
        uint64_t rateFrames = 0;
        double rate = 0;
        Clock::time_point nextGrab = Clock::now();
        for (;;) {
            std::vector<std::shared_ptr<LiveWatcher>> ready;
            {
                std::unique_lock lock(mutex_);
                // Waits for a page that can take a frame; the time bound only lets watchers
                // whose pages are gone be noticed.
                wake_.wait_for(lock, 200ms, [&] {
                    if (stopping_) {
                        return true;
                    }
                    const auto watchers = watchersOf(source);
                    return watchers.empty() ||
                           std::any_of(watchers.begin(), watchers.end(), [](const auto& w) { return w->wantsFrame(); });
                });
                const auto watchers = watchersOf(source);
                if (stopping_ || watchers.empty()) {
                    source.finished = true;
                    return;
                }
                for (const auto& watcher : watchers) {
                    if (watcher->wantsFrame()) {
                        ready.push_back(watcher);
                    }
                }
            }
            if (ready.empty()) {
                continue;
            }
            // A camera sets its own pace; the emulator makes a frame per request, and a page
            // shows no more than its screen refreshes.
            std::this_thread::sleep_until(nextGrab);
            nextGrab = std::max(nextGrab + minInterval_, Clock::now());
            client::LiveView::Frame frame{};
            try {
                frame = live->grab();
            } catch (const client::ServiceError&) {
                throw;
            } catch (const client::ConnectionError&) {
                throw;
            } catch (const client::ClientError&) {
                // The port's geometry grew beyond the live region: live view starts anew.
                live.reset();
                live.emplace(client, source.device, source.port);
                continue;
            }
            ++grabbed;
            ++rateFrames;
            const Clock::time_point now = Clock::now();
            if (now - rateStart >= 1s) {
                rate = static_cast<double>(rateFrames) / std::chrono::duration<double>(now - rateStart).count();
                rateStart = now;
                rateFrames = 0;
                console_.noteFrameRate(source.device, source.port, rate);
            }
            const Json extra{{"device", source.device}, {"port", source.port}, {"serial", grabbed}, {"sourceFps", rate}};
            for (const auto& watcher : ready) {
                const DisplayFrame shown =
                    render(frame.pixels, frame.geometry.width, frame.geometry.height, watcher->display());
                watcher->deliver(displayMessage(shown, extra));
            }
        }
    } catch (const std::exception& error) {
        finish("Live view of " + label + " failed: " + error.what());
        return;
    }
}

}  // namespace tavu::tavuweb
