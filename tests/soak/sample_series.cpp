// Collects and prints the maxima of the warm-up and of the later samples.
#include "tests/soak/sample_series.h"

#include <algorithm>
#include <iomanip>
#include <ostream>

namespace soak {

void SampleSeries::add(std::uint64_t sample)
{
    std::uint64_t& maximum = count++ < warmUpCount ? warmUpMaximum : laterMaximum;
    maximum = std::max(maximum, sample);
}

void SampleSeries::print(std::ostream& stream) const
{
    stream << "  " << std::left << std::setw(34) << name << std::right << std::setw(6) << count << " samples, at most"
           << std::setw(7) << warmUpMaximum << " in the warm-up," << std::setw(7) << laterMaximum
           << " later: " << (isFlat() ? "flat" : "GROWS") << '\n';
}

CensusSeries::CensusSeries(const std::string& process, std::uint64_t sampleCount)
    : series{SampleSeries(process + ": resident KiB", sampleCount),
             SampleSeries(process + ": descriptors", sampleCount), SampleSeries(process + ": threads", sampleCount),
             SampleSeries(process + ": children", sampleCount)}
{}

void CensusSeries::add(const ProcessCensus& census)
{
    const std::array<std::uint64_t, 4> samples = {census.residentKib, census.descriptors, census.threads,
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
