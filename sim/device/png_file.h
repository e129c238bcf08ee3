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

/// A picture in full colour, row by row.
struct Picture {
    int width;
    int height;
    std::vector<Colour> pixels;
};

/// Grey levels become the greys 255, 170, 84 and 0, each pixel a square of `scale` by `scale`.
[[nodiscard]] Picture pictureOf(const Screen& screen, int scale = 1);

/// Both throw std::runtime_error when the file cannot be written or read.
void writePng(const std::filesystem::path& path, const Picture& picture);
[[nodiscard]] Picture readPng(const std::filesystem::path& path);

} // namespace sim
