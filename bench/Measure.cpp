#include "bench/Measure.h"

#include <sched.h>
#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <ctime>
#include <fstream>
#include <sstream>
#include <stdexcept>
#include <string>

namespace tavu::bench {

void pinThisThread(int cpu) {
    cpu_set_t set;
    CPU_ZERO(&set);
    const long processors = sysconf(_SC_NPROCESSORS_ONLN);
    for (long i = 0; i < processors; ++i) {
        if (cpu < 0 || i == cpu) {
            CPU_SET(i, &set);
        }
    }
    if (sched_setaffinity(0, sizeof(set), &set) != 0) {
        throw std::runtime_error("sched_setaffinity failed");
    }
}

void pinProcess(pid_t pid, const std::string& processors) {
    const std::string command = "taskset -a -cp " + processors + " " + std::to_string(pid) + " >/dev/null 2>&1";
    // taskset fails when a thread ends between its listing and its binding; the next pass
    // no longer sees that thread.
    for (int attempt = 0; attempt < 10; ++attempt) {
        if (std::system(command.c_str()) == 0) {
            return;
        }
    }
    throw std::runtime_error("taskset failed: " + command);
}

std::string allProcessors() {
    return "0-" + std::to_string(sysconf(_SC_NPROCESSORS_ONLN) - 1);
}

bool waitUntilAsleep(const std::vector<pid_t>& threads) {
    auto allSleeping = [&] {
        return std::ranges::all_of(threads, [](pid_t tid) {
            std::ifstream in("/proc/self/task/" + std::to_string(tid) + "/stat");
            const std::string stat((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
            // The state follows the command name in parentheses: "tid (name) S ...".
            const auto close = stat.rfind(')');
            return close != std::string::npos && close + 2 < stat.size() && stat[close + 2] == 'S';
        });
    };
    // Two readings in a row, so that a thread passing between two waits isn't missed.
    const auto deadline = Clock::now() + std::chrono::seconds(10);
    while (!(allSleeping() && allSleeping())) {
        if (Clock::now() >= deadline) {
            return false;
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
    return true;
}

double median(std::vector<double> values) {
    if (values.empty()) {
        return 0;
    }
    const auto middle = values.begin() + static_cast<std::ptrdiff_t>(values.size() / 2);
    std::ranges::nth_element(values, middle);
    return *middle;
}

double processCpuSeconds(pid_t pid) {
    // The process's CPU clock counts in nanoseconds, and keeps the time of threads that ended.
    clockid_t clock{};
    timespec used{};
    if (clock_getcpuclockid(pid, &clock) == 0 && clock_gettime(clock, &used) == 0) {
        return static_cast<double>(used.tv_sec) + static_cast<double>(used.tv_nsec) * 1e-9;
    }
    // Otherwise /proc, in clock ticks.
    std::ifstream in("/proc/" + std::to_string(pid) + "/stat");
    std::string stat((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
    // Fields after the command name in parentheses; utime and stime are the 12th and 13th.
    std::istringstream fields(stat.substr(stat.rfind(')') + 2));
    std::string field;
    uint64_t utime = 0;
    uint64_t stime = 0;
    for (int i = 1; i <= 13 && fields >> field; ++i) {
        if (i == 12) {
            utime = std::stoull(field);
        } else if (i == 13) {
            stime = std::stoull(field);
        }
    }
    return static_cast<double>(utime + stime) / static_cast<double>(sysconf(_SC_CLK_TCK));
}

uint64_t residentBytes(pid_t pid) {
    std::ifstream status("/proc/" + std::to_string(pid) + "/status");
    std::string line;
    while (std::getline(status, line)) {
        if (line.rfind("VmRSS:", 0) == 0) {
            return std::stoull(line.substr(6)) * 1024;
        }
    }
    return 0;
}

double threadCpuSeconds() {
    timespec now{};
    clock_gettime(CLOCK_THREAD_CPUTIME_ID, &now);
    return static_cast<double>(now.tv_sec) + static_cast<double>(now.tv_nsec) * 1e-9;
}

}  // namespace tavu::bench
