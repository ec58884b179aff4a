#include "registry/EventQueue.h"

namespace tavu {

void EventQueue::push(const DeviceEvent& event) {
    {
        std::lock_guard lock(mutex_);
        events_.push_back(event);
    }
    arrived_.notify_one();
}

DeviceEvent EventQueue::pop() {
    // The deadline is fixed at entry so that spurious or stolen wake-ups cannot stretch the wait.
    const auto deadline = std::chrono::steady_clock::now() + ReadTimeout;
    std::unique_lock lock(mutex_);
    if (!arrived_.wait_until(lock, deadline, [this] { return !events_.empty(); })) {
        return DeviceEvent{DeviceEvent::NoEvent, 0, 0};
    }
    const DeviceEvent event = events_.front();
    events_.pop_front();
    return event;
}

std::optional<DeviceEvent> EventQueue::tryPop() {
    std::lock_guard lock(mutex_);
    if (events_.empty()) {
        return std::nullopt;
    }
    const DeviceEvent event = events_.front();
    events_.pop_front();
    return event;
}

void EventQueue::clear() {
    std::lock_guard lock(mutex_);
    events_.clear();
}

bool EventQueue::isEmpty() {
    std::lock_guard lock(mutex_);
    return events_.empty();
}

}  // namespace tavu
