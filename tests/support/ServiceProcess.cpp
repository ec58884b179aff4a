#include "support/ServiceProcess.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <spawn.h>
#include <sys/mman.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdlib>
#include <cstring>
#include <fstream>
#include <sstream>
#include <stdexcept>
#include <thread>

extern char** environ;

namespace tavu::test {

pid_t spawnProgram(std::vector<std::string> argv, std::vector<std::string> environment,
                   const std::filesystem::path& out, const std::filesystem::path& err) {
    std::vector<char*> argPointers;
    for (auto& arg : argv) argPointers.push_back(arg.data());
    argPointers.push_back(nullptr);
    std::vector<char*> envPointers;
    for (auto& entry : environment) envPointers.push_back(entry.data());
    envPointers.push_back(nullptr);

    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_addopen(&actions, 0, "/dev/null", O_RDONLY, 0);
    if (!out.empty()) {
        posix_spawn_file_actions_addopen(&actions, 1, out.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600);
    }
    if (!err.empty()) {
        posix_spawn_file_actions_addopen(&actions, 2, err.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600);
    }
    pid_t pid = -1;
    const int result = posix_spawn(&pid, argv.front().c_str(), &actions, nullptr, argPointers.data(),
                                   envPointers.data());
    posix_spawn_file_actions_destroy(&actions);
    if (result != 0) {
        throw std::runtime_error("cannot start " + argv.front() + ": " + std::strerror(result));
    }
    return pid;
}

namespace fs = std::filesystem;

namespace {

std::string readWhole(const fs::path& path) {
    std::ifstream in(path, std::ios::binary);
    std::ostringstream text;
    text << in.rdbuf();
    return text.str();
}

bool isServiceVariable(const std::string& entry) {
    return entry.rfind("TAVUSRV_", 0) == 0 || entry.rfind("QUILLON_", 0) == 0 ||
           entry.rfind("XDG_RUNTIME_DIR=", 0) == 0 || entry.rfind("XDG_DATA_HOME=", 0) == 0;
}

}  // namespace

TestHome::TestHome() {
    std::string pattern = (fs::temp_directory_path() / "tavutest-XXXXXX").string();
    if (mkdtemp(pattern.data()) == nullptr) {
        throw std::runtime_error("mkdtemp failed");
    }
    root_ = pattern;
    fs::create_directory(runtimeDir());
    fs::permissions(runtimeDir(), fs::perms::owner_all, fs::perm_options::replace);
    fs::create_directory(dataDir());
}

TestHome::~TestHome() {
    std::error_code ignored;
    fs::remove_all(root_, ignored);
}

ServiceProcess::ServiceProcess(const TestHome& home, std::vector<std::string> args,
                               Environment extraEnvironment)
    : home_(home) {
    static int counter = 0;
    const std::string tag = std::to_string(++counter);
    stdoutPath_ = home.root() / ("stdout-" + tag);
    stderrPath_ = home.root() / ("stderr-" + tag);

    std::vector<std::string> environment;
    for (char** entry = environ; *entry != nullptr; ++entry) {
        if (!isServiceVariable(*entry)) {
            environment.emplace_back(*entry);
        }
    }
    environment.push_back("XDG_RUNTIME_DIR=" + home.runtimeDir().string());
    environment.push_back("XDG_DATA_HOME=" + home.dataDir().string());
    for (const auto& [name, value] : extraEnvironment) {
        environment.push_back(name + "=" + value);
    }

    std::vector<std::string> argv{TAVUSVC_PATH};
    argv.insert(argv.end(), args.begin(), args.end());
    pid_ = spawnProgram(std::move(argv), std::move(environment), stdoutPath_, stderrPath_);
}

ServiceProcess::~ServiceProcess() {
    if (running()) {
        kill(SIGKILL);
        waitForExit(10s);
    }
    // A sanitizer build of the service reports on its standard error; any report fails the
    // test that ran it, whatever the test itself looked at.
    const std::string errors = standardError();
    for (const char* marker : {"Sanitizer", "runtime error:"}) {
        if (errors.find(marker) != std::string::npos) {
            ADD_FAILURE() << "tavusvc reported:\n" << errors;
            break;
        }
    }
}

bool ServiceProcess::waitForSocket(std::chrono::milliseconds bound) const {
    return eventually(
        [&] {
            std::error_code ignored;
            return fs::is_socket(home_.socketPath(), ignored);
        },
        bound);
}

std::optional<int> ServiceProcess::waitForExit(std::chrono::milliseconds bound) {
    eventually([&] { return !running(); }, bound);
    return exitStatus_;
}

bool ServiceProcess::running() {
    if (exitStatus_) {
        return false;
    }
    int status = 0;
    if (waitpid(pid_, &status, WNOHANG) == pid_) {
        exitStatus_ = WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
        removeOrphanedRegions();
        return false;
    }
    return true;
}

bool ServiceProcess::waitUntilIdle(std::chrono::milliseconds bound) {
    const fs::path tasks = "/proc/" + std::to_string(pid_) + "/task";
    auto allSleeping = [&] {
        std::error_code error;
        for (const auto& task : fs::directory_iterator(tasks, error)) {
            // The state follows the command name in parentheses: "tid (name) S ...".
            const std::string stat = readWhole(task.path() / "stat");
            const auto close = stat.rfind(')');
            if (close == std::string::npos || close + 2 >= stat.size() || stat[close + 2] != 'S') {
                return false;
            }
        }
        return !error;
    };
    // Two readings in a row, so that a thread passing between two waits isn't missed.
    return eventually([&] { return allSleeping() && allSleeping(); }, bound);
}

void ServiceProcess::kill(int signal) {
    // A killed service can't remove its shared regions: note the ones it has mapped now, and
    // remove them once it is gone, so that tests leave nothing in /dev/shm.
    std::istringstream maps(readWhole("/proc/" + std::to_string(pid_) + "/maps"));
    for (std::string line; std::getline(maps, line);) {
        const auto at = line.find("/dev/shm/orek_tavu");
        if (at != std::string::npos && line.find(" (deleted)") == std::string::npos) {
            orphanedRegions_.insert(line.substr(at + std::string("/dev/shm").size()));
        }
    }
    ::kill(pid_, signal);
}

void ServiceProcess::removeOrphanedRegions() {
    for (const std::string& name : orphanedRegions_) {
        shm_unlink(name.c_str());
    }
    orphanedRegions_.clear();
}

std::string ServiceProcess::standardOutput() const { return readWhole(stdoutPath_); }
std::string ServiceProcess::standardError() const { return readWhole(stderrPath_); }

}  // namespace tavu::test
