// The periods of the update flow, in iterations of the main loop (about 1 ms each).
#pragma once

#include <cstdint>

/// The busy indicator shows its next frame in every iteration that is a multiple of this. The value is unusual on
/// purpose: all eight frames take 1136 iterations.
inline constexpr std::uint64_t wheelPeriod = 142;
/// The updater checks for the USB drive each time this many iterations have passed.
inline constexpr std::uint64_t usbCheckPeriod = 501;
