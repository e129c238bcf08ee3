// The screens of the last minute.
#pragma once

#include "sim/panel/animated_png.h"

#include <cstdint>
#include <deque>
#include <memory>
#include <vector>

namespace sim {

class Movie {
public:
    /// In iterations, which are milliseconds.
    static constexpr std::uint64_t length = 60'000;

    /// `iteration` must not decrease from call to call.
    void add(std::uint64_t iteration, const Screen& screen);
    /// The distinct screens, up to `iteration`. Empty before the first `add`.
    [[nodiscard]] std::vector<TimedScreen> screens(std::uint64_t iteration) const;

private:
    struct Shot {
        std::uint64_t iteration;
        Screen screen;
    };

    std::deque<Shot> shots;
};

} // namespace sim
