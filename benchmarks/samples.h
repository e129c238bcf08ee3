// The measured times of one run, by benchmark.
#pragma once

#include <benchmark/benchmark.h>
#include <map>
#include <string>
#include <utility>
#include <vector>

/// The value below which `share` (0 to 1) of the samples lie, at least one of which there must be.
[[nodiscard]] double quantile(std::vector<double> samples, double share);

/// Collects what Google Benchmark measures instead of printing it.
class Samples : public benchmark::BenchmarkReporter {
public:
    bool ReportContext(const Context& /*context*/) override { return true; }
    void ReportRuns(const std::vector<Run>& runs) override;

    [[nodiscard]] bool isEmpty() const { return times.empty(); }
    // Both throw std::runtime_error when nothing of that name was measured.

    /// In nanoseconds of processor time.
    [[nodiscard]] double median(const std::string& name) const;
    /// Size and median of every benchmark `name`/size, with growing size.
    [[nodiscard]] std::vector<std::pair<double, double>> mediansBySize(const std::string& name) const;

private:
    std::map<std::string, std::vector<double>> times;
};
