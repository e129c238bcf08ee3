// Screens as text: braille patterns and half blocks.
#pragma once

#include "sim/models/screen.h"

#include <cstdint>
#include <string>
#include <vector>

namespace sim {

/// A picture in black and white, row by row; true is ink (black).
struct Dots {
    int width;
    int height;
    std::vector<bool> ink;
};

/// Grey levels 2 and 3 are ink.
[[nodiscard]] Dots dotsOf(const Screen& screen);

/// One dot for two by two pixels. Thin strokes remain visible, whether dark on light or light on dark: a single pixel
/// that differs from its surroundings determines the dot.
[[nodiscard]] Dots halfSizeDots(const Screen& screen);

/// One character for two by four dots; a blank for a cell without ink.
[[nodiscard]] std::vector<std::wstring> brailleRows(const Dots& dots);

/// The grey levels of the two pixels that a half-block character shows.
struct HalfBlock {
    std::uint8_t top;
    std::uint8_t bottom;

    bool operator==(const HalfBlock&) const = default;
};

/// `column` is 0 to 255, `row` 0 to 79.
[[nodiscard]] HalfBlock halfBlockAt(const Screen& screen, int column, int row);

/// Encodes as UTF-8; characters must be below U+10000.
[[nodiscard]] std::string utf8(const std::wstring& text);

} // namespace sim
