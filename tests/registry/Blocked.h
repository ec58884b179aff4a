#pragma once
#include <sys/types.h>
#include <unistd.h>

#include <chrono>
#include <fstream>
#include <string>
#include <thread>

namespace tavu::test {

// Waits, up to ten seconds, until the thread with this kernel id sleeps (blocked on a lock or a
// condition). False when the bound passed.
inline bool waitUntilBlocked(pid_t threadId) {
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(10);
    while (std::chrono::steady_clock::now() < deadline) {
        std::ifstream stat("/proc/self/task/" + std::to_string(threadId) + "/stat");
        std::string line;
        std::getline(stat, line);
        // The state follows the parenthesised command name.
        const auto close = line.rfind(')');
        if (close != std::string::npos && close + 2 < line.size() && line[close + 2] == 'S') {
            return true;
        }
        std::this_thread::yield();
    }
    return false;
}

}  // namespace tavu::test
