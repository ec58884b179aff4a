#pragma once
#include "wire/DeviceEvent.h"

#include <chrono>
#include <condition_variable>
#include <deque>
#include <optional>
#include <mutex>

namespace tavu {

// Unbounded FIFO of events: posters never wait, and a reader waits at most ReadTimeout.
class EventQueue {
public:
    static constexpr std::chrono::milliseconds ReadTimeout{500};

    void push(const DeviceEvent& event);
    // Oldest event, or a NoEvent made on the spot when nothing arrived within ReadTimeout of entry.
    DeviceEvent pop();
    // Oldest event, or nothing when the queue is empty; never waits.
    std::optional<DeviceEvent> tryPop();
    void clear();
    bool isEmpty();

private:
    std::mutex mutex_;
    std::condition_variable arrived_;
    std::deque<DeviceEvent> events_;
};

}  // namespace tavu
