// The scenarios: user input, and the expected result.
#pragma once

#include "sim/session/scenario.h"

#include <span>
#include <string_view>
#include <vector>

namespace sim {

enum class Action {
    /// Waits for the screen with the reference picture `what`.
    AwaitScreen,
    /// Waits for the updater to start a script with the command line `what`.
    AwaitScript,
    InsertDrive,
    EjectDrive,
    /// Turns the knob one step to the right.
    TurnRight,
    Click,
};

struct Step {
    Action action;
    /// The screen or the command line.
    std::string_view what = {};
};

/// The expected state of the internal memory at the end.
enum class Outcome {
    /// The new firmware and the user's presets.
    Updated,
    /// The new firmware and its factory presets.
    Reset,
    /// No byte has changed since the last script started.
    Unchanged,
    /// No firmware, but the user's presets: the next update can succeed.
    Formatted,
};

struct Play {
    std::string_view name;
    std::string_view summary;
    std::vector<std::span<const Step>> phases;
    Outcome outcome;
    std::string_view drive = "good";
    SessionSetup memory = {};
};

[[nodiscard]] std::span<const Play> allScenarios();
/// Returns null for unknown names.
[[nodiscard]] const Play* findScenario(std::string_view name);

inline constexpr std::string_view defaultScenario = "update";

} // namespace sim
