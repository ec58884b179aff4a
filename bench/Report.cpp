#include "bench/Report.h"

#include <nlohmann/json.hpp>

#include <cstdio>
#include <fstream>
#include <thread>

namespace tavu::bench {

void Report::add(Row row) {
    rows_.push_back(std::move(row));
}

void Report::print(std::ostream& out) const {
    char line[256];
    std::snprintf(line, sizeof(line), "%-48s %14s %14s %-6s %7s %7s  %s\n", "benchmark", "figure", "baseline",
                  "unit", "ratio", "aim", "baseline is");
    out << line;
    for (const Row& row : rows_) {
        const std::string aim = row.aim ? (row.lessIsBetter ? "<=" : ">=") + std::to_string(*row.aim).substr(0, 4) +
                                              (row.meetsAim() ? "" : "!")
                                        : "";
        std::snprintf(line, sizeof(line), "%-48s %14.1f %14.1f %-6s %7.3f %7s  %s\n", row.name.c_str(), row.figure,
                      row.baseline, row.unit.c_str(), row.ratio(), aim.c_str(), row.baselineName.c_str());
        out << line;
    }
    out << "machine: " << processorCount() << " processors, " << processorModel() << "\n";
}

void Report::writeJson(const std::filesystem::path& path) const {
    nlohmann::ordered_json rows = nlohmann::ordered_json::array();
    for (const Row& row : rows_) {
        nlohmann::ordered_json entry = {{"name", row.name},         {"unit", row.unit},
                                        {"figure", row.figure},     {"baseline", row.baseline},
                                        {"baselineName", row.baselineName}, {"ratio", row.ratio()}};
        if (row.aim) {
            entry["aim"] = *row.aim;
            entry["aimIs"] = row.lessIsBetter ? "at most" : "at least";
            entry["meetsAim"] = row.meetsAim();
        }
        rows.push_back(entry);
    }
    const nlohmann::ordered_json document = {
        {"machine", {{"nproc", processorCount()}, {"cpu", processorModel()}}},
        {"results", rows},
    };
    std::ofstream(path) << document.dump(2) << "\n";
}

unsigned processorCount() {
    return std::thread::hardware_concurrency();
}

std::string processorModel() {
    std::ifstream info("/proc/cpuinfo");
    std::string line;
    while (std::getline(info, line)) {
        if (line.rfind("model name", 0) == 0) {
            const auto colon = line.find(':');
            return colon == std::string::npos ? line : line.substr(line.find_first_not_of(' ', colon + 1));
        }
    }
    return "unknown";
}

}  // namespace tavu::bench
