// Measures how well a live device keeps its speed.
#pragma once

#include <chrono>
#include <cstdint>

namespace sim {

class Pace {
public:
    using TimePoint = std::chrono::steady_clock::time_point;

    /// The shortest interval between two calls of `add` that makes an iteration late.
    static constexpr std::chrono::milliseconds limit{2};

    /// Counts iterations that end at `now`. If the previous call was at least `limit` ago, one of them counts as late.
    /// The first call counts nothing.
    void add(std::uint64_t iterations, TimePoint now)
    {
        if (!isInterrupted) {
            counted += iterations;
            lateOnes += now - previous >= limit ? 1 : 0;
        }
        previous = now;
        isInterrupted = false;
    }
    /// Excludes the iterations of the next call of `add`.
    void interrupt() { isInterrupted = true; }

    [[nodiscard]] std::uint64_t iterations() const { return counted; }
    [[nodiscard]] std::uint64_t late() const { return lateOnes; }

private:
    TimePoint previous{};
    bool isInterrupted = true;
    std::uint64_t counted = 0;
    std::uint64_t lateOnes = 0;
};

} // namespace sim
