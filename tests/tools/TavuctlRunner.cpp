#include "tests/tools/TavuctlRunner.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <spawn.h>
#include <sys/wait.h>

#include <algorithm>
#include <cstring>
#include <fstream>
#include <sstream>
#include <stdexcept>

extern char** environ;

namespace tavu::test {

namespace fs = std::filesystem;

namespace {

bool isPrivateVariable(const std::string& entry) {
    return entry.rfind("TAVUSRV_", 0) == 0 || entry.rfind("QUILLON_", 0) == 0 ||
           entry.rfind("XDG_RUNTIME_DIR=", 0) == 0 || entry.rfind("XDG_DATA_HOME=", 0) == 0;
}

std::string readWhole(const fs::path& path) {
    std::ifstream in(path, std::ios::binary);
    std::ostringstream text;
    text << in.rdbuf();
    return text.str();
}

}  // namespace

TavuctlRunner::TavuctlRunner(const TestHome& home, Environment environment, fs::path program)
    : home_(home), program_(std::move(program)) {
    auto isGiven = [&](const std::string& entry) {
        return std::any_of(environment.begin(), environment.end(),
                           [&](const auto& variable) { return entry.rfind(variable.first + "=", 0) == 0; });
    };
    for (char** entry = environ; *entry != nullptr; ++entry) {
        if (!isPrivateVariable(*entry) && !isGiven(*entry)) {
            environment_.emplace_back(*entry);
        }
    }
    environment_.push_back("XDG_RUNTIME_DIR=" + home.runtimeDir().string());
    environment_.push_back("XDG_DATA_HOME=" + home.dataDir().string());
    for (const auto& [name, value] : environment) {
        environment_.push_back(name + "=" + value);
    }
}

Outcome TavuctlRunner::run(const std::vector<std::string>& args) { return start(args).finish(); }

TavuctlRunner::Child TavuctlRunner::start(const std::vector<std::string>& args) {
    const std::string tag = std::to_string(++runs_);
    const fs::path out = home_.root() / ("tavuctl-out-" + tag);
    const fs::path err = home_.root() / ("tavuctl-err-" + tag);
    std::vector<std::string> argv{program_.string()};
    argv.insert(argv.end(), args.begin(), args.end());
    const pid_t pid = spawnProgram(std::move(argv), environment_, out, err);
    return Child(pid, out, err);
}

TavuctlRunner::Child::Child(pid_t pid, fs::path out, fs::path err)
    : pid_(pid), out_(std::move(out)), err_(std::move(err)) {}

TavuctlRunner::Child::Child(Child&& other) noexcept
    : pid_(std::exchange(other.pid_, -1)), out_(std::move(other.out_)), err_(std::move(other.err_)) {}

TavuctlRunner::Child::~Child() {
    if (pid_ > 0) {
        ::kill(pid_, SIGKILL);
        ::waitpid(pid_, nullptr, 0);
    }
}

void TavuctlRunner::Child::signal(int number) const { ::kill(pid_, number); }

std::string TavuctlRunner::Child::output() const { return readWhole(out_); }

std::string TavuctlRunner::Child::errors() const { return readWhole(err_); }

Outcome TavuctlRunner::Child::finish(std::chrono::milliseconds bound) {
    Outcome outcome;
    int status = 0;
    const bool ended = eventually([&] { return ::waitpid(pid_, &status, WNOHANG) == pid_; }, bound);
    if (!ended) {
        ADD_FAILURE() << "tavuctl didn't end in time";
        ::kill(pid_, SIGKILL);
        ::waitpid(pid_, &status, 0);
    }
    pid_ = -1;
    outcome.status = WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
    outcome.out = readWhole(out_);
    outcome.err = readWhole(err_);
    for (const char* marker : {"Sanitizer", "runtime error:"}) {
        if (outcome.err.find(marker) != std::string::npos) {
            ADD_FAILURE() << "tavuctl reported:\n" << outcome.err;
            break;
        }
    }
    return outcome;
}

}  // namespace tavu::test
