// Schedules presses and releases of the button, each long enough for the device to detect.
#pragma once

#include "sim/device/simulated_device.h"

#include <cstdint>
#include <deque>
#include <optional>

namespace sim {

/// Presses wait for those before them to be over. Durations are in iterations of the device, which are the measure of
/// its debouncing and its long press.
class ButtonTimer {
public:
    static constexpr std::uint64_t clickIterations = SimulatedDevice::clickIterations;
    static constexpr std::uint64_t holdIterations = 1100;
    /// Between two presses.
    static constexpr std::uint64_t pauseIterations = clickIterations;

    void click() { queue(clickIterations); }
    void hold() { queue(holdIterations); }

    /// Whether to press (true) or to release (false) at that iteration; to be asked often, with rising iterations.
    [[nodiscard]] std::optional<bool> move(std::uint64_t iteration);
    [[nodiscard]] bool isDown() const { return down; }

private:
    void queue(std::uint64_t duration);

    std::deque<std::uint64_t> durations;
    bool down = false;
    /// When the press, or the pause after it, is over.
    std::uint64_t end = 0;
};

} // namespace sim
