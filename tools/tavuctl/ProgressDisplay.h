#pragma once
#include <chrono>
#include <iosfwd>
#include <string>
#include <vector>

namespace tavu::tavuctl {

// Progress of a long task. On a terminal its lines are redrawn in place; on a pipe or file
// they are printed as they are, at most once per interval, so that logs stay readable.
class ProgressDisplay {
public:
    ProgressDisplay(std::ostream& out, int fd, bool enabled,
                    std::chrono::milliseconds plainInterval = std::chrono::seconds(1));
    ProgressDisplay(const ProgressDisplay&) = delete;
    ProgressDisplay& operator=(const ProgressDisplay&) = delete;

    void show(const std::vector<std::string>& lines);
    // The last state, printed in any case and left standing.
    void finish(const std::vector<std::string>& lines);
    bool terminal() const { return terminal_; }

private:
    void redraw(const std::vector<std::string>& lines);
    void printPlain(const std::vector<std::string>& lines);

    std::ostream& out_;
    bool enabled_;
    bool terminal_;
    unsigned columns_;
    std::chrono::milliseconds plainInterval_;
    size_t drawnLines_ = 0;
    std::chrono::steady_clock::time_point lastPlain_{};
};

// "[==========>         ]" for a fraction from 0 to 1.
std::string progressBar(double fraction, size_t width);

}  // namespace tavu::tavuctl
