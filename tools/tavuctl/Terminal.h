#pragma once
#include <csignal>
#include <string>

namespace tavu::tavuctl {

bool isTerminal(int fd);
// Width of the terminal on fd; 80 when it isn't one or doesn't say.
unsigned terminalColumns(int fd);

// While it lives, Ctrl-C (SIGINT), SIGTERM and SIGHUP only set a flag that the running command
// polls, so that it can end cleanly: stop a recording, cancel a recovery, finish the files it
// writes. A repeated signal prints `repeatNotice` and is otherwise ignored as well.
class InterruptGuard {
public:
    explicit InterruptGuard(const char* repeatNotice);
    ~InterruptGuard();
    InterruptGuard(const InterruptGuard&) = delete;
    InterruptGuard& operator=(const InterruptGuard&) = delete;

    bool interrupted() const;

private:
    static constexpr int Signals[] = {SIGINT, SIGTERM, SIGHUP};
    struct sigaction previous_[3]{};
};

// Asks a yes/no question on the terminal; without one, only assumeYes lets the command go on.
// Raises a usage Failure that mentions --yes when there is no terminal to ask.
bool confirm(const std::string& question, bool assumeYes);

// True when a line was typed on the terminal since the last call; never waits.
bool lineTyped();

}  // namespace tavu::tavuctl
