// The runs that the simulator can play by itself: what the owner does, and what has to come of it.
#pragma once

#include <span>
#include <string_view>
#include <vector>

namespace sim {

enum class Action {
    /// Waits for a screen, by the name of its reference picture.
    AwaitScreen,
    /// Waits for the updater to start a script, by its command line.
    AwaitScript,
    Plug,
    Pull,
    /// Turns the knob one step to the right.
    TurnRight,
    Click,
};

struct Step {
    Action action;
    std::string_view what = {};
};

/// What is on the drive.
enum class DriveKind { Firmware, NoFirmware, CorruptFirmware, FirmwareWithoutPartition };

/// What has become of the internal memory at the end.
enum class Outcome {
    /// It holds the new firmware and the owner's presets.
    Updated,
    /// It holds the new firmware and its factory presets.
    Reset,
    /// It is, byte for byte, what it was when the last script started.
    LeftAlone,
};

struct Scenario {
    std::string_view name;
    std::string_view summary;
    std::vector<std::span<const Step>> phases;
    Outcome outcome;
    DriveKind drive = DriveKind::Firmware;
    /// What the device takes for the size of its memory; 0 for the size that it has.
    int memoryKib = 0;
};

[[nodiscard]] std::span<const Scenario> allScenarios();
/// Null when there is no scenario of that name.
[[nodiscard]] const Scenario* findScenario(std::string_view name);

inline constexpr std::string_view defaultScenario = "update";

} // namespace sim
