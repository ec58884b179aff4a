#include "hardware/NamePattern.h"

#include <cctype>
#include <cstddef>

namespace tavu {
namespace {

char lower(char c) { return static_cast<char>(std::tolower(static_cast<unsigned char>(c))); }

}  // namespace

NamePattern::NamePattern(std::string_view pattern) {
    bool star = false;
    for (char c : pattern) {
        if (c == '*') {
            star = true;
            continue;
        }
        positions_.push_back({lower(c), star});
        star = false;
    }
    positions_.push_back({0, star});
}

bool NamePattern::matches(std::string_view name) const {
    const std::size_t end = positions_.size() - 1;
    std::vector<std::size_t> states{0};
    std::vector<bool> added(positions_.size());
    for (char c : name) {
        const char wanted = lower(c);
        std::vector<std::size_t> next;
        added.assign(positions_.size(), false);
        const auto add = [&](std::size_t state) {
            if (!added[state]) {
                added[state] = true;
                next.push_back(state);
            }
        };
        for (std::size_t state : states) {
            const Position& position = positions_[state];
            if (position.star) {
                add(state);
            }
            if (state < end && (position.character == wanted || position.character == '?')) {
                add(state + 1);
            }
        }
        states.swap(next);
    }
    for (std::size_t state : states) {
        if (state == end) {
            return true;
        }
    }
    return false;
}

bool matchesFilter(std::string_view filter, std::string_view name) {
    for (;;) {
        const std::size_t bar = filter.find('|');
        if (NamePattern(filter.substr(0, bar)).matches(name)) {
            return true;
        }
        if (bar == std::string_view::npos) {
            return false;
        }
        filter.remove_prefix(bar + 1);
    }
}

}  // namespace tavu
