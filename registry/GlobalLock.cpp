#include "registry/GlobalLock.h"

#include <system_error>

namespace tavu {

void GlobalLock::lock() {
    std::unique_lock guard(mutex_);
    if (holder_ == std::this_thread::get_id()) {
        throw std::system_error(std::make_error_code(std::errc::resource_deadlock_would_occur));
    }
    released_.wait(guard, [this] { return !holder_.has_value(); });
    holder_ = std::this_thread::get_id();
}

void GlobalLock::unlock() {
    {
        std::lock_guard guard(mutex_);
        if (holder_ != std::this_thread::get_id()) {
            throw std::system_error(std::make_error_code(std::errc::operation_not_permitted));
        }
        holder_.reset();
    }
    released_.notify_one();
}

}  // namespace tavu
