#pragma once
#include "wire/DeviceEvent.h"

#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <deque>
#include <optional>
#include <mutex>
#include <span>
#include <vector>

namespace tavu {

// A reader blocked in EventQueue::pop that lets the poster answer for it. Waking a thread per
// reader so that each writes its own few bytes costs far more than one thread writing them all,
// so the poster sends the reply itself and wakes the reader only to go on with its next request.
class EventHandOff {
public:
    // The reply that a reader sends for the event. It is the same for every reader, so the
    // poster makes it once for all of them.
    virtual std::vector<uint8_t> encode(const DeviceEvent& event) const = 0;
    // Sends what the reader's peer takes at once, without waiting; returns the count sent.
    virtual uint64_t sendNow(std::span<const uint8_t> bytes) noexcept = 0;
    // Sleeps until the reader's peer sends something or leaves, or the deadline passes. A reader
    // whose peer waits for the reply sleeps here rather than on the queue, so that a reply sent
    // for it costs no wake-up: the reader wakes only when its next request comes.
    virtual void awaitPeer(std::chrono::steady_clock::time_point deadline) noexcept = 0;

    // After pop: whether the poster took the reply over, and what of it the reader still sends.
    bool taken = false;
    std::vector<uint8_t> unsent;

protected:
    ~EventHandOff() = default;
};

// Unbounded FIFO of events: posters never wait, and a reader waits at most ReadTimeout.
class EventQueue {
public:
    static constexpr std::chrono::milliseconds ReadTimeout{500};

    // Queues the event, or answers the reader blocked on the empty queue (see pushOrClaim).
    void push(const DeviceEvent& event);
    // Oldest event, or a NoEvent made on the spot when nothing arrived within ReadTimeout of entry.
    // With a hand-off, a poster may have sent the reply already: see EventHandOff::taken.
    DeviceEvent pop(EventHandOff* handOff = nullptr);
    // Oldest event, or nothing when the queue is empty; never waits.
    std::optional<DeviceEvent> tryPop();
    void clear();
    bool isEmpty();

    // A reader claimed for an event: it stays in pop until handOff released it.
    struct Claim {
        EventQueue* queue;
        EventHandOff* reader;
    };
    // Queues the event, or, where a reader with a hand-off waits on the empty queue, claims that
    // reader instead. Every claim must go to handOff.
    std::optional<Claim> pushOrClaim(const DeviceEvent& event);
    // Sends each claimed reader the reply for the event, made once for all, then releases them.
    // Where the reply can't be made, the event goes into the queues and the readers take it as
    // any other.
    static void handOff(const DeviceEvent& event, std::span<const Claim> claims) noexcept;

private:
    void release(bool replied);

    enum class Waiter { None, Parked, Claimed, Done };

    std::mutex mutex_;
    std::condition_variable arrived_;
    std::deque<DeviceEvent> events_;
    EventHandOff* parked_ = nullptr;
    Waiter waiter_ = Waiter::None;
    DeviceEvent handed_{DeviceEvent::NoEvent, 0, 0};
};

}  // namespace tavu
