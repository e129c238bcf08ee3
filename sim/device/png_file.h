// Screens as PNG files.
#pragma once

#include "sim/models/screen.h"

#include <cstdint>
#include <filesystem>
#include <vector>

namespace sim {

struct Colour {
    std::uint8_t red;
    std::uint8_t green;
    std::uint8_t blue;

    bool operator==(const Colour&) const = default;
};

/// Pixels row by row.
struct Picture {
    int width;
    int height;
    std::vector<Colour> pixels;
};

/// Maps grey levels 0 to 3 to 255, 170, 84 and 0. Each pixel becomes a square of `scale` by `scale` pixels.
[[nodiscard]] Picture pictureOf(const Screen& screen, int scale = 1);

/// `writePng` and `readPng` throw std::runtime_error if they fail.
void writePng(const std::filesystem::path& path, const Picture& picture);
[[nodiscard]] Picture readPng(const std::filesystem::path& path);

} // namespace sim
