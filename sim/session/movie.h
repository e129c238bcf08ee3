// The screens of a run, with their times.
#pragma once

#include "sim/session/animated_png.h"

#include <cstdint>
#include <deque>
#include <limits>
#include <vector>

namespace sim {

class Movie {
public:
    /// The movie shows at most the last `longest` iterations. An iteration lasts 1 ms.
    explicit Movie(std::uint64_t longest = std::numeric_limits<std::uint32_t>::max()) : length(longest) {}

    /// `iteration` must not decrease from call to call.
    void add(std::uint64_t iteration, const Screen& screen);
    /// The sequence of screens up to `iteration`; each differs from the previous one. Empty before the first `add`.
    [[nodiscard]] std::vector<TimedScreen> screens(std::uint64_t iteration) const;

private:
    struct Shot {
        std::uint64_t iteration;
        Screen screen;
    };

    std::uint64_t length;
    std::deque<Shot> shots;
};

} // namespace sim
