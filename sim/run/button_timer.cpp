// The order of presses.
#include "sim/run/button_timer.h"

namespace sim {

std::optional<bool> ButtonTimer::move(std::uint64_t iteration)
{
    if (iteration < end || (!down && durations.empty())) {
        return std::nullopt;
    }
    down = !down;
    if (down) {
        end = iteration + durations.front();
        durations.pop_front();
    } else {
        end = iteration + pauseIterations;
    }
    return down;
}

void ButtonTimer::queue(std::uint64_t duration)
{
    constexpr std::size_t most = 4; // of a key that repeats by being held down
    if (durations.size() < most) {
        durations.push_back(duration);
    }
}

} // namespace sim
