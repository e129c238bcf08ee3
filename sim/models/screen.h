// The pixels on the display.
#pragma once

#include <array>
#include <cstdint>

namespace sim {

inline constexpr int screenWidth = 256;
inline constexpr int screenHeight = 160;

/// Grey levels 0 (lightest) to 3 (darkest), row by row.
using Screen = std::array<std::uint8_t, std::size_t{screenWidth} * screenHeight>;

} // namespace sim
