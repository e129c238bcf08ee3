// Calculates the due iterations from the elapsed time and the speed.
#include "sim/session/live_clock.h"

#include <algorithm>

namespace sim {

namespace {

constexpr auto longestDelay = std::chrono::milliseconds(100);

} // namespace

void LiveClock::resume(TimePoint now)
{
    isPaused = false;
    next = now;
}

void LiveClock::setSpeed(int chosenSpeed, TimePoint now)
{
    speed = chosenSpeed;
    next = now;
}

std::uint64_t LiveClock::takeDue(TimePoint now)
{
    if (isPaused) {
        return 0;
    }
    if (speed == fullSpeed) {
        return longestBatch;
    }
    if (now - next > longestDelay) {
        next = now;
    }
    if (now < next) {
        return 0;
    }
    const auto due = static_cast<std::uint64_t>((now - next) / period()) + 1;
    const std::uint64_t taken = std::min(due, longestBatch);
    next += period() * static_cast<Duration::rep>(taken);
    return taken;
}

LiveClock::Duration LiveClock::untilDue(TimePoint now) const
{
    if (isPaused) {
        return longestDelay;
    }
    return speed == fullSpeed ? Duration::zero() : std::clamp(next - now, Duration::zero(), Duration(longestDelay));
}

} // namespace sim
