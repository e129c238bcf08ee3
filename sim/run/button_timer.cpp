// The queue of presses.
#include "sim/run/button_timer.h"

namespace sim {

std::optional<bool> ButtonTimer::update(std::uint64_t iteration)
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
    constexpr std::size_t maxQueued = 4; // limited, because a key that is held down repeats
    if (durations.size() < maxQueued) {
        durations.push_back(duration);
    }
}

} // namespace sim
