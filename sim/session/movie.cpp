// Stores a screen only if it differs from the previous one.
#include "sim/session/movie.h"

#include <algorithm>

namespace sim {

void Movie::add(std::uint64_t iteration, const Screen& screen)
{
    if (!shots.empty() && shots.back().screen == screen) {
        return;
    }
    shots.push_back({iteration, screen});
    // If the second screen appeared by the start of the movie, the first screen is not visible.
    while (shots.size() > 1 && shots[1].iteration + length <= iteration) {
        shots.pop_front();
    }
}

std::vector<TimedScreen> Movie::screens(std::uint64_t iteration) const
{
    const std::uint64_t start = iteration > length ? iteration - length : 0;
    std::vector<TimedScreen> result;
    for (std::size_t i = 0; i < shots.size(); ++i) {
        const std::uint64_t end = i + 1 < shots.size() ? shots[i + 1].iteration : iteration;
        if (end > start || i + 1 == shots.size()) {
            const std::uint64_t begin = std::max(shots[i].iteration, start);
            result.push_back({shots[i].screen, static_cast<std::uint32_t>(end - begin)});
        }
    }
    return result;
}

} // namespace sim
