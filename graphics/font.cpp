// Builds the fonts of the registry; measures and draws text with them.
#include "graphics/font.h"

#include "graphics/image_store.h"
#include "graphics/saturate.h"

#include <algorithm>
#include <charconv>
#include <limits>
#include <string_view>
#include <utility>

FontRegistry fontRegistry;

namespace {

/// Returns the hexadecimal number in the two characters before the ending of four characters: 0x41 for
/// "img/font8/41.png". If only the first character is a hexadecimal digit, returns its value. If the first character is
/// not a hexadecimal digit or the path is shorter than six characters, returns 0.
std::uint8_t codeOf(std::string_view path)
{
    constexpr std::size_t digits = 2;
    constexpr std::size_t fromEnd = std::string_view("41.png").size();
    std::uint8_t code = 0;
    if (path.size() >= fromEnd) {
        const char* first = path.data() + (path.size() - fromEnd);
        std::from_chars(first, first + digits, code, 16);
    }
    return code;
}

bool hasInk(const Bitmap& glyph, std::int32_t y)
{
    const Pixel* end = glyph.row(y) + glyph.getWidth();
    return std::find(glyph.row(y), end, inkPixel) != end;
}

const Font* findFont(const std::string& name)
{
    const auto found = fontRegistry.find(name);
    return found == fontRegistry.end() ? nullptr : &found->second;
}

} // namespace

Font::Font(std::int32_t spacing, std::int32_t gap, std::int32_t enlargement, Glyphs glyphSet)
    : letterSpacing(spacing), lineSpacing(gap), scale(enlargement), glyphs(std::move(glyphSet))
{
    for (const auto& [code, glyph] : glyphs) {
        if (code == 0) {
            cells.front() = makeCell(glyph);
        } else {
            cellIndex[code] = static_cast<std::uint8_t>(cells.size());
            cells.push_back(makeCell(glyph));
        }
    }
}

Font::Cell Font::makeCell(const Bitmap& glyph)
{
    constexpr std::int32_t leastColumns = 16;
    Cell cell;
    cell.width = glyph.getWidth();
    std::int32_t bottom = cell.width < 1 ? 0 : glyph.getHeight();
    while (cell.top < bottom && !hasInk(glyph, cell.top)) {
        ++cell.top;
    }
    while (cell.top < bottom && !hasInk(glyph, bottom - 1)) {
        --bottom;
    }
    cell.mask.resize(std::max(cell.width, leastColumns), bottom - cell.top);
    cell.mask.fill(transparentPixel);
    cell.mask.drawBitmap(0, -cell.top, glyph, false);
    return cell;
}

const Font::Cell& Font::cellFor(char character) const
{
    return cells[cellIndex[static_cast<std::uint8_t>(character)]];
}

/// Returns the distance from the left edge of a glyph to the left edge of the next glyph, in columns. 64-bit, because
/// the spacing may be near the limits of int32_t.
std::int64_t Font::advance(const Cell& cell) const
{
    return std::int64_t{cell.width} + letterSpacing;
}

/// Breaks `text` at line feeds and before each glyph that would exceed `maxWidth` columns, and calls
/// place(cell, column, line) for each glyph. A glyph wider than `maxWidth` is placed on its own line; the break before
/// it may leave an empty line. Lays out at most `maxLines` lines, but at least one. Returns the index of the last line,
/// counted from 0.
template <typename Place>
std::int32_t Font::layOut(const std::string& text, std::int64_t maxWidth, std::int32_t maxLines, Place place) const
{
    std::int64_t column = 0;
    std::int32_t line = 0;
    for (const char character : text) {
        const Cell& cell = cellFor(character);
        // A line feed at the end of a full line breaks the line once, not twice.
        if (character == '\n' || cell.width + column > maxWidth) {
            if (line + 1 >= maxLines) {
                return line;
            }
            ++line;
            column = 0;
        }
        if (character != '\n') {
            place(cell, column, line);
            column += advance(cell);
        }
    }
    return line;
}

std::int32_t Font::height() const
{
    return glyphs.empty() ? 0 : glyphs.begin()->second.getHeight();
}

std::uint32_t Font::width(const std::string& text) const
{
    if (glyphs.empty()) {
        return 0;
    }
    std::int64_t total = 0;
    for (const char character : text) {
        total += advance(cellFor(character));
    }
    return static_cast<std::uint32_t>(total == 0 ? 0 : total - letterSpacing);
}

std::int32_t Font::countLines(const std::string& text, std::int32_t maxWidth) const
{
    const auto measureOnly = [](const Cell&, std::int64_t, std::int32_t) {};
    return layOut(text, maxWidth, std::numeric_limits<std::int32_t>::max(), measureOnly) + 1;
}

void Font::draw(Bitmap& canvas, std::int32_t x, std::int32_t y, const std::string& text, Pixel colour,
                std::int32_t maxWidth, std::int32_t maxLines, std::int32_t lineGap) const
{
    const std::int64_t pitch = std::int64_t{lineGap} + height();
    const std::int64_t limit = maxWidth == 0 ? std::numeric_limits<std::int64_t>::max() : maxWidth;
    layOut(text, limit, maxLines, [&](const Cell& cell, std::int64_t column, std::int32_t line) {
        canvas.drawMask(saturate(x + column), saturate(y + pitch * line + cell.top), cell.mask, colour);
    });
}

void buildFont(const std::string& name, const std::string& directory, std::int32_t letterSpacing,
               std::int32_t lineSpacing, std::int32_t scale)
{
    Font::Glyphs glyphs;
    for (const auto& [path, image] : imageStore) {
        if (path.starts_with(directory)) {
            glyphs.insert_or_assign(codeOf(path), getImage(path).inkMask().scaled(scale));
        }
    }
    fontRegistry.insert_or_assign(name, Font(letterSpacing, lineSpacing, scale, std::move(glyphs)));
}

std::int32_t fontHeight(const std::string& name)
{
    const Font* font = findFont(name);
    return font == nullptr ? 0 : font->height();
}

std::int32_t fontLineSpacing(const std::string& name)
{
    const Font* font = findFont(name);
    return font == nullptr ? 0 : font->getLineSpacing();
}

std::uint32_t textWidth(const std::string& name, const std::string& text)
{
    const Font* font = findFont(name);
    return font == nullptr ? 0 : font->width(text);
}

std::int32_t countLines(const std::string& name, const std::string& text, std::int32_t maxWidth)
{
    const Font* font = findFont(name);
    return font == nullptr ? 0 : font->countLines(text, maxWidth);
}

void drawText(Bitmap& canvas, std::int32_t x, std::int32_t y, const std::string& name, const std::string& text,
              Pixel colour, std::int32_t maxWidth, std::int32_t maxLines, std::int32_t lineGap)
{
    if (const Font* font = findFont(name)) {
        font->draw(canvas, x, y, text, colour, maxWidth, maxLines, lineGap);
    }
}
