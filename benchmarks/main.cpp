// Runs all benchmarks and says in one table whether the program is as fast as it is to be.
#include "benchmarks/benchmarks.h"
#include "benchmarks/facts.h"
#include "benchmarks/samples.h"
#include "benchmarks/table.h"
#include "graphics/font.h"
#include "graphics/image_store.h"

#include <array>
#include <benchmark/benchmark.h>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <string>
#include <utility>
#include <vector>

namespace {

/// A time that may be at most `limit` times that of the reference; 0 for no limit.
struct Comparison {
    const char* name;
    const char* reference;
    double limit;
};
constexpr Comparison comparisons[] = {
    {"pack of the canvas", "the floor's pack", 1.15},       {"message screen", "the floor's message screen", 2},
    {"menu screen", "the floor's menu screen", 2},          {"only the wheel moved", "memset of the canvas", 8},
    {"message screen", "pixman's message screen", 1.0 / 3}, {"menu screen", "pixman's menu screen", 0},
};

struct TimeLimit {
    const char* name;
    double limitNs;
};
constexpr TimeLimit timeLimits[] = {
    {"idle iteration", 50},
    {"image store and three fonts", 1e6},
};

/// What takes a time proportional to its size; the largest exponent that still counts as that.
constexpr const char* growing[] = {"text", "runner output", "tree, all dirty", "tree, one dirty"};
constexpr double linearExponent = 1.1;

std::string number(const char* format, double value)
{
    std::array<char, 64> text{};
    std::snprintf(text.data(), text.size(), format, value);
    return text.data();
}

std::string timeText(double ns)
{
    return ns < 1e3 ? number("%.1f ns", ns) : ns < 1e6 ? number("%.2f us", ns * 1e-3) : number("%.2f ms", ns * 1e-6);
}

Table::Verdict verdict(double value, double limit)
{
    return value <= limit ? Table::Verdict::ok : Table::Verdict::missed;
}

/// The slope of the straight line through the logarithms, by least squares.
double fittedExponent(const std::vector<std::pair<double, double>>& points)
{
    double x = 0;
    double y = 0;
    double xx = 0;
    double xy = 0;
    for (const auto& [size, time] : points) {
        x += std::log(size);
        y += std::log(time);
        xx += std::log(size) * std::log(size);
        xy += std::log(size) * std::log(time);
    }
    const auto count = static_cast<double>(points.size());
    return (count * xy - x * y) / (count * xx - x * x);
}

void addTimes(Table& table, const Samples& samples)
{
    for (const Comparison& row : comparisons) {
        const double time = samples.median(row.name);
        const double ratio = time / samples.median(row.reference);
        const bool isLimited = row.limit != 0;
        table.add({row.name, timeText(time), row.reference + (" " + timeText(samples.median(row.reference))),
                   number("%.2f", ratio), isLimited ? number("%.2f", row.limit) : "",
                   isLimited ? verdict(ratio, row.limit) : Table::Verdict::none});
    }
    for (const TimeLimit& row : timeLimits) {
        const double time = samples.median(row.name);
        table.add({row.name, timeText(time), "", "", timeText(row.limitNs), verdict(time, row.limitNs)});
    }
}

void addGrowth(Table& table, const Samples& samples)
{
    for (const char* name : growing) {
        const auto points = samples.mediansBySize(name);
        const double exponent = fittedExponent(points);
        table.add({std::string(name) + ", " + number("%.0f", points.front().first) + " to " +
                       number("%.0f", points.back().first),
                   timeText(points.back().second), timeText(points.front().second) + " for the smallest",
                   number("n^%.2f", exponent), number("n^%.2f", linearExponent), verdict(exponent, linearExponent)});
    }
}

void addCounts(Table& table)
{
    const auto add = [&table](const char* name, double count, double limit) {
        table.add({name, number("%g", count), "", "", number("%g", limit), verdict(count, limit)});
    };
    add("system calls of an idle iteration", systemCallsPerIdleIteration(), 2);
    add("allocations in 10,000 waiting iterations", static_cast<double>(allocationsOfWaiting()), 0);
    add("allocations when only the wheel moved", static_cast<double>(allocationsOfWheelTurn()), 0);
}

void addFacts(Table& table)
{
    const Pace pace = measurePace();
    table.add({"text and data over an empty program", number("%.0f KB", static_cast<double>(sizeOfProgram()) / 1024)});
    table.add({"resident memory of the waiting updater", number("%.0f KB", static_cast<double>(residentMemory()))});
    table.add({"processor share of the waiting loop", number("%.2f %%", pace.processorShare * 100)});
    table.add({"real period of an iteration", number("%.0f us", pace.medianPeriodUs)});
    table.add({"real period, 99th percentile", number("%.0f us", pace.period99Us)});
}

/// Google Benchmark's own options may follow and prevail.
void initialise(int argc, char** argv)
{
    static std::vector<std::string> words = {argv[0], "--benchmark_repetitions=25",
                                             "--benchmark_enable_random_interleaving=true",
                                             "--benchmark_min_time=0.02"};
    words.insert(words.end(), argv + 1, argv + argc);
    static std::vector<char*> pointers;
    for (std::string& word : words) {
        pointers.push_back(word.data());
    }
    auto count = static_cast<int>(pointers.size());
    benchmark::Initialize(&count, pointers.data());
    if (benchmark::ReportUnrecognizedArguments(count, pointers.data())) {
        std::exit(2);
    }
}

bool run()
{
    buildImageStore();
    buildFont("font8", "img/font8", 1, 2, 1);
    buildFont("font16", "img/font8", 2, 4, 2);
    buildFont("font64", "img/font8", 8, 16, 8);
    registerDrawingBenchmarks();
    registerStartBenchmarks();
    registerLoopBenchmarks();
    registerGrowthBenchmarks();

    Samples samples;
    benchmark::RunSpecifiedBenchmarks(&samples);
    if (samples.isEmpty()) {
        return true; // the benchmarks were to be listed only
    }
    Table table;
    addTimes(table, samples);
    addCounts(table);
    addGrowth(table, samples);
    addFacts(table);
    table.print();
    return !table.hasMissed();
}

} // namespace

int main(int argc, char** argv)
{
    initialise(argc, argv);
    try {
        return run() ? 0 : 1;
    } catch (const std::exception& failure) {
        std::fprintf(stderr, "benchmarks: %s\n", failure.what());
        return 2;
    }
}
