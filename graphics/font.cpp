// Building, measuring and drawing with the fonts of the registry.
#include "graphics/font.h"

#include "graphics/image_store.h"

#include <algorithm>
#include <charconv>
#include <limits>
#include <string_view>
#include <utility>

FontRegistry fontRegistry;

namespace {

const Font* findFont(const std::string& name)
{
    const auto found = fontRegistry.find(name);
    return found == fontRegistry.end() ? nullptr : &found->second;
}

/// The character code named by a path such as "img/font8/41.png"; 0 where there is no hexadecimal digit.
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

const GlyphCell& cellFor(const Font& font, char character)
{
    return font.cells[font.cellOf[static_cast<std::uint8_t>(character)]];
}

bool hasInk(const Bitmap& glyph, std::int32_t y)
{
    const Pixel* end = glyph.row(y) + glyph.getWidth();
    return std::find(glyph.row(y), end, inkPixel) != end;
}

void fillCell(GlyphCell& cell, const Bitmap& glyph)
{
    constexpr std::int32_t leastColumns = 16;
    std::int32_t top = 0;
    std::int32_t bottom = glyph.getHeight();
    while (top < bottom && !hasInk(glyph, top)) {
        ++top;
    }
    while (top < bottom && !hasInk(glyph, bottom - 1)) {
        --bottom;
    }
    cell.width = glyph.getWidth();
    cell.top = top;
    cell.mask.resize(std::max(cell.width, leastColumns), bottom - top);
    cell.mask.fill(transparentPixel);
    cell.mask.drawBitmap(0, -top, glyph, false);
}

/// Fills the flat table from the map.
void lineUpCells(Font& font)
{
    font.cells.reserve(font.glyphs.size() + 1);
    for (const auto& [code, glyph] : font.glyphs) {
        if (code == 0) {
            fillCell(font.cells.front(), glyph);
        } else {
            font.cellOf[code] = static_cast<std::uint8_t>(font.cells.size());
            fillCell(font.cells.emplace_back(), glyph);
        }
    }
}

/// From a glyph's first column to that of the next. 64-bit: the spacing may be any number.
std::int64_t advanceOf(const Font& font, const GlyphCell& cell)
{
    return std::int64_t{cell.width} + font.letterSpacing;
}

std::int32_t heightOf(const Font& font)
{
    return font.glyphs.empty() ? 0 : font.glyphs.begin()->second.getHeight();
}

std::int32_t clampedToInt(std::int64_t value)
{
    using Limits = std::numeric_limits<std::int32_t>;
    return static_cast<std::int32_t>(std::clamp<std::int64_t>(value, Limits::min(), Limits::max()));
}

/// Sets `text` in lines of at most `maxWidth` columns: calls place(cell, column, line) for each of its glyphs, up to
/// the break that would open line number `maxLines`. Returns the number of the last line.
template <typename Place>
std::int32_t setLines(const Font& font, const std::string& text, std::int64_t maxWidth, std::int32_t maxLines,
                      Place place)
{
    std::int64_t column = 0;
    std::int32_t line = 0;
    for (const char character : text) {
        const GlyphCell& cell = cellFor(font, character);
        // A line feed that overflows is used up by the break that it causes.
        if (character == '\n' || cell.width + column > maxWidth) {
            if (line + 1 >= maxLines) {
                return line;
            }
            ++line;
            column = 0;
        }
        if (character != '\n') {
            place(cell, column, line);
            column += advanceOf(font, cell);
        }
    }
    return line;
}

} // namespace

void buildFont(const std::string& name, const std::string& directory, std::int32_t letterSpacing,
               std::int32_t lineSpacing, std::int32_t scale)
{
    Font font;
    font.letterSpacing = letterSpacing;
    font.lineSpacing = lineSpacing;
    font.scale = scale;
    for (const auto& [path, image] : imageStore) {
        if (path.starts_with(directory)) {
            font.glyphs.insert_or_assign(codeOf(path), getImage(path).inkMask().scaled(scale));
        }
    }
    lineUpCells(font);
    fontRegistry[name] = std::move(font);
}

std::int32_t fontHeight(const std::string& name)
{
    const Font* font = findFont(name);
    return font == nullptr ? 0 : heightOf(*font);
}

std::int32_t fontLineSpacing(const std::string& name)
{
    const Font* font = findFont(name);
    return font == nullptr ? 0 : font->lineSpacing;
}

std::uint32_t textWidth(const std::string& name, const std::string& text)
{
    const Font* font = findFont(name);
    if (font == nullptr || font->glyphs.empty()) {
        return 0;
    }
    std::int64_t total = 0;
    for (const char character : text) {
        total += advanceOf(*font, cellFor(*font, character));
    }
    return static_cast<std::uint32_t>(total == 0 ? 0 : total - font->letterSpacing);
}

std::int32_t countLines(const std::string& name, const std::string& text, std::int32_t maxWidth)
{
    const Font* font = findFont(name);
    if (font == nullptr) {
        return 0;
    }
    const auto measureOnly = [](const GlyphCell&, std::int64_t, std::int32_t) {};
    return setLines(*font, text, maxWidth, std::numeric_limits<std::int32_t>::max(), measureOnly) + 1;
}

void drawText(Bitmap& canvas, std::int32_t x, std::int32_t y, const std::string& name, const std::string& text,
              Pixel colour, std::int32_t maxWidth, std::int32_t maxLines, std::int32_t lineGap)
{
    const Font* font = findFont(name);
    if (font == nullptr) {
        return;
    }
    const std::int64_t pitch = std::int64_t{lineGap} + heightOf(*font);
    const std::int64_t limit = maxWidth == 0 ? std::numeric_limits<std::int64_t>::max() : maxWidth;
    setLines(*font, text, limit, maxLines, [&](const GlyphCell& cell, std::int64_t column, std::int32_t line) {
        canvas.drawMask(clampedToInt(x + column), clampedToInt(y + pitch * line + cell.top), cell.mask, colour);
    });
}
