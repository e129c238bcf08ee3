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

const Bitmap& glyphFor(const Font& font, char character)
{
    static const Bitmap none;
    auto found = font.glyphs.find(static_cast<std::uint8_t>(character));
    if (found == font.glyphs.end()) {
        found = font.glyphs.find(0);
    }
    return found == font.glyphs.end() ? none : found->second;
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

} // namespace

void buildFont(const std::string& name, const std::string& directory, std::int32_t letterSpacing,
               std::int32_t lineSpacing, std::int32_t scale)
{
    std::map<std::uint8_t, Bitmap> glyphs;
    for (const auto& [path, image] : imageStore) {
        if (path.starts_with(directory)) {
            glyphs.insert_or_assign(codeOf(path), getImage(path).inkMask().scaled(scale));
        }
    }
    fontRegistry[name] = Font{letterSpacing, lineSpacing, scale, std::move(glyphs)};
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
        total += glyphFor(*font, character).getWidth() + font->letterSpacing;
    }
    return static_cast<std::uint32_t>(total == 0 ? 0 : total - font->letterSpacing);
}

std::int32_t countLines(const std::string& name, const std::string& text, std::int32_t maxWidth)
{
    const Font* font = findFont(name);
    if (font == nullptr) {
        return 0;
    }
    std::int32_t breaks = 0;
    std::int64_t column = 0;
    for (const char character : text) {
        const std::int32_t width = glyphFor(*font, character).getWidth();
        const bool overflows = width + column > maxWidth;
        // A line feed that overflows is used up by the break that it causes.
        if (overflows || character == '\n') {
            ++breaks;
            column = 0;
        }
        if (character != '\n') {
            column += width + font->letterSpacing;
        }
    }
    return breaks + 1;
}

void drawText(Bitmap& canvas, std::int32_t x, std::int32_t y, const std::string& name, const std::string& text,
              Pixel colour, std::int32_t maxWidth, std::int32_t maxLines, std::int32_t lineGap)
{
    const Font* font = findFont(name);
    if (font == nullptr) {
        return;
    }
    const std::int64_t pitch = std::int64_t{lineGap} + heightOf(*font);
    std::int64_t column = 0;
    std::int32_t line = 0;
    for (const char character : text) {
        const Bitmap& glyph = glyphFor(*font, character);
        const bool overflows = maxWidth != 0 && glyph.getWidth() + column > maxWidth;
        // A line feed that overflows is used up by the break that it causes.
        if (overflows || character == '\n') {
            if (line + 1 >= maxLines) {
                return;
            }
            ++line;
            column = 0;
        }
        if (character != '\n') {
            canvas.drawMask(clampedToInt(x + column), clampedToInt(y + pitch * line), glyph, colour);
            column += glyph.getWidth() + font->letterSpacing;
        }
    }
}
