// Setting the table in columns.
#include "benchmarks/table.h"

#include <algorithm>
#include <array>
#include <cstdio>

namespace {

constexpr std::size_t columnCount = 6;
using Cells = std::array<std::string, columnCount>;

Cells cellsOf(const Table::Row& row)
{
    constexpr std::array<const char*, 3> verdicts = {"", "ok", "MISSED"};
    return {row.name,  row.value, row.reference,
            row.ratio, row.limit, verdicts.at(static_cast<std::size_t>(row.verdict))};
}

void printLine(const Cells& cells, const std::array<int, columnCount>& widths)
{
    std::printf("%-*s  %*s  %-*s  %*s  %-*s  %s\n", widths[0], cells[0].c_str(), widths[1], cells[1].c_str(), widths[2],
                cells[2].c_str(), widths[3], cells[3].c_str(), widths[4], cells[4].c_str(), cells[5].c_str());
}

} // namespace

void Table::print() const
{
    std::vector<Cells> lines = {{"what", "median", "compared with", "ratio", "at most", ""}};
    std::ranges::transform(rows, std::back_inserter(lines), cellsOf);
    std::array<int, columnCount> widths{};
    for (const Cells& line : lines) {
        for (std::size_t i = 0; i < columnCount; ++i) {
            widths[i] = std::max(widths[i], static_cast<int>(line[i].size()));
        }
    }
    for (const Cells& line : lines) {
        printLine(line, widths);
    }
}

bool Table::hasMissed() const
{
    return std::ranges::any_of(rows, [](const Row& row) { return row.verdict == Verdict::missed; });
}
