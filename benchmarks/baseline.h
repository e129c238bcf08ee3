// The baseline: draws the measured screens straight into the canvas, without widgets, surfaces or clipping.
#pragma once

#include "hw/frame.h"

#include <array>
#include <cstdint>
#include <span>
#include <string_view>
#include <vector>

/// Plain loops for these screens only: copies and fills whole rows, packs pixels in 64-bit words, and stores glyphs in
/// cells of a fixed size, so that loop lengths are constants.
class Baseline {
public:
    /// The image store and the fonts must have been built.
    Baseline();

    const Frame& drawMessage();
    const Frame& drawMenu();
    void pack();

private:
    using Pixels = std::array<std::uint8_t, displayWidth * displayHeight>;

    /// A glyph in the upper left corner of a cell of `size` by `size` pixels: 0xFF for ink, 0 for background.
    template <std::int32_t size>
    struct Glyph {
        std::int32_t width = 0;
        std::array<std::uint8_t, size * size> ink{};
    };
    template <std::int32_t size>
    using Alphabet = std::array<Glyph<size>, 256>;

    template <std::int32_t size>
    static Alphabet<size> alphabetOf(const char* font);
    template <std::int32_t size>
    void drawText(const Alphabet<size>& alphabet, std::string_view text, std::int32_t left, std::int32_t top,
                  std::int32_t right, std::uint8_t colour);
    void clear();
    void drawTitle();

    Alphabet<8> alphabet8;
    Alphabet<16> alphabet16;
    std::vector<std::uint8_t> wheel;
    std::array<std::vector<std::uint8_t>, 2> buttons;
    Pixels canvas{};
    Frame frame{};
};
