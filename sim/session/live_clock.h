// Decides how many iterations a live view runs.
#pragma once

#include <chrono>
#include <cstdint>

namespace sim {

/// At speed 1, one iteration is due every millisecond. The caller runs as many iterations as `takeDue` returns. `now`
/// is always the current time.
class LiveClock {
public:
    using TimePoint = std::chrono::steady_clock::time_point;
    using Duration = std::chrono::steady_clock::duration;

    /// At this speed, `takeDue` returns `longestBatch` unless the clock is paused.
    static constexpr int fullSpeed = 0;
    /// The largest result of `takeDue`.
    static constexpr std::uint64_t longestBatch = 20;

    /// Starts running, at speed 1.
    explicit LiveClock(TimePoint now) : next(now) {}

    void pause() { isPaused = true; }
    void resume(TimePoint now);
    [[nodiscard]] bool isRunning() const { return !isPaused; }
    /// `chosenSpeed` is a factor, such as 4, or `fullSpeed`.
    void setSpeed(int chosenSpeed, TimePoint now);
    [[nodiscard]] int getSpeed() const { return speed; }

    /// Returns the number of iterations that are due, and counts them as run. Skips the missed iterations after a delay
    /// of more than 100 ms.
    [[nodiscard]] std::uint64_t takeDue(TimePoint now);
    /// The time until the next iteration is due, but at most 100 ms; 100 ms while paused.
    [[nodiscard]] Duration untilDue(TimePoint now) const;

private:
    [[nodiscard]] Duration period() const { return Duration(std::chrono::milliseconds(1)) / speed; }

    /// When the next iteration is due.
    TimePoint next;
    int speed = 1;
    bool isPaused = false;
};

} // namespace sim
