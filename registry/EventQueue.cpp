#include "registry/EventQueue.h"

namespace tavu {

void EventQueue::push(const DeviceEvent& event) {
    if (const std::optional<Claim> claim = pushOrClaim(event)) {
        handOff(event, {&*claim, 1});
    }
}

DeviceEvent EventQueue::pop(EventHandOff* handOff) {
    // The deadline is fixed at entry so that spurious or stolen wake-ups cannot stretch the wait.
    const auto deadline = std::chrono::steady_clock::now() + ReadTimeout;
    std::unique_lock lock(mutex_);
    // One reader at a time may park; another waits as before.
    const bool parks = handOff != nullptr && waiter_ == Waiter::None && events_.empty();
    if (parks) {
        parked_ = handOff;
        waiter_ = Waiter::Parked;
        lock.unlock();
        handOff->awaitPeer(deadline);
        lock.lock();
    }
    // A peer that spoke before its reply came sends requests ahead: from here the reader waits as
    // any other.
    const bool arrived = arrived_.wait_until(
        lock, deadline, [&] { return !events_.empty() || (parks && waiter_ != Waiter::Parked); });
    if (parks) {
        // A claim made before the deadline passed is honoured: the poster is writing the reply.
        arrived_.wait(lock, [this] { return waiter_ != Waiter::Claimed; });
        const bool handed = waiter_ == Waiter::Done;
        parked_ = nullptr;
        waiter_ = Waiter::None;
        if (handed) {
            return handed_;
        }
    }
    if (!arrived || events_.empty()) {
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

std::optional<EventQueue::Claim> EventQueue::pushOrClaim(const DeviceEvent& event) {
    {
        std::lock_guard lock(mutex_);
        if (waiter_ == Waiter::Parked && events_.empty()) {
            waiter_ = Waiter::Claimed;
            handed_ = event;
            return Claim{this, parked_};
        }
        events_.push_back(event);
    }
    arrived_.notify_one();
    return std::nullopt;
}

void EventQueue::handOff(const DeviceEvent& event, std::span<const Claim> claims) noexcept {
    if (claims.empty()) {
        return;
    }
    std::vector<uint8_t> reply;
    try {
        reply = claims.front().reader->encode(event);
    } catch (...) {
        for (const Claim& claim : claims) {
            claim.queue->release(false);
        }
        return;
    }
    for (const Claim& claim : claims) {
        const uint64_t sent = claim.reader->sendNow(reply);
        claim.reader->taken = true;
        // The reader reserved room for a whole reply, so this takes no memory.
        claim.reader->unsent.assign(reply.begin() + static_cast<std::ptrdiff_t>(sent), reply.end());
    }
    // Released only once every reply is out: a reader woken earlier would take a processor from
    // this writer.
    for (const Claim& claim : claims) {
        claim.queue->release(true);
    }
}

void EventQueue::release(bool replied) {
    {
        std::lock_guard lock(mutex_);
        if (replied) {
            waiter_ = Waiter::Done;
        } else {
            // Ahead of anything posted since the claim, as the event came first.
            events_.push_front(handed_);
            waiter_ = Waiter::None;
        }
    }
    arrived_.notify_one();
}

}  // namespace tavu
