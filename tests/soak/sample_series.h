// Something that is not to grow, sampled along a run.
#pragma once

#include "tests/support/process_census.h"

#include <array>
#include <cstdint>
#include <iosfwd>
#include <string>
#include <utility>

namespace soak {

/// Keeps no sample, so that it does not grow itself.
class SampleSeries {
public:
    /// The first of so many parts of a run is its warm-up.
    static constexpr std::uint64_t warmUpDivisor = 24;

    /// `sampleCount` is that of the whole run.
    SampleSeries(std::string what, std::uint64_t sampleCount)
        : name(std::move(what)), warmUpCount(sampleCount / warmUpDivisor)
    {}

    void add(std::uint64_t sample);
    /// Nothing behind the warm-up is larger than the largest within it.
    [[nodiscard]] bool isFlat() const { return laterMaximum <= warmUpMaximum; }
    /// One line of the table.
    void print(std::ostream& stream) const;

private:
    std::string name;
    std::uint64_t warmUpCount;
    std::uint64_t count = 0;
    std::uint64_t warmUpMaximum = 0;
    std::uint64_t laterMaximum = 0;
};

/// All that a process holds.
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
