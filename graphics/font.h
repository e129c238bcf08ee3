// Fonts: glyph sets built from the image store, their measures, and drawing text with them.
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
    /// By character code. The pixels are full ink or transparent.
    using Glyphs = std::map<std::uint8_t, Bitmap>;

    Font() = default;
    /// `spacing` columns separate the glyphs of a line. `gap` rows separate lines in layout; the line gap of `drawText`
    /// is a parameter. `enlargement` is the factor by which the glyphs were enlarged.
    Font(std::int32_t spacing, std::int32_t gap, std::int32_t enlargement, Glyphs glyphSet);

    [[nodiscard]] std::int32_t getLetterSpacing() const { return letterSpacing; }
    [[nodiscard]] std::int32_t getLineSpacing() const { return lineSpacing; }
    [[nodiscard]] std::int32_t getScale() const { return scale; }
    [[nodiscard]] const Glyphs& getGlyphs() const { return glyphs; }

    // See the functions below, which find a font by its name.

    [[nodiscard]] std::int32_t height() const;
    [[nodiscard]] std::uint32_t width(const std::string& text) const;
    [[nodiscard]] std::int32_t countLines(const std::string& text, std::int32_t maxWidth) const;
    void draw(Bitmap& canvas, std::int32_t x, std::int32_t y, const std::string& text, Pixel colour,
              std::int32_t maxWidth, std::int32_t maxLines, std::int32_t lineGap) const;

private:
    /// A glyph in the form in which it is drawn, without a search and in few short loops.
    struct Cell {
        /// The width of the glyph, in columns.
        std::int32_t width = 0;
        /// The glyph's first row with ink.
        std::int32_t top = 0;
        /// The rows with ink, padded on the right to a width that one vector operation covers.
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
    /// The first cell is the glyph of code 0, which replaces every missing glyph. It is empty
    /// if the font has no such glyph.
    std::vector<Cell> cells = std::vector<Cell>(1);
    /// The index in `cells` for each character code.
    std::array<std::uint8_t, 256> cellIndex{};
};

using FontRegistry = std::map<std::string, Font>;

/// Empty until the first `buildFont`, unchanged after the last.
extern FontRegistry fontRegistry;

/// Makes the font `name` from every stored image whose path starts with `directory` (a plain prefix), enlarged `scale`
/// times. The character code is the hexadecimal number in the two characters before ".png". Replaces an existing font.
void buildFont(const std::string& name, const std::string& directory, std::int32_t letterSpacing,
               std::int32_t lineSpacing, std::int32_t scale);

/// Returns the number of rows of one line; 0 for an unknown font.
[[nodiscard]] std::int32_t fontHeight(const std::string& name);
/// Returns the number of rows between lines in layout; 0 for an unknown font.
[[nodiscard]] std::int32_t fontLineSpacing(const std::string& name);
/// Returns the width of `text` on one line in columns; 0 for an unknown font. A line feed counts as a missing glyph.
[[nodiscard]] std::uint32_t textWidth(const std::string& name, const std::string& text);
/// Returns the number of lines into which `drawText` breaks `text` at `maxWidth` columns; 0 for an unknown font. Unlike
/// in `drawText`, a `maxWidth` of 0 is a limit.
[[nodiscard]] std::int32_t countLines(const std::string& name, const std::string& text, std::int32_t maxWidth);

/// Draws `text`, byte by byte, with the top-left corner of its first line at (x, y). Lines break at line feeds and,
/// unless `maxWidth` is 0, before a glyph that would exceed `maxWidth` columns. At most `maxLines` lines are drawn, but
/// always the first. `lineGap` rows separate the lines. An unknown font draws nothing.
void drawText(Bitmap& canvas, std::int32_t x, std::int32_t y, const std::string& name, const std::string& text,
              Pixel colour, std::int32_t maxWidth, std::int32_t maxLines, std::int32_t lineGap);
