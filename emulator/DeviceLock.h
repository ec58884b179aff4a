#pragma once
#include <atomic>
#include <mutex>
#include <system_error>
#include <thread>

namespace tavu {

// The emulator's device mutex: not recursive, and a second acquisition by the thread that holds
// it fails at once with the platform's busy error ("Resource deadlock avoided") instead of
// hanging. Operations that call another locking operation under the lock end in that error.
class DeviceLock {
public:
    void lock() {
        if (owner_.load() == std::this_thread::get_id()) {
            throw std::system_error(std::make_error_code(std::errc::resource_deadlock_would_occur));
        }
        mutex_.lock();
        owner_.store(std::this_thread::get_id());
    }

    void unlock() noexcept {
        owner_.store(std::thread::id());
        mutex_.unlock();
    }

private:
    std::mutex mutex_;
    // Only the holder can find its own id here, so a relaxed view from other threads is harmless.
    std::atomic<std::thread::id> owner_;
};

}  // namespace tavu
