#include "tools/tavuctl/Table.h"

#include <algorithm>
#include <ostream>

namespace tavu::tavuctl {

namespace {

// Display width of UTF-8 text: continuation bytes take no column.
size_t columns(const std::string& text) {
    return static_cast<size_t>(std::count_if(text.begin(), text.end(), [](char c) {
        return (static_cast<unsigned char>(c) & 0xC0) != 0x80;
    }));
}

}  // namespace

Table::Table(std::vector<std::string> headers) : headers_(std::move(headers)) {}

void Table::add(std::vector<std::string> row) {
    row.resize(headers_.size());
    rows_.push_back(std::move(row));
}

void Table::print(std::ostream& out) const {
    std::vector<size_t> widths(headers_.size());
    for (size_t i = 0; i < headers_.size(); ++i) {
        widths[i] = columns(headers_[i]);
        for (const auto& row : rows_) {
            widths[i] = std::max(widths[i], columns(row[i]));
        }
    }
    auto printRow = [&](const std::vector<std::string>& row) {
        std::string line;
        for (size_t i = 0; i < row.size(); ++i) {
            line += row[i];
            if (i + 1 < row.size()) {
                line += std::string(widths[i] - columns(row[i]) + 2, ' ');
            }
        }
        out << line << '\n';
    };
    printRow(headers_);
    for (const auto& row : rows_) {
        printRow(row);
    }
}

}  // namespace tavu::tavuctl
