#include "tools/tavuctl/ProgressDisplay.h"

#include <algorithm>
#include <ostream>

#include "tools/tavuctl/Terminal.h"

namespace tavu::tavuctl {

ProgressDisplay::ProgressDisplay(std::ostream& out, int fd, bool enabled, std::chrono::milliseconds plainInterval)
    : out_(out),
      enabled_(enabled),
      terminal_(isTerminal(fd)),
      columns_(terminalColumns(fd)),
      plainInterval_(plainInterval) {}

void ProgressDisplay::show(const std::vector<std::string>& lines) {
    if (!enabled_) {
        return;
    }
    if (terminal_) {
        redraw(lines);
        return;
    }
    const auto now = std::chrono::steady_clock::now();
    if (now - lastPlain_ >= plainInterval_) {
        lastPlain_ = now;
        printPlain(lines);
    }
}

void ProgressDisplay::finish(const std::vector<std::string>& lines) {
    if (!enabled_) {
        return;
    }
    if (terminal_) {
        redraw(lines);
    } else {
        printPlain(lines);
    }
    drawnLines_ = 0;
}

void ProgressDisplay::redraw(const std::vector<std::string>& lines) {
    std::string text;
    if (drawnLines_ > 0) {
        text += "\x1b[" + std::to_string(drawnLines_) + "A";
    }
    for (const std::string& line : lines) {
        // A line that wrapped would throw the cursor arithmetic off.
        text += "\r\x1b[2K" + line.substr(0, columns_ > 1 ? columns_ - 1 : columns_) + "\n";
    }
    drawnLines_ = lines.size();
    out_ << text << std::flush;
}

void ProgressDisplay::printPlain(const std::vector<std::string>& lines) {
    for (const std::string& line : lines) {
        out_ << line << '\n';
    }
    out_ << std::flush;
}

std::string progressBar(double fraction, size_t width) {
    const double clamped = std::clamp(fraction, 0.0, 1.0);
    const auto filled = static_cast<size_t>(clamped * static_cast<double>(width));
    std::string bar = "[" + std::string(filled, '=');
    if (filled < width) {
        bar += '>';
        bar += std::string(width - filled - 1, ' ');
    }
    return bar + "]";
}

}  // namespace tavu::tavuctl
