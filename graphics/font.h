// Fonts: builds glyph sets from the image store; measures and draws text.
#pragma once

#include "graphics/bitmap.h"

#include <array>
#include <cstdint>
#include <map>
#include <string>
#include <vector>

/// A glyph set and its spacing. Immutable except by assignment.
class Font {
public:
    /// The glyphs by character code. Their pixels are full ink or transparent.
    using Glyphs = std::map<std::uint8_t, Bitmap>;

    Font() = default;
    /// `spacing` columns separate the glyphs of a line. `gap` is the line spacing that `fontLineSpacing` returns, in
    /// rows; drawing does not use it. `enlargement` is the factor by which the glyphs were enlarged.
    Font(std::int32_t spacing, std::int32_t gap, std::int32_t enlargement, Glyphs glyphSet);

    [[nodiscard]] std::int32_t getLetterSpacing() const { return letterSpacing; }
    [[nodiscard]] std::int32_t getLineSpacing() const { return lineSpacing; }
    [[nodiscard]] std::int32_t getScale() const { return scale; }
    [[nodiscard]] const Glyphs& getGlyphs() const { return glyphs; }

    // Documented below the class, at the free functions fontHeight, textWidth, countLines and drawText, which take the
    // name of a font.

    [[nodiscard]] std::int32_t height() const;
    [[nodiscard]] std::uint32_t width(const std::string& text) const;
    [[nodiscard]] std::int32_t countLines(const std::string& text, std::int32_t maxWidth) const;
    void draw(Bitmap& canvas, std::int32_t x, std::int32_t y, const std::string& text, Pixel colour,
              std::int32_t maxWidth, std::int32_t maxLines, std::int32_t lineGap) const;

private:
    /// A glyph prepared for fast drawing.
    struct Cell {
        /// The width of the glyph, in columns.
        std::int32_t width = 0;
        /// The glyph's first row with ink.
        std::int32_t top = 0;
        /// The rows from the first to the last row with ink. A glyph narrower than 16 columns is padded on the right to
        /// 16 columns, so one vector operation covers a row.
        Bitmap mask;
    };

    [[nodiscard]] static Cell makeCell(const Bitmap& glyph);
    [[nodiscard]] const Cell& cellFor(char character) const;
    [[nodiscard]] std::int64_t advance(const Cell& cell) const;
    template <typename Place>
    std::int32_t layOut(const std::string& text, std::int64_t maxWidth, std::int32_t maxLines, Place place) const;

    std::int32_t letterSpacing = 0;
    std::int32_t lineSpacing = 0;
    std::int32_t scale = 0;
    Glyphs glyphs;
    /// The first cell is the glyph of code 0, which is drawn for every character without a glyph. The cell is empty if
    /// the font has no glyph of code 0.
    std::vector<Cell> cells = std::vector<Cell>(1);
    /// The index in `cells` for each character code.
    std::array<std::uint8_t, 256> cellIndex{};
};

using FontRegistry = std::map<std::string, Font>;

/// Only `buildFont` changes it.
extern FontRegistry fontRegistry;

/// Builds the font `name` from all stored images whose paths start with the string `directory`, enlarged `scale` times.
/// The character code is the hexadecimal number in the two characters before the four-character ending. Replaces an
/// existing font of this name.
void buildFont(const std::string& name, const std::string& directory, std::int32_t letterSpacing,
               std::int32_t lineSpacing, std::int32_t scale);

/// Returns the height of one line in rows; 0 for an unknown font.
[[nodiscard]] std::int32_t fontHeight(const std::string& name);
/// Returns the `lineSpacing` given to `buildFont`; 0 for an unknown font. `drawText` ignores it and uses `lineGap`.
[[nodiscard]] std::int32_t fontLineSpacing(const std::string& name);
/// Returns the width of `text` on one line in columns; 0 for an unknown font. A line feed counts like any other
/// character.
[[nodiscard]] std::uint32_t textWidth(const std::string& name, const std::string& text);
/// Returns the number of lines into which `drawText` breaks `text` at `maxWidth` columns; 0 for an unknown font. In
/// contrast to `drawText`, a `maxWidth` of 0 means 0 columns, not unlimited.
[[nodiscard]] std::int32_t countLines(const std::string& name, const std::string& text, std::int32_t maxWidth);

/// Draws `text`, byte by byte, with the top-left corner of its first line at (x, y). Lines break at line feeds and,
/// unless `maxWidth` is 0, before a glyph that would exceed `maxWidth` columns. Draws at most `maxLines` lines, but
/// always the first line. `lineGap` rows separate the lines. Draws nothing if the font is unknown.
void drawText(Bitmap& canvas, std::int32_t x, std::int32_t y, const std::string& name, const std::string& text,
              Pixel colour, std::int32_t maxWidth, std::int32_t maxLines, std::int32_t lineGap);
