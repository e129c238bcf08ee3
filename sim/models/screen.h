// The pixels on the display, and the registers that change how they look.
#pragma once

#include <array>
#include <cstdint>

namespace sim {

inline constexpr int screenWidth = 256;
inline constexpr int screenHeight = 160;

/// Grey levels 0 (lightest) to 3 (darkest), row by row.
using Screen = std::array<std::uint8_t, std::size_t{screenWidth} * screenHeight>;

/// The initial values are the values after a reset.
struct DisplayRegisters {
    static constexpr int highestContrast = 511;

    bool isOn = false;
    bool sleeps = true;
    bool isInverse = false;
    /// The operating voltage of the panel, from 0 to `highestContrast`.
    int contrast = 0;

    bool operator==(const DisplayRegisters&) const = default;
};

} // namespace sim
