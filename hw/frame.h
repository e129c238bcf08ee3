// One frame in the format of the display's memory.
#pragma once

#include <array>
#include <cstdint>

inline constexpr std::int32_t displayWidth = 256;
inline constexpr std::int32_t displayHeight = 160;
inline constexpr std::int32_t pixelsPerByte = 4;

/// 40 groups of four rows; each group has 256 bytes, one per column. A byte contains the four pixels of its column, the
/// topmost in the lowest two bits.
using Frame = std::array<std::uint8_t, displayWidth * displayHeight / pixelsPerByte>;
