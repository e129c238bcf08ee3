// One frame in the format of the display's memory.
#pragma once

#include <array>
#include <cstdint>

inline constexpr std::int32_t displayWidth = 256;
inline constexpr std::int32_t displayHeight = 160;
inline constexpr std::int32_t pixelsPerByte = 4;

/// 40 groups of four rows, 256 bytes each. A byte holds four pixels of one column, the topmost in its lowest two bits.
using Frame = std::array<std::uint8_t, displayWidth * displayHeight / pixelsPerByte>;
