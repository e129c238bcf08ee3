// Encodes the messages to the page.
#pragma once

#include "sim/models/screen.h"
#include "sim/panel/pace.h"
#include "sim/session/observation.h"

#include <string>
#include <vector>

namespace sim {

struct PanelState {
    const Observation& observation;
    bool isRunning;
    /// See LiveClock.
    int speed;
    /// The name of the reference picture that equals the screen; empty if none does.
    std::string screenName;
    /// Measured only at speed 1.
    Pace pace{};
    /// The names of the firmware files that replaying the recording needs.
    std::vector<std::string> neededFiles{};
};

// The functions named ...Json return a single line of JSON. They replace bytes that are not UTF-8.

[[nodiscard]] std::string stateJson(const PanelState& state);
[[nodiscard]] std::string eventJson(const Event& event);
/// The drives, devices and faults that the page offers.
[[nodiscard]] std::string choicesJson();

/// Base64 of two bits for each pixel, row by row; the first pixel of a byte is in its top bits.
[[nodiscard]] std::string frameText(const Screen& screen);

} // namespace sim
