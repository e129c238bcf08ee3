// Maxima, and the table.
#include "tests/soak/sample_series.h"

#include <algorithm>
#include <iomanip>
#include <ostream>

namespace soak {

auto SampleSeries::warmUpEnd() const
{
    return samples.begin() + static_cast<std::ptrdiff_t>(samples.size() / warmUpDivisor);
}

std::size_t SampleSeries::warmUpMaximum() const
{
    return *std::max_element(samples.begin(), warmUpEnd());
}

std::size_t SampleSeries::laterMaximum() const
{
    return *std::max_element(warmUpEnd(), samples.end());
}

void SampleSeries::print(std::ostream& stream) const
{
    stream << "  " << std::left << std::setw(34) << name << std::right << std::setw(6) << samples.size()
           << " samples, at most" << std::setw(7) << warmUpMaximum() << " in the warm-up," << std::setw(7)
           << laterMaximum() << " later: " << (isFlat() ? "flat" : "GROWS") << '\n';
}

CensusSeries::CensusSeries(const std::string& process)
    : series{SampleSeries(process + ": resident KiB"), SampleSeries(process + ": descriptors"),
             SampleSeries(process + ": threads"), SampleSeries(process + ": children")}
{}

void CensusSeries::add(const ProcessCensus& census)
{
    const std::array<std::size_t, 4> samples = {census.residentKib, census.descriptors, census.threads,
                                                census.children};
    for (std::size_t i = 0; i < samples.size(); ++i) {
        series[i].add(samples[i]);
    }
}

bool CensusSeries::isFlat() const
{
    return std::all_of(series.begin(), series.end(), [](const SampleSeries& one) { return one.isFlat(); });
}

void CensusSeries::print(std::ostream& stream) const
{
    for (const SampleSeries& one : series) {
        one.print(stream);
    }
}

} // namespace soak
