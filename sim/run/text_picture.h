// Screens as text: braille patterns and half blocks.
#pragma once

#include "sim/models/screen.h"

#include <cstdint>
#include <string>
#include <vector>

namespace sim {

/// A picture in two tones, row by row; true is the tone of the ink.
struct Dots {
    int width;
    int height;
    std::vector<bool> ink;
};

/// Grey levels 2 and 3 are ink.
[[nodiscard]] Dots dotsOf(const Screen& screen);

/// A dot for every two by two pixels. Thin strokes stay visible: a single pixel that differs from what surrounds it
/// decides, whether it is dark on light or light on dark.
[[nodiscard]] Dots halfSizeDots(const Screen& screen);

/// A character for every two by four dots; a blank for a cell without ink.
[[nodiscard]] std::vector<std::wstring> brailleRows(const Dots& dots);

/// The grey levels of the two pixels that a character stands for.
struct HalfBlock {
    std::uint8_t top;
    std::uint8_t bottom;

    bool operator==(const HalfBlock&) const = default;
};

/// Of the character at that column, 0 to 255, and row, 0 to 79.
[[nodiscard]] HalfBlock halfBlockAt(const Screen& screen, int column, int row);

/// UTF-8, for characters below U+10000.
[[nodiscard]] std::string utf8(const std::wstring& text);

} // namespace sim
