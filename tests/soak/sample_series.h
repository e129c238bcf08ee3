// Something that is not to grow, sampled along a run.
#pragma once

#include "tests/support/process_census.h"

#include <array>
#include <cstddef>
#include <iosfwd>
#include <string>
#include <vector>

namespace soak {

class SampleSeries {
public:
    /// The first of so many parts of a run is its warm-up.
    static constexpr std::size_t warmUpDivisor = 24;

    explicit SampleSeries(std::string what) : name(std::move(what)) {}

    void add(std::size_t sample) { samples.push_back(sample); }
    /// Nothing behind the warm-up is larger than the largest within it.
    [[nodiscard]] bool isFlat() const { return laterMaximum() <= warmUpMaximum(); }
    /// One line of the table.
    void print(std::ostream& stream) const;

private:
    [[nodiscard]] auto warmUpEnd() const;
    [[nodiscard]] std::size_t warmUpMaximum() const;
    [[nodiscard]] std::size_t laterMaximum() const;

    std::string name;
    std::vector<std::size_t> samples;
};

/// All that a process holds.
class CensusSeries {
public:
    explicit CensusSeries(const std::string& process);

    void add(const ProcessCensus& census);
    [[nodiscard]] bool isFlat() const;
    void print(std::ostream& stream) const;

private:
    std::array<SampleSeries, 4> series;
};

} // namespace soak
