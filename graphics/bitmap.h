// The one raster type: images, glyphs, widget surfaces and the canvas that the display shows.
#pragma once

#include <cstdint>
#include <memory>
#include <span>
#include <string>

/// A grey level, 0 (lightest) to 3 (full ink), or `transparentPixel`. Other values are copied as they are.
using Pixel = std::uint8_t;

inline constexpr Pixel inkPixel = 3;
/// Skipped when its bitmap is drawn onto another one.
inline constexpr Pixel transparentPixel = 255;

/// A value type that owns `width` times `height` pixels, row-major, one byte each.
///
/// A pixel count that no array can have (negative where an array is demanded, or above 2^31 - 1) fails as the
/// impossible allocation that it is: std::bad_array_new_length. Drawing never fails and never allocates: what falls
/// outside the bitmap is dropped, pixel by pixel.
class Bitmap {
public:
    Bitmap() = default;
    /// Contents are undefined. Without storage when w times h is below 1.
    Bitmap(std::int32_t w, std::int32_t h);
    /// Copies `source`, which must hold exactly w times h pixels, row-major.
    Bitmap(std::int32_t w, std::int32_t h, std::span<const std::uint8_t> source);
    Bitmap(const Bitmap& other);
    /// Keeps its own array when that is large enough.
    Bitmap& operator=(const Bitmap& other);
    ~Bitmap() = default;

    [[nodiscard]] std::int32_t getWidth() const { return width; }
    [[nodiscard]] std::int32_t getHeight() const { return height; }
    /// Pixels that fit without a new allocation.
    [[nodiscard]] std::int32_t getCapacity() const { return capacity; }

    /// Never clears: the contents are undefined (after growing) or stale (otherwise). Shrinking keeps the array.
    void resize(std::int32_t newWidth, std::int32_t newHeight);

    /// No bounds check: x must lie in 0..width-1 and y in 0..height-1.
    [[nodiscard]] Pixel pixel(std::int32_t x, std::int32_t y) const { return row(y)[x]; }
    /// The `getWidth()` pixels of row y, which must lie in 0..height-1.
    [[nodiscard]] const Pixel* row(std::int32_t y) const { return pixels.get() + std::int64_t{y} * width; }
    [[nodiscard]] bool hasTransparency() const;

    void fill(Pixel value);
    void fillRect(std::int32_t x, std::int32_t y, std::int32_t w, std::int32_t h, Pixel value);
    /// Both end points are drawn.
    void drawLine(std::int32_t x0, std::int32_t y0, std::int32_t x1, std::int32_t y1, Pixel value);
    /// The one-pixel outline of a w by h rectangle.
    void drawRect(std::int32_t x, std::int32_t y, std::int32_t w, std::int32_t h, Pixel value);
    /// Copies `source` with its top-left corner at (x, y), except its transparent pixels. `invert` swaps 0 with 3 and
    /// 1 with 2. `source` must be another bitmap.
    void drawBitmap(std::int32_t x, std::int32_t y, const Bitmap& source, bool invert);
    /// Writes `value` wherever `source`, placed at (x, y), holds full ink.
    void drawMask(std::int32_t x, std::int32_t y, const Bitmap& source, Pixel value);

    /// Nearest-neighbour enlargement to factor times the size.
    [[nodiscard]] Bitmap scaled(std::int32_t factor) const;
    /// Full ink stays, everything else becomes transparent.
    [[nodiscard]] Bitmap inkMask() const;

    /// Writes a 24-bit BMP and syncs the file systems. False when the file cannot be created.
    [[nodiscard]] bool saveBmp(const std::string& path) const;

private:
    struct Overlap;

    static constexpr std::int32_t rowsPerBand = 2;
    static constexpr std::uint64_t allBands = ~std::uint64_t{0};

    [[nodiscard]] static bool isInBand(std::int32_t y, std::uint64_t bands)
    {
        return (bands >> (y / rowsPerBand % 64) & 1) != 0;
    }
    void noteWriting(std::int32_t top, std::int32_t bottom);

    [[nodiscard]] bool isEmpty() const { return width < 1 || height < 1; }
    [[nodiscard]] Pixel* row(std::int32_t y) { return pixels.get() + std::int64_t{y} * width; }
    void reserve(std::int32_t count);
    [[nodiscard]] Overlap overlapAt(std::int64_t x, std::int64_t y, std::int64_t w, std::int64_t h) const;
    template <typename Choose>
    void overlay(std::int32_t x, std::int32_t y, const Bitmap& source, Choose choose);
    void plotLine(std::int64_t x0, std::int64_t y0, std::int64_t x1, std::int64_t y1, Pixel value);

    std::int32_t width = 0;
    std::int32_t height = 0;
    struct Free {
        void operator()(Pixel* array) const;
    };
    std::unique_ptr<Pixel[], Free> pixels;
    std::int32_t capacity = 0;
    /// A bit for every two rows that may hold anything but transparent pixels; the others need not be looked at when
    /// the bitmap is drawn, and most of a label is empty. Rows that are 128 apart share a bit.
    std::uint64_t writtenBands = allBands;
};
