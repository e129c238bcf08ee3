// The pixel-by-pixel drawing operations and text layout of the model.
#include "tests/support/drawing_model.h"

#include <algorithm>
#include <cstdlib>

namespace model {

namespace {

constexpr std::uint8_t ink = 3;
constexpr std::uint8_t transparent = 255;

__extension__ using Wide = __int128;

/// Returns whether Bresenham's line has moved `across` pixels on the short axis after moving `along` pixels on the long
/// axis. In total, the line moves `run` pixels on the long axis and `rise` pixels on the short axis. Halves are rounded
/// up.
bool isOnLine(Wide along, Wide run, Wide across, Wide rise)
{
    if (along < 0 || along > run) {
        return false;
    }
    return run == 0 ? across == 0 : (2 * along * rise + run) / (2 * run) == across;
}

} // namespace

Raster::Raster(std::int64_t w, std::int64_t h, std::uint8_t value)
    : width(w), height(h), pixels(w < 1 || h < 1 ? 0 : static_cast<std::size_t>(w * h), value)
{}

std::uint8_t Raster::pixel(std::int64_t x, std::int64_t y) const
{
    return pixels.at(static_cast<std::size_t>(x + y * width));
}

void Raster::set(std::int64_t x, std::int64_t y, std::uint8_t value)
{
    if (x >= 0 && x < width && y >= 0 && y < height) {
        pixels.at(static_cast<std::size_t>(x + y * width)) = value;
    }
}

bool Raster::hasTransparency() const
{
    return std::find(pixels.begin(), pixels.end(), transparent) != pixels.end();
}

Raster Raster::scaled(std::int64_t factor) const
{
    Raster result(factor * width, factor * height);
    for (std::int64_t y = 0; y < result.height; ++y) {
        for (std::int64_t x = 0; x < result.width; ++x) {
            result.set(x, y, pixel(x / factor, y / factor));
        }
    }
    return result;
}

Raster Raster::inkMask() const
{
    Raster result(width, height, transparent);
    result.drawMask(0, 0, *this, ink);
    return result;
}

void Raster::fill(std::uint8_t value)
{
    std::fill(pixels.begin(), pixels.end(), value);
}

void Raster::fillRect(std::int64_t left, std::int64_t top, std::int64_t w, std::int64_t h, std::uint8_t value)
{
    for (std::int64_t y = 0; y < height; ++y) {
        for (std::int64_t x = 0; x < width; ++x) {
            if (x >= left && x < left + w && y >= top && y < top + h) {
                set(x, y, value);
            }
        }
    }
}

void Raster::drawLine(std::int64_t x0, std::int64_t y0, std::int64_t x1, std::int64_t y1, std::uint8_t value)
{
    const std::int64_t dx = std::abs(x1 - x0);
    const std::int64_t dy = std::abs(y1 - y0);
    for (std::int64_t y = 0; y < height; ++y) {
        for (std::int64_t x = 0; x < width; ++x) {
            const std::int64_t movedX = x1 > x0 ? x - x0 : x0 - x;
            const std::int64_t movedY = y1 > y0 ? y - y0 : y0 - y;
            if (dx >= dy ? isOnLine(movedX, dx, movedY, dy) : isOnLine(movedY, dy, movedX, dx)) {
                set(x, y, value);
            }
        }
    }
}

void Raster::drawRect(std::int64_t left, std::int64_t top, std::int64_t w, std::int64_t h, std::uint8_t value)
{
    const std::int64_t right = left + w - 1;
    const std::int64_t bottom = top + h - 1;
    drawLine(left, top, right, top, value);
    drawLine(right, top, right, bottom, value);
    drawLine(right, bottom, left, bottom, value);
    drawLine(left, bottom, left, top, value);
}

void Raster::drawBitmap(std::int64_t left, std::int64_t top, const Raster& source, bool invert)
{
    for (std::int64_t y = 0; y < source.height; ++y) {
        for (std::int64_t x = 0; x < source.width; ++x) {
            const std::uint8_t value = source.pixel(x, y);
            if (value != transparent) {
                set(left + x, top + y, invert && value <= ink ? static_cast<std::uint8_t>(ink - value) : value);
            }
        }
    }
}

void Raster::drawMask(std::int64_t left, std::int64_t top, const Raster& source, std::uint8_t value)
{
    for (std::int64_t y = 0; y < source.height; ++y) {
        for (std::int64_t x = 0; x < source.width; ++x) {
            if (source.pixel(x, y) == ink) {
                set(left + x, top + y, value);
            }
        }
    }
}

const Raster& Font::glyph(char character) const
{
    static const Raster none;
    for (const std::uint8_t code : {static_cast<std::uint8_t>(character), std::uint8_t{0}}) {
        if (const auto found = glyphs.find(code); found != glyphs.end()) {
            return found->second;
        }
    }
    return none;
}

std::int64_t Font::height() const
{
    return glyphs.empty() ? 0 : glyphs.begin()->second.height;
}

std::uint32_t Font::textWidth(const std::string& text) const
{
    if (glyphs.empty()) {
        return 0;
    }
    std::int64_t total = 0;
    for (const char character : text) {
        total += glyph(character).width + letterSpacing;
    }
    return static_cast<std::uint32_t>(total == 0 ? 0 : total - letterSpacing);
}

std::int32_t Font::countLines(const std::string& text, std::int64_t maxWidth) const
{
    std::int32_t lines = 0;
    std::int64_t column = 0;
    for (const char character : text) {
        const std::int64_t width = glyph(character).width;
        if (width + column > maxWidth) {
            lines += 1;
            column = character == '\n' ? 0 : width + letterSpacing;
        } else if (character == '\n') {
            lines += 1;
            column = 0;
        } else {
            column += width + letterSpacing;
        }
    }
    return lines + 1;
}

void Font::drawText(Raster& canvas, std::int64_t x, std::int64_t y, const std::string& text, std::uint8_t colour,
                    std::int64_t maxWidth, std::int64_t maxLines, std::int64_t lineGap) const
{
    std::int64_t column = 0;
    std::int64_t line = 0;
    for (const char character : text) {
        const Raster& image = glyph(character);
        if (maxWidth != 0 && image.width + column > maxWidth) {
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
        canvas.drawMask(x + column, y + (lineGap + height()) * line, image, colour);
        column += image.width + letterSpacing;
    }
}

} // namespace model
