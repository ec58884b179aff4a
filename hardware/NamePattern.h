#pragma once
#include <string_view>
#include <vector>

namespace tavu {

// A case-insensitive wildcard pattern over a whole name: "?" is exactly one character, "*" any
// run, also an empty one; there is no escape. Matching follows the set of reachable pattern
// positions, so it never backtracks.
class NamePattern {
public:
    explicit NamePattern(std::string_view pattern);

    bool matches(std::string_view name) const;

private:
    struct Position {
        char character;  // lower-cased literal, '?', or 0 at the end
        bool star;       // a "*" stands before this position
    };

    std::vector<Position> positions_;  // the last one is the end
};

// A filter is patterns separated by "|"; a name matches when any of them matches it. An empty
// filter is one empty pattern, which matches only the empty name.
bool matchesFilter(std::string_view filter, std::string_view name);

}  // namespace tavu
