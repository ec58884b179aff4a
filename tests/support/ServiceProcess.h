#pragma once
#include <sys/types.h>

#include <chrono>
#include <filesystem>
#include <optional>
#include <set>
#include <string>
#include <thread>
#include <utility>
#include <vector>

namespace tavu::test {

using namespace std::chrono_literals;

// Starts argv[0] with exactly this environment and standard input from /dev/null. Standard
// output and error go to files made anew, or stay the caller's where a path is empty. Returns the
// child's id; throws with the reason when it can't start.
pid_t spawnProgram(std::vector<std::string> argv, std::vector<std::string> environment,
                   const std::filesystem::path& out, const std::filesystem::path& err);

// A private folder for one test: runtime folder (the socket) and data folder, removed
// with everything in it when the test ends.
class TestHome {
public:
    TestHome();
    ~TestHome();
    TestHome(const TestHome&) = delete;
    TestHome& operator=(const TestHome&) = delete;

    const std::filesystem::path& root() const { return root_; }
    std::filesystem::path runtimeDir() const { return root_ / "run"; }
    std::filesystem::path dataDir() const { return root_ / "data"; }
    std::string socketPath() const { return (runtimeDir() / "tavusrv").string(); }

private:
    std::filesystem::path root_;
};

// The real service binary, started in a TestHome with a clean environment: only the
// variables given here reach it of those that the service reads.
class ServiceProcess {
public:
    using Environment = std::vector<std::pair<std::string, std::string>>;

    explicit ServiceProcess(const TestHome& home, std::vector<std::string> args = {},
                            Environment extraEnvironment = {});
    ~ServiceProcess();
    ServiceProcess(const ServiceProcess&) = delete;
    ServiceProcess& operator=(const ServiceProcess&) = delete;

    // True once the socket file exists. This doesn't connect: a probing client would count
    // as the service's first client and its departure would stop the service.
    bool waitForSocket(std::chrono::milliseconds bound = 10s) const;
    // The exit status once the process has ended within the bound.
    std::optional<int> waitForExit(std::chrono::milliseconds bound = 10s);
    bool running();
    // True once every thread of the service sleeps: a request sent before has been read and
    // the thread serving it waits, for instance in a blocking read of events or on a lock.
    bool waitUntilIdle(std::chrono::milliseconds bound = 10s);
    void kill(int signal);
    pid_t pid() const { return pid_; }

    std::string standardOutput() const;
    std::string standardError() const;

private:
    const TestHome& home_;
    std::filesystem::path stdoutPath_;
    std::filesystem::path stderrPath_;
    pid_t pid_ = -1;
    std::optional<int> exitStatus_;
    std::set<std::string> orphanedRegions_;

    void removeOrphanedRegions();
};

// Polls a condition until it holds or the bound passes.
template <typename Condition>
bool eventually(Condition condition, std::chrono::milliseconds bound = 10s) {
    const auto deadline = std::chrono::steady_clock::now() + bound;
    for (;;) {
        if (condition()) {
            return true;
        }
        if (std::chrono::steady_clock::now() >= deadline) {
            return false;
        }
        std::this_thread::sleep_for(5ms);
    }
}

}  // namespace tavu::test
