// Schedules presses and releases of the button, each long enough for the device to detect.
#pragma once

#include "sim/device/simulated_device.h"

#include <cstdint>
#include <deque>
#include <optional>

namespace sim {

/// Queues presses, so that they do not overlap; ignores further presses while four are queued. Durations are in
/// iterations, the unit in which the device measures debouncing and long presses.
class ButtonTimer {
public:
    static constexpr std::uint64_t clickIterations = SimulatedDevice::clickIterations;
    static constexpr std::uint64_t holdIterations = 1100;
    /// The pause between two presses.
    static constexpr std::uint64_t pauseIterations = clickIterations;

    void click() { queue(clickIterations); }
    void hold() { queue(holdIterations); }

    /// Returns true if the button must be pressed at `iteration`, false if it must be released, nothing if it does not
    /// change. Must be called regularly, with non-decreasing iterations.
    [[nodiscard]] std::optional<bool> update(std::uint64_t iteration);
    [[nodiscard]] bool isDown() const { return down; }

private:
    void queue(std::uint64_t duration);

    std::deque<std::uint64_t> durations;
    bool down = false;
    /// The iteration at which the current press, or the pause after it, ends.
    std::uint64_t end = 0;
};

} // namespace sim
