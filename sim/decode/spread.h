// The smallest, the largest and the mean of durations.
#pragma once

#include "sim/decode/captured_edge.h"

#include <algorithm>
#include <cstdint>

namespace sim {

class Spread {
public:
    void add(CaptureTime duration)
    {
        least = count() == 0 ? duration : std::min(least, duration);
        most = std::max(most, duration);
        total += duration;
        ++number;
    }

    [[nodiscard]] std::uint64_t count() const { return number; }
    [[nodiscard]] CaptureTime shortest() const { return least; }
    [[nodiscard]] CaptureTime longest() const { return most; }
    [[nodiscard]] CaptureTime sum() const { return total; }
    /// 0 if there are no durations.
    [[nodiscard]] CaptureTime mean() const
    {
        return number == 0 ? CaptureTime() : total / static_cast<CaptureTime::rep>(number);
    }

private:
    std::uint64_t number = 0;
    CaptureTime least{};
    CaptureTime most{};
    CaptureTime total{};
};

} // namespace sim
