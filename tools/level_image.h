// A picture in the grey levels of the display.
#pragma once

#include <cstdint>
#include <vector>

struct LevelImage {
    std::uint32_t width = 0;
    std::uint32_t height = 0;
    /// Row-major, one byte per pixel, 0 (background) to 3 (full ink).
    std::vector<std::uint8_t> levels;
};
