// Storage and drawing operations of the bitmap.
#include "graphics/bitmap.h"

#include <algorithm>
#include <cstdlib>
#include <limits>
#include <new>

namespace {

/// 64-bit, so that no size can wrap into a small one. Zero or below means: no storage.
std::int32_t pixelCount(std::int64_t width, std::int64_t height)
{
    const std::int64_t count = width * height;
    if (count > std::numeric_limits<std::int32_t>::max()) {
        throw std::bad_array_new_length();
    }
    return static_cast<std::int32_t>(std::max<std::int64_t>(count, 0));
}

std::int32_t scaledLength(std::int32_t length, std::int32_t factor)
{
    const std::int64_t result = std::int64_t{length} * factor;
    if (result != static_cast<std::int32_t>(result)) {
        throw std::bad_array_new_length();
    }
    return static_cast<std::int32_t>(result);
}

Pixel inverted(Pixel value)
{
    return value <= inkPixel ? static_cast<Pixel>(inkPixel - value) : value;
}

} // namespace

/// The part of a rectangle that lies within the bitmap: columns left..right-1, rows top..bottom-1.
struct Bitmap::Overlap {
    std::int32_t left;
    std::int32_t top;
    std::int32_t right;
    std::int32_t bottom;
};

Bitmap::Bitmap(std::int32_t w, std::int32_t h) : width(w), height(h)
{
    reserve(pixelCount(w, h));
}

Bitmap::Bitmap(std::int32_t w, std::int32_t h, std::span<const std::uint8_t> source) : width(w), height(h)
{
    if (std::int64_t{w} * h < 0) {
        throw std::bad_array_new_length();
    }
    reserve(pixelCount(w, h));
    std::copy_n(source.begin(), capacity, pixels.get());
}

Bitmap::Bitmap(const Bitmap& other) : Bitmap(other.width, other.height)
{
    std::copy_n(other.pixels.get(), capacity, pixels.get());
}

Bitmap& Bitmap::operator=(const Bitmap& other)
{
    if (this != &other) {
        const std::int32_t count = pixelCount(other.width, other.height);
        reserve(count);
        width = other.width;
        height = other.height;
        std::copy_n(other.pixels.get(), count, pixels.get());
    }
    return *this;
}

void Bitmap::reserve(std::int32_t count)
{
    if (capacity < count) {
        pixels = std::make_unique_for_overwrite<Pixel[]>(static_cast<std::size_t>(count));
        capacity = count;
    }
}

void Bitmap::resize(std::int32_t newWidth, std::int32_t newHeight)
{
    reserve(pixelCount(newWidth, newHeight));
    width = newWidth;
    height = newHeight;
}

bool Bitmap::hasTransparency() const
{
    if (isEmpty()) {
        return false;
    }
    const Pixel* end = row(height);
    return std::find(row(0), end, transparentPixel) != end;
}

void Bitmap::fill(Pixel value)
{
    if (!isEmpty()) {
        std::fill(writableRow(0), writableRow(height), value);
    }
}

Bitmap::Overlap Bitmap::overlapAt(std::int64_t x, std::int64_t y, std::int64_t w, std::int64_t h) const
{
    if (isEmpty()) {
        return {};
    }
    const auto within = [](std::int64_t value, std::int32_t length) {
        return static_cast<std::int32_t>(std::clamp<std::int64_t>(value, 0, length));
    };
    return {within(x, width), within(y, height), within(x + w, width), within(y + h, height)};
}

void Bitmap::fillRect(std::int32_t x, std::int32_t y, std::int32_t w, std::int32_t h, Pixel value)
{
    if (w < 1 || h < 1) {
        return;
    }
    const Overlap area = overlapAt(x, y, w, h);
    for (std::int32_t line = area.top; line < area.bottom; ++line) {
        std::fill(writableRow(line) + area.left, writableRow(line) + area.right, value);
    }
}

void Bitmap::drawLine(std::int32_t x0, std::int32_t y0, std::int32_t x1, std::int32_t y1, Pixel value)
{
    plotLine(x0, y0, x1, y1, value);
}

/// Bresenham's integer line, all octants, in 64 bits so that no difference of coordinates overflows.
void Bitmap::plotLine(std::int64_t x0, std::int64_t y0, std::int64_t x1, std::int64_t y1, Pixel value)
{
    const std::int64_t dx = std::abs(x1 - x0);
    const std::int64_t dy = std::abs(y1 - y0);
    const int stepX = x1 > x0 ? 1 : -1;
    const int stepY = y1 > y0 ? 1 : -1;
    std::int64_t error = dx - dy;

    for (std::int64_t x = x0, y = y0;;) {
        if (x >= 0 && x < width && y >= 0 && y < height) {
            writableRow(static_cast<std::int32_t>(y))[x] = value;
        }
        const std::int64_t doubled = 2 * error;
        if (doubled >= -dy) {
            if (x == x1) {
                return;
            }
            error -= dy;
            x += stepX;
        }
        if (doubled <= dx) {
            if (y == y1) {
                return;
            }
            error += dx;
            y += stepY;
        }
    }
}

void Bitmap::drawRect(std::int32_t x, std::int32_t y, std::int32_t w, std::int32_t h, Pixel value)
{
    const std::int64_t right = std::int64_t{x} + w - 1;
    const std::int64_t bottom = std::int64_t{y} + h - 1;
    plotLine(x, y, right, y, value);
    plotLine(right, y, right, bottom, value);
    plotLine(right, bottom, x, bottom, value);
    plotLine(x, bottom, x, y, value);
}

/// Replaces each pixel that `source`, with its top-left corner at (x, y), covers with choose(pixel, source pixel). A
/// choice instead of a condition to write: so a register full of pixels is chosen at a time.
template <typename Choose>
void Bitmap::overlay(std::int32_t x, std::int32_t y, const Bitmap& source, Choose choose)
{
    if (source.isEmpty()) {
        return;
    }
    const Overlap area = overlapAt(x, y, source.width, source.height);
    const std::int32_t count = area.right - area.left;
    for (std::int32_t line = area.top; line < area.bottom; ++line) {
        const Pixel* __restrict from = source.row(line - y) + (area.left - x);
        Pixel* __restrict to = writableRow(line) + area.left;
        for (std::int32_t i = 0; i < count; ++i) {
            to[i] = choose(to[i], from[i]);
        }
    }
}

void Bitmap::drawBitmap(std::int32_t x, std::int32_t y, const Bitmap& source, bool invert)
{
    if (invert) {
        overlay(x, y, source, [](Pixel old, Pixel value) { return value == transparentPixel ? old : inverted(value); });
    } else {
        overlay(x, y, source, [](Pixel old, Pixel value) { return value == transparentPixel ? old : value; });
    }
}

void Bitmap::drawMask(std::int32_t x, std::int32_t y, const Bitmap& source, Pixel value)
{
    overlay(x, y, source, [value](Pixel old, Pixel mask) { return mask == inkPixel ? value : old; });
}

Bitmap Bitmap::scaled(std::int32_t factor) const
{
    Bitmap result(scaledLength(width, factor), scaledLength(height, factor));
    if (isEmpty() || factor < 1) {
        return result;
    }
    for (std::int32_t y = 0; y < result.height; ++y) {
        const Pixel* from = row(y / factor);
        Pixel* to = result.writableRow(y);
        for (std::int32_t x = 0; x < result.width; ++x) {
            to[x] = from[x / factor];
        }
    }
    return result;
}

Bitmap Bitmap::inkMask() const
{
    Bitmap result(width, height);
    if (!isEmpty()) {
        std::transform(row(0), row(height), result.writableRow(0),
                       [](Pixel value) { return value == inkPixel ? inkPixel : transparentPixel; });
    }
    return result;
}
