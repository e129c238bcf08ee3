// Screens as PNG files, still and animated, in memory.
#pragma once

#include "sim/models/screen.h"

#include <cstdint>
#include <span>
#include <string>

namespace sim {

/// A screen and for how long it is shown.
struct TimedScreen {
    Screen screen;
    /// At most 65535.
    std::uint32_t milliseconds;
};

/// The greys are those of `pictureOf`.
[[nodiscard]] std::string pngOf(const Screen& screen);

/// An animated PNG that repeats for ever. `screens` must not be empty.
[[nodiscard]] std::string animatedPngOf(std::span<const TimedScreen> screens);

} // namespace sim
