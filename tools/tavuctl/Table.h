#pragma once
#include <iosfwd>
#include <string>
#include <vector>

namespace tavu::tavuctl {

// Text in aligned columns under a header line, for people; --json is for scripts.
class Table {
public:
    explicit Table(std::vector<std::string> headers);
    void add(std::vector<std::string> row);
    void print(std::ostream& out) const;

private:
    std::vector<std::string> headers_;
    std::vector<std::vector<std::string>> rows_;
};

}  // namespace tavu::tavuctl
