// Text measured and drawn by plain steps, pixel by pixel, with numbers that can not overflow.
#pragma once

#include "graphics/font.h"

#include <cstdint>
#include <string>

namespace text_model {

/// Null when the font has no glyph for the character nor the stand-in.
[[nodiscard]] inline const Bitmap* glyphOf(const Font& font, char character)
{
    for (const std::uint8_t code : {static_cast<std::uint8_t>(character), std::uint8_t{0}}) {
        if (const auto found = font.glyphs.find(code); found != font.glyphs.end()) {
            return &found->second;
        }
    }
    return nullptr;
}

[[nodiscard]] inline std::int64_t widthOf(const Font& font, char character)
{
    const Bitmap* glyph = glyphOf(font, character);
    return glyph == nullptr ? 0 : glyph->getWidth();
}

/// Pixel by pixel, each only where it lies on the canvas.
inline void drawGlyph(Bitmap& canvas, std::int64_t left, std::int64_t top, const Bitmap& glyph, Pixel colour)
{
    for (std::int32_t i = 0; i < glyph.getWidth(); ++i) {
        for (std::int32_t j = 0; j < glyph.getHeight(); ++j) {
            const std::int64_t x = left + i;
            const std::int64_t y = top + j;
            const bool isOnCanvas = x >= 0 && y >= 0 && x < canvas.getWidth() && y < canvas.getHeight();
            if (isOnCanvas && glyph.pixel(i, j) == inkPixel) {
                canvas.fillRect(static_cast<std::int32_t>(x), static_cast<std::int32_t>(y), 1, 1, colour);
            }
        }
    }
}

} // namespace text_model

[[nodiscard]] inline std::uint32_t textWidthPlainly(const Font& font, const std::string& text)
{
    if (font.glyphs.empty()) {
        return 0;
    }
    std::int64_t total = 0;
    for (const char character : text) {
        total += text_model::widthOf(font, character) + font.letterSpacing;
    }
    return static_cast<std::uint32_t>(total == 0 ? 0 : total - font.letterSpacing);
}

[[nodiscard]] inline std::int32_t countLinesPlainly(const Font& font, const std::string& text, std::int32_t maxWidth)
{
    std::int32_t lines = 0;
    std::int64_t column = 0;
    for (const char character : text) {
        const std::int64_t width = text_model::widthOf(font, character);
        if (width + column > maxWidth) {
            lines += 1;
            column = character == '\n' ? 0 : width + font.letterSpacing;
        } else if (character == '\n') {
            lines += 1;
            column = 0;
        } else {
            column += width + font.letterSpacing;
        }
    }
    return lines + 1;
}

inline void drawTextPlainly(Bitmap& canvas, std::int32_t x, std::int32_t y, const Font& font, const std::string& text,
                            Pixel colour, std::int32_t maxWidth, std::int32_t maxLines, std::int32_t lineGap)
{
    const std::int64_t lineHeight = font.glyphs.empty() ? 0 : font.glyphs.begin()->second.getHeight();
    std::int64_t column = 0;
    std::int64_t line = 0;
    for (const char character : text) {
        const std::int64_t width = text_model::widthOf(font, character);
        if (maxWidth != 0 && width + column > maxWidth) {
            line += 1;
            if (line >= maxLines) {
                return;
            }
            column = 0;
            if (character == '\n') {
                continue;
            }
        } else if (character == '\n') {
            if (line + 1 >= maxLines) {
                return;
            }
            line += 1;
            column = 0;
            continue;
        }
        if (const Bitmap* glyph = text_model::glyphOf(font, character)) {
            text_model::drawGlyph(canvas, x + column, y + (lineGap + lineHeight) * line, *glyph, colour);
        }
        column += width + font.letterSpacing;
    }
}
