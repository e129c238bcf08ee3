// Encodes screens as still and animated PNG files in memory.
#pragma once

#include "sim/models/screen.h"

#include <cstdint>
#include <span>
#include <string>

namespace sim {

/// A screen and the time for which it is shown.
struct TimedScreen {
    Screen screen;
    /// An animated PNG shows the screen for at most 65535 ms.
    std::uint32_t milliseconds;
};

/// A PNG file with the same greys as `pictureOf`.
[[nodiscard]] std::string pngOf(const Screen& screen);

/// An animated PNG that repeats for ever. `screens` must not be empty.
[[nodiscard]] std::string animatedPngOf(std::span<const TimedScreen> screens);

} // namespace sim
