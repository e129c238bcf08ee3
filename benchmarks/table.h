// The table that the benchmarks end with.
#pragma once

#include <string>
#include <utility>
#include <vector>

/// A table of text whose rows may each hold a limit, kept or missed.
class Table {
public:
    enum class Verdict { none, ok, missed };

    struct Row {
        std::string name;
        std::string value{};
        std::string reference{};
        std::string ratio{};
        std::string limit{};
        Verdict verdict = Verdict::none;
    };

    void add(Row row) { rows.push_back(std::move(row)); }
    /// To standard output.
    void print() const;
    [[nodiscard]] bool hasMissed() const;

private:
    std::vector<Row> rows;
};
