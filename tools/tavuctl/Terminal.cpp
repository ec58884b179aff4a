#include "tools/tavuctl/Terminal.h"

#include <poll.h>
#include <sys/ioctl.h>
#include <unistd.h>

#include <atomic>
#include <cstring>
#include <iostream>

#include "tools/tavuctl/Failure.h"

namespace tavu::tavuctl {

namespace {

std::atomic<int> signalCount{0};
std::atomic<const char*> notice{nullptr};

extern "C" void onInterrupt(int) {
    if (signalCount.fetch_add(1) >= 1) {
        const char* text = notice.load();
        [[maybe_unused]] const ssize_t ignored = ::write(STDERR_FILENO, text, std::strlen(text));
    }
}

}  // namespace

bool isTerminal(int fd) { return ::isatty(fd) == 1; }

unsigned terminalColumns(int fd) {
    winsize size{};
    if (::ioctl(fd, TIOCGWINSZ, &size) == 0 && size.ws_col > 0) {
        return size.ws_col;
    }
    return 80;
}

InterruptGuard::InterruptGuard(const char* repeatNotice) {
    signalCount = 0;
    notice = repeatNotice;
    struct sigaction action {};
    action.sa_handler = onInterrupt;
    sigemptyset(&action.sa_mask);
    // No SA_RESTART: a blocking call returns, and the command looks at the flag sooner.
    for (size_t i = 0; i < std::size(Signals); ++i) {
        ::sigaction(Signals[i], &action, &previous_[i]);
    }
}

InterruptGuard::~InterruptGuard() {
    for (size_t i = 0; i < std::size(Signals); ++i) {
        ::sigaction(Signals[i], &previous_[i], nullptr);
    }
}

bool InterruptGuard::interrupted() const { return signalCount.load() > 0; }

bool confirm(const std::string& question, bool assumeYes) {
    if (assumeYes) {
        return true;
    }
    if (!isTerminal(STDIN_FILENO)) {
        throw Failure(exitcode::Usage, question + " There is no terminal to ask; add --yes to go ahead.");
    }
    std::cerr << question << " [y/N] " << std::flush;
    std::string answer;
    std::getline(std::cin, answer);
    return !answer.empty() && (answer[0] == 'y' || answer[0] == 'Y');
}

bool lineTyped() {
    if (!isTerminal(STDIN_FILENO)) {
        return false;
    }
    pollfd input{STDIN_FILENO, POLLIN, 0};
    if (::poll(&input, 1, 0) != 1 || (input.revents & POLLIN) == 0) {
        return false;
    }
    std::string line;
    std::getline(std::cin, line);
    return true;
}

}  // namespace tavu::tavuctl
