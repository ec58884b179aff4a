#pragma once
#include <condition_variable>
#include <mutex>
#include <optional>
#include <thread>

namespace tavu {

// The advisory lock that clients hold across requests. It behaves as a plain non-recursive mutex,
// but it knows its holder (a connection's thread), so that misuse is an error the client is told
// about rather than undefined behaviour: taking it twice, or releasing it without holding it,
// throws std::system_error.
class GlobalLock {
public:
    // Blocks without a time limit until the lock is free.
    void lock();
    void unlock();

private:
    std::mutex mutex_;
    std::condition_variable released_;
    std::optional<std::thread::id> holder_;
};

}  // namespace tavu
