// The raster type of images, glyphs, widget surfaces and the canvas shown on the display.
#pragma once

#include <cstdint>
#include <span>
#include <string>
#include <vector>

/// A grey level, 0 (lightest) to 3 (full ink), or `transparentPixel`. Other values are copied unchanged.
using Pixel = std::uint8_t;

inline constexpr Pixel inkPixel = 3;
/// Pixels with this value are skipped when their bitmap is drawn onto another bitmap.
inline constexpr Pixel transparentPixel = 255;

/// A value type that owns `width` times `height` pixels, row-major, one byte each.
///
/// Sizes of more than 2^31 - 1 pixels throw std::bad_array_new_length. Drawing never fails and never allocates; pixels
/// outside the bitmap are ignored. A moved-from bitmap may only be destroyed or assigned to.
class Bitmap {
public:
    Bitmap() = default;
    /// The contents are undefined. Allocates nothing if w times h is less than 1.
    Bitmap(std::int32_t w, std::int32_t h);
    /// Copies `source`, which must contain exactly w times h pixels, row-major. Throws std::bad_array_new_length if
    /// w times h is negative.
    Bitmap(std::int32_t w, std::int32_t h, std::span<const std::uint8_t> source);

    [[nodiscard]] std::int32_t getWidth() const { return width; }
    [[nodiscard]] std::int32_t getHeight() const { return height; }

    /// The contents are undefined afterwards. Shrinking keeps the memory, so growing back does not allocate.
    void resize(std::int32_t newWidth, std::int32_t newHeight);

    /// No bounds check: x must be in 0..width-1 and y in 0..height-1.
    [[nodiscard]] Pixel pixel(std::int32_t x, std::int32_t y) const { return row(y)[x]; }
    /// Returns the `getWidth()` pixels of row y; y must be in 0..height-1.
    [[nodiscard]] const Pixel* row(std::int32_t y) const { return pixels.data() + std::int64_t{y} * width; }
    [[nodiscard]] bool hasTransparency() const;

    void fill(Pixel value);
    void fillRect(std::int32_t x, std::int32_t y, std::int32_t w, std::int32_t h, Pixel value);
    /// Draws a line, including both end points.
    void drawLine(std::int32_t x0, std::int32_t y0, std::int32_t x1, std::int32_t y1, Pixel value);
    /// Draws the one-pixel outline of a w by h rectangle.
    void drawRect(std::int32_t x, std::int32_t y, std::int32_t w, std::int32_t h, Pixel value);
    /// Copies `source` with its top-left corner at (x, y), except its transparent pixels. `invert` swaps 0 with 3 and
    /// 1 with 2. `source` must not be this bitmap.
    void drawBitmap(std::int32_t x, std::int32_t y, const Bitmap& source, bool invert);
    /// Writes `value` wherever `source`, placed at (x, y), has full ink. `source` must not be this bitmap.
    void drawMask(std::int32_t x, std::int32_t y, const Bitmap& source, Pixel value);

    /// Returns the bitmap enlarged `factor` times in both directions, without interpolation.
    [[nodiscard]] Bitmap scaled(std::int32_t factor) const;
    /// Returns a copy in which every pixel other than full ink is transparent.
    [[nodiscard]] Bitmap inkMask() const;

    /// Writes a 24-bit BMP file and syncs the file systems. Returns false only if the file cannot be created; write
    /// errors are ignored.
    [[nodiscard]] bool saveBmp(const std::string& path) const;

private:
    struct Area;

    [[nodiscard]] bool isEmpty() const { return width < 1 || height < 1; }
    [[nodiscard]] Pixel* writableRow(std::int32_t y) { return pixels.data() + std::int64_t{y} * width; }
    [[nodiscard]] Area clip(std::int64_t x, std::int64_t y, std::int64_t w, std::int64_t h) const;
    template <typename Combine>
    void overlay(std::int32_t x, std::int32_t y, const Bitmap& source, Combine combine);
    void plotLine(std::int64_t x0, std::int64_t y0, std::int64_t x1, std::int64_t y1, Pixel value);

    std::int32_t width = 0;
    std::int32_t height = 0;
    /// Row-major; at least width times height elements.
    std::vector<Pixel> pixels;
};
