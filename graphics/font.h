// Fonts: glyph sets built from the image store, their measures, and drawing text with them.
#pragma once

#include "graphics/bitmap.h"

#include <array>
#include <cstdint>
#include <map>
#include <string>
#include <vector>

/// A glyph as it is drawn.
struct GlyphCell {
    /// Of the glyph, without what was added to its right.
    std::int32_t width = 0;
    /// The glyph's first row with ink.
    std::int32_t top = 0;
    /// From there to the last row with ink, widened with transparent columns where it is narrow: short rows are not
    /// worth a loop.
    Bitmap mask;
};

struct Font {
    /// Columns of gap after every glyph but the last.
    std::int32_t letterSpacing = 0;
    /// Rows of gap between lines, for layout; `drawText` takes its own line gap.
    std::int32_t lineSpacing = 0;
    /// The enlargement with which the glyphs were made.
    std::int32_t scale = 0;
    /// By character code. Pixels are full ink or transparent. Code 0 stands in for every code that is missing.
    std::map<std::uint8_t, Bitmap> glyphs;

    // The same, found without a search.

    /// Where every code's cell is in `cells`; 0 for the codes that are missing.
    std::array<std::uint8_t, 256> cellOf{};
    /// The first is the stand-in's, or an empty one.
    std::vector<GlyphCell> cells = std::vector<GlyphCell>(1);
};

using FontRegistry = std::map<std::string, Font>;

/// Empty until the first `buildFont`, never changed after the last.
extern FontRegistry fontRegistry;

/// Makes the font `name` from every stored image whose path begins with `directory` (a plain prefix). The character
/// code is the hexadecimal number in the two characters before ".png". An older font of that name is replaced.
void buildFont(const std::string& name, const std::string& directory, std::int32_t letterSpacing,
               std::int32_t lineSpacing, std::int32_t scale);

/// Rows of one line; 0 for an unknown font.
[[nodiscard]] std::int32_t fontHeight(const std::string& name);
/// 0 for an unknown font.
[[nodiscard]] std::int32_t fontLineSpacing(const std::string& name);
/// Columns of `text` set on one line (a line feed counts as the glyph of a missing character); 0 for an unknown font.
[[nodiscard]] std::uint32_t textWidth(const std::string& name, const std::string& text);
/// Lines that `text` takes when it is broken at `maxWidth` columns, as `drawText` breaks it. 0 for an unknown font.
/// Unlike there, a `maxWidth` of 0 is not "no limit".
[[nodiscard]] std::int32_t countLines(const std::string& name, const std::string& text, std::int32_t maxWidth);

/// Draws `text`, byte by byte, with its first line's top-left corner at (x, y). Lines break at line feeds and, unless
/// `maxWidth` is 0, before the glyph that would pass `maxWidth` columns. What would open line number `maxLines` is
/// dropped; the first line is always drawn. `lineGap` rows separate the lines. An unknown font draws nothing.
void drawText(Bitmap& canvas, std::int32_t x, std::int32_t y, const std::string& name, const std::string& text,
              Pixel colour, std::int32_t maxWidth, std::int32_t maxLines, std::int32_t lineGap);
