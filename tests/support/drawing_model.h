// A reference implementation of drawing and text layout, pixel by pixel and independent of the product.
#pragma once

#include <cstdint>
#include <map>
#include <string>
#include <vector>

namespace model {

/// Has the drawing operations of `Bitmap`. Coordinates and sizes are 64-bit, so sums of 32-bit numbers do not overflow.
struct Raster {
    std::int64_t width = 0;
    std::int64_t height = 0;
    /// Row-major; empty if `width` or `height` is below 1.
    std::vector<std::uint8_t> pixels;

    Raster() = default;
    Raster(std::int64_t w, std::int64_t h, std::uint8_t value = 0);

    bool operator==(const Raster&) const = default;

    [[nodiscard]] std::uint8_t pixel(std::int64_t x, std::int64_t y) const;
    [[nodiscard]] bool hasTransparency() const;
    [[nodiscard]] Raster scaled(std::int64_t factor) const;
    [[nodiscard]] Raster inkMask() const;

    /// Ignores pixels outside the raster, as do all operations below.
    void set(std::int64_t x, std::int64_t y, std::uint8_t value);
    void fill(std::uint8_t value);
    void fillRect(std::int64_t left, std::int64_t top, std::int64_t w, std::int64_t h, std::uint8_t value);
    void drawLine(std::int64_t x0, std::int64_t y0, std::int64_t x1, std::int64_t y1, std::uint8_t value);
    void drawRect(std::int64_t left, std::int64_t top, std::int64_t w, std::int64_t h, std::uint8_t value);
    void drawBitmap(std::int64_t left, std::int64_t top, const Raster& source, bool invert);
    void drawMask(std::int64_t left, std::int64_t top, const Raster& source, std::uint8_t value);
};

/// A glyph set and its spacing. The glyph of code 0 is drawn for every missing glyph.
struct Font {
    std::int64_t letterSpacing = 0;
    std::map<std::uint8_t, Raster> glyphs;

    [[nodiscard]] std::int64_t height() const;
    [[nodiscard]] std::uint32_t textWidth(const std::string& text) const;
    [[nodiscard]] std::int32_t countLines(const std::string& text, std::int64_t maxWidth) const;
    void drawText(Raster& canvas, std::int64_t x, std::int64_t y, const std::string& text, std::uint8_t colour,
                  std::int64_t maxWidth, std::int64_t maxLines, std::int64_t lineGap) const;

private:
    [[nodiscard]] const Raster& glyph(char character) const;
};

} // namespace model
