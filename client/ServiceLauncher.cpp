#include "client/ServiceLauncher.h"

#include <fcntl.h>
#include <linux/close_range.h>
#include <signal.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <sstream>

#include "client/ClientErrors.h"

extern char** environ;

namespace tavu::client {

namespace fs = std::filesystem;

namespace {

constexpr const char* ExecutableName = "tavusvc";

std::vector<fs::path> defaultFolders() {
    std::vector<fs::path> folders;
    std::error_code error;
    const fs::path self = fs::read_symlink("/proc/self/exe", error);
    if (!error) {
        folders.push_back(self.parent_path());
    }
    const char* path = std::getenv("PATH");
    std::istringstream entries(path != nullptr ? path : "");
    for (std::string entry; std::getline(entries, entry, ':');) {
        folders.emplace_back(entry.empty() ? "." : entry);
    }
    return folders;
}

bool isExecutableFile(const fs::path& candidate) {
    struct stat info {};
    return ::stat(candidate.c_str(), &info) == 0 && S_ISREG(info.st_mode) &&
           ::access(candidate.c_str(), X_OK) == 0;
}

// Runs in the forked child: only async-signal-safe calls from here to exec. The child starts
// a new session and forks again, so that the service is nobody's child here and is never
// left as a zombie of a long-lived client process.
[[noreturn]] void becomeService(const char* program, int errorPipe) {
    ::setsid();
    const pid_t grandchild = ::fork();
    if (grandchild != 0) {
        ::_exit(grandchild < 0 ? 1 : 0);
    }
    sigset_t none;
    sigemptyset(&none);
    ::sigprocmask(SIG_SETMASK, &none, nullptr);
    const int devnull = ::open("/dev/null", O_RDWR);
    if (devnull >= 0) {
        ::dup2(devnull, STDIN_FILENO);
        ::dup2(devnull, STDOUT_FILENO);
        ::dup2(devnull, STDERR_FILENO);
    }
    // Nothing else the client holds, its connections included, may outlive the exec.
    ::syscall(SYS_close_range, 3U, ~0U, CLOSE_RANGE_CLOEXEC);
    if (::chdir("/") != 0) {
        // The service uses absolute paths only; staying where we are is harmless.
    }
    char* const argv[] = {const_cast<char*>(program), nullptr};
    ::execve(program, argv, environ);
    const int error = errno;
    [[maybe_unused]] const ssize_t ignored = ::write(errorPipe, &error, sizeof error);
    ::_exit(127);
}

// The errno of a failed exec, or 0 once the exec has happened.
int waitForExec(pid_t child, int errorPipe) {
    int status = 0;
    while (::waitpid(child, &status, 0) < 0 && errno == EINTR) {
    }
    int error = 0;
    ssize_t got = 0;
    do {
        got = ::read(errorPipe, &error, sizeof error);
    } while (got < 0 && errno == EINTR);
    return got == sizeof error ? error : 0;
}

}  // namespace

ServiceLauncher::ServiceLauncher(std::vector<fs::path> folders)
    : folders_(folders.empty() ? defaultFolders() : std::move(folders)) {}

std::optional<fs::path> ServiceLauncher::find() const {
    for (const fs::path& folder : folders_) {
        const fs::path candidate = folder / ExecutableName;
        if (isExecutableFile(candidate)) {
            return candidate;
        }
    }
    return std::nullopt;
}

fs::path ServiceLauncher::start() const {
    const std::optional<fs::path> program = find();
    if (!program) {
        throw NoServiceError("no tavusvc executable was found in " + searchedFolders());
    }
    const std::string path = program->string();
    int fds[2];
    if (::pipe2(fds, O_CLOEXEC) != 0) {
        throw NoServiceError("could not start " + path + ": " + std::strerror(errno));
    }
    const pid_t child = ::fork();
    const int forkError = errno;
    if (child == 0) {
        ::close(fds[0]);
        becomeService(path.c_str(), fds[1]);
    }
    ::close(fds[1]);
    const int execError = child < 0 ? forkError : waitForExec(child, fds[0]);
    ::close(fds[0]);
    if (execError != 0) {
        throw NoServiceError("could not start " + path + ": " + std::strerror(execError));
    }
    return *program;
}

std::string ServiceLauncher::searchedFolders() const {
    std::string text;
    for (const fs::path& folder : folders_) {
        text += (text.empty() ? "" : ", ") + folder.string();
    }
    return text.empty() ? "no folder" : text;
}

}  // namespace tavu::client
