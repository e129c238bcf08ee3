// Sorting the runs by name.
#include "benchmarks/samples.h"

#include <algorithm>
#include <cstddef>
#include <stdexcept>

namespace {

[[noreturn]] void failWithout(const std::string& name)
{
    throw std::runtime_error("\"" + name + "\" was not measured, and the table needs all");
}

} // namespace

double quantile(std::vector<double> samples, double share)
{
    const auto position =
        samples.begin() + static_cast<std::ptrdiff_t>(static_cast<double>(samples.size() - 1) * share);
    std::nth_element(samples.begin(), position, samples.end());
    return *position;
}

void Samples::ReportRuns(const std::vector<Run>& runs)
{
    for (const Run& run : runs) {
        if (run.error_occurred) {
            throw std::runtime_error(run.benchmark_name() + ": " + run.error_message);
        }
        if (run.run_type == Run::RT_Iteration) {
            const std::string& size = run.run_name.args;
            times[run.run_name.function_name + (size.empty() ? "" : "/" + size)].push_back(run.GetAdjustedCPUTime());
        }
    }
}

double Samples::median(const std::string& name) const
{
    const auto found = times.find(name);
    if (found == times.end()) {
        failWithout(name);
    }
    return quantile(found->second, 0.5);
}

std::vector<std::pair<double, double>> Samples::mediansBySize(const std::string& name) const
{
    std::vector<std::pair<double, double>> result;
    for (const auto& [key, samples] : times) {
        if (key.starts_with(name + '/')) {
            result.emplace_back(std::stod(key.substr(name.size() + 1)), quantile(samples, 0.5));
        }
    }
    if (result.empty()) {
        failWithout(name);
    }
    std::ranges::sort(result);
    return result;
}
