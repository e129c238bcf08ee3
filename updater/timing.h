// The periods of the update flow, in iterations of the main loop (about 1 ms each).
#pragma once

#include <cstdint>

/// The busy indicator advances in every iteration whose number is a multiple of this period. Deliberately not
/// a round number; the eight frames take 8 * 142 = 1136 iterations.
inline constexpr std::uint64_t wheelPeriod = 142;
/// The time between two checks for the USB drive while the updater waits for it.
inline constexpr std::uint64_t usbCheckPeriod = 501;
