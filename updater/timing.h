// The periods of the update flow, in iterations of the main loop (about 1 ms each).
#pragma once

#include <cstdint>

/// The busy indicator advances in every iteration whose number is a multiple of this period. The unusual value is
/// deliberate: the eight frames take 1136 iterations.
inline constexpr std::uint64_t wheelPeriod = 142;
/// The number of iterations between two checks for the USB drive.
inline constexpr std::uint64_t usbCheckPeriod = 501;
