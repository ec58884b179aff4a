#pragma once
#include <cstdint>
#include <deque>
#include <mutex>
#include <optional>
#include <string>
#include <thread>
#include <vector>

#include "tests/support/TestClient.h"

namespace tavu::test {

// A stand-in for the service on a socket path: passes the version check (or refuses it),
// records every request, and answers each command with the next queued reply, {} when none
// is queued. A queued nothing closes the connection instead of answering.
class FakeService {
public:
    explicit FakeService(std::string path, bool acceptVersion = true);
    ~FakeService();
    FakeService(const FakeService&) = delete;
    FakeService& operator=(const FakeService&) = delete;

    void queueReply(std::optional<ObjectValue> reply);
    // The requests so far, written out by describe().
    std::vector<std::string> requests() const;

private:
    void serve();
    bool answer(int client, const ObjectValue& request);

    std::string path_;
    bool acceptVersion_;
    int listener_ = -1;
    mutable std::mutex mutex_;
    std::deque<std::optional<ObjectValue>> replies_;
    std::vector<std::string> requests_;
    std::jthread thread_;
};

}  // namespace tavu::test
