#pragma once
#include <memory>
#include <mutex>
#include <vector>

#include "client/Client.h"
#include "client/ClientErrors.h"

namespace tavu::tavuweb {

// Connections to the service for the console's requests. A Client serves one caller at a time,
// so each request borrows one for its length; a connection that failed is dropped, and the
// next borrower connects anew (starting the service if it went away).
class ServicePool {
public:
    explicit ServicePool(client::ConnectOptions options) : options_(std::move(options)) {}

    const client::ConnectOptions& options() const { return options_; }

    template <typename Call>
    auto with(Call&& call) {
        std::unique_ptr<client::Client> client = borrow();
        try {
            if constexpr (std::is_void_v<decltype(call(*client))>) {
                call(*client);
                giveBack(std::move(client));
            } else {
                auto result = call(*client);
                giveBack(std::move(client));
                return result;
            }
        } catch (const client::ConnectionError&) {
            throw;
        } catch (...) {
            giveBack(std::move(client));
            throw;
        }
    }

    // Drops the idle connections, after the service went away: theirs would fail at first use.
    void clear() {
        const std::lock_guard lock(mutex_);
        idle_.clear();
    }

private:
    std::unique_ptr<client::Client> borrow() {
        {
            const std::lock_guard lock(mutex_);
            if (!idle_.empty()) {
                std::unique_ptr<client::Client> client = std::move(idle_.back());
                idle_.pop_back();
                return client;
            }
        }
        return std::make_unique<client::Client>(options_);
    }

    void giveBack(std::unique_ptr<client::Client> client) {
        const std::lock_guard lock(mutex_);
        idle_.push_back(std::move(client));
    }

    client::ConnectOptions options_;
    std::mutex mutex_;
    std::vector<std::unique_ptr<client::Client>> idle_;
};

}  // namespace tavu::tavuweb
