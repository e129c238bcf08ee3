// The levels of the lines in a VCD file that the simulator wrote.
#pragma once

#include "sim/wires/edge.h"
#include "sim/wires/vcd_writer.h"

#include <charconv>
#include <filesystem>
#include <fstream>
#include <stdexcept>
#include <string>
#include <vector>

/// Accepts times and changes only in the form that VcdWriter writes.
class RecordedLines {
public:
    /// Throws std::runtime_error if a line is invalid or incomplete, if a time does not increase, or if the initial
    /// levels are missing.
    explicit RecordedLines(const std::filesystem::path& path)
    {
        std::ifstream file(path, std::ios::binary);
        for (std::string line; std::getline(file, line);) {
            require(!file.eof(), "incomplete line: " + line);
            take(line);
        }
        require(hasInitialLevels, "no initial levels");
    }

    [[nodiscard]] const std::vector<sim::Edge>& changes() const { return edges; }
    /// The last time in the file.
    [[nodiscard]] sim::WireTime end() const { return time; }
    [[nodiscard]] sim::Level levelAt(sim::Line line, sim::WireTime when) const
    {
        sim::Level level = sim::initialLevels[static_cast<std::size_t>(line)];
        for (const sim::Edge& edge : edges) {
            level = edge.line == line && edge.time <= when ? edge.level : level;
        }
        return level;
    }
    /// The levels from `from` on, one sample per `interval`: `_` low, `-` high, `x` undefined.
    [[nodiscard]] std::string wave(sim::Line line, sim::WireTime from, sim::WireTime interval, int samples) const
    {
        std::string text;
        for (int i = 0; i < samples; ++i) {
            text += "_-x"[static_cast<std::size_t>(levelAt(line, from + i * interval))];
        }
        return text;
    }
    /// The times of the changes of a line.
    [[nodiscard]] std::vector<sim::WireTime> timesOf(sim::Line line) const
    {
        std::vector<sim::WireTime> times;
        for (const sim::Edge& edge : edges) {
            if (edge.line == line) {
                times.push_back(edge.time);
            }
        }
        return times;
    }

private:
    static void require(bool condition, const std::string& failure)
    {
        if (!condition) {
            throw std::runtime_error(failure);
        }
    }
    void take(const std::string& line)
    {
        if (line.starts_with("$")) {
            hasInitialLevels = hasInitialLevels || line == "$end";
        } else if (line.starts_with("#")) {
            takeTime(line);
        } else {
            takeChange(line);
        }
    }
    void takeTime(const std::string& line)
    {
        std::int64_t value = 0;
        const char* const last = line.data() + line.size();
        require(std::from_chars(line.data() + 1, last, value).ptr == last, "wrong time: " + line);
        require(value > time.count() || !hasInitialLevels, "time does not increase: " + line);
        time = sim::WireTime(value);
    }
    void takeChange(const std::string& line)
    {
        require(line.size() == 2, "wrong change: " + line);
        const std::size_t level = std::string_view("01x").find(line[0]);
        const auto index = static_cast<std::size_t>(line[1] - '!');
        require(level < 3 && index < sim::lineCount, "wrong change: " + line);
        if (hasInitialLevels) {
            edges.push_back({time, static_cast<sim::Line>(index), static_cast<sim::Level>(level)});
        } else {
            require(static_cast<sim::Level>(level) == sim::initialLevels[index], "wrong initial level: " + line);
        }
    }

    std::vector<sim::Edge> edges;
    sim::WireTime time{};
    bool hasInitialLevels = false;
};
