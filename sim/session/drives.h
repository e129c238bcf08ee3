// The drives that can be plugged in by scenarios, in live sessions and on the front panel.
#pragma once

#include <algorithm>
#include <iterator>
#include <string_view>

namespace sim {

struct DriveKind {
    /// The name in scenarios.
    std::string_view name;
    /// The text on the page of the front panel.
    std::string_view title;
};

inline constexpr DriveKind driveKinds[] = {
    {"good", "Firmware 2.0.0"},
    {"older", "Firmware 1.0.0, older than 1.4.2"},
    {"empty", "No firmware file"},
    {"corrupt", "Firmware with one wrong byte"},
    {"unsigned", "Firmware with a wrong signature"},
    {"whole-disk", "Firmware 2.0.0, no partition table"},
    {"unreadable", "No file system"},
};

[[nodiscard]] inline bool isDriveName(std::string_view name)
{
    return std::any_of(std::begin(driveKinds), std::end(driveKinds),
                       [&](const DriveKind& kind) { return kind.name == name; });
}

} // namespace sim
