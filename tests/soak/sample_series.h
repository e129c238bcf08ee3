// Samples of a value that must not grow during a run.
#pragma once

#include "tests/support/process_census.h"

#include <array>
#include <cstdint>
#include <iosfwd>
#include <string>
#include <utility>

namespace soak {

/// Keeps only two maxima, so that its memory use does not grow.
class SampleSeries {
public:
    /// The warm-up is the first 1/24 of a run.
    static constexpr std::uint64_t warmUpDivisor = 24;

    /// `sampleCount` is the number of samples of the whole run.
    SampleSeries(std::string what, std::uint64_t sampleCount)
        : name(std::move(what)), warmUpCount(sampleCount / warmUpDivisor)
    {}

    void add(std::uint64_t sample);
    /// Returns true if no later sample exceeds the maximum of the warm-up.
    [[nodiscard]] bool isFlat() const { return laterMaximum <= warmUpMaximum; }
    /// Prints one line of the table.
    void print(std::ostream& stream) const;

private:
    std::string name;
    std::uint64_t warmUpCount;
    std::uint64_t count = 0;
    std::uint64_t warmUpMaximum = 0;
    std::uint64_t laterMaximum = 0;
};

/// Samples of the resources of a process.
class CensusSeries {
public:
    CensusSeries(const std::string& process, std::uint64_t sampleCount);

    void add(const ProcessCensus& census);
    [[nodiscard]] bool isFlat() const;
    void print(std::ostream& stream) const;

private:
    std::array<SampleSeries, 4> series;
};

} // namespace soak
