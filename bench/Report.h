#pragma once
#include <filesystem>
#include <optional>
#include <ostream>
#include <string>
#include <vector>

namespace tavu::bench {

// One figure beside the baseline that was measured in the same run. The ratio is
// figure / baseline; where `aim` is set, the row meets it when the ratio is at least that, or
// at most that for a figure where less is better (a time, a cost).
struct Row {
    std::string name;
    std::string unit;
    double figure = 0;
    double baseline = 0;
    std::string baselineName;
    std::optional<double> aim;
    bool lessIsBetter = false;

    double ratio() const { return baseline != 0 ? figure / baseline : 0; }
    bool meetsAim() const { return !aim || (lessIsBetter ? ratio() <= *aim : ratio() >= *aim); }
};

class Report {
public:
    void add(Row row);
    void print(std::ostream& out) const;
    void writeJson(const std::filesystem::path& path) const;

private:
    std::vector<Row> rows_;
};

// "nproc" and the processor's model name, for the record of where figures came from.
unsigned processorCount();
std::string processorModel();

}  // namespace tavu::bench
