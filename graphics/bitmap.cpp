// Storage and drawing operations of the bitmap.
#include "graphics/bitmap.h"

#include <algorithm>
#include <cstddef>
#include <limits>
#include <new>

namespace {

/// Returns the number of pixels to allocate; 0 if the product is negative. Computes in 64 bits, so a huge size cannot
/// wrap around to a small number.
std::size_t pixelCount(std::int64_t width, std::int64_t height)
{
    const std::int64_t count = width * height;
    if (count > std::numeric_limits<std::int32_t>::max()) {
        throw std::bad_array_new_length();
    }
    return static_cast<std::size_t>(std::max<std::int64_t>(count, 0));
}

std::int32_t scaledLength(std::int32_t length, std::int32_t factor)
{
    const std::int64_t result = std::int64_t{length} * factor;
    if (result != static_cast<std::int32_t>(result)) {
        throw std::bad_array_new_length();
    }
    return static_cast<std::int32_t>(result);
}

} // namespace

/// Columns left..right-1 of rows top..bottom-1. An empty area has no rows.
struct Bitmap::Area {
    std::int32_t left = 0;
    std::int32_t top = 0;
    std::int32_t right = 0;
    std::int32_t bottom = 0;
};

Bitmap::Bitmap(std::int32_t w, std::int32_t h) : width(w), height(h), pixels(pixelCount(w, h))
{}

Bitmap::Bitmap(std::int32_t w, std::int32_t h, std::span<const std::uint8_t> source) : Bitmap(w, h)
{
    if (std::int64_t{w} * h < 0) {
        throw std::bad_array_new_length();
    }
    std::copy_n(source.begin(), pixels.size(), pixels.begin());
}

void Bitmap::resize(std::int32_t newWidth, std::int32_t newHeight)
{
    const std::size_t count = pixelCount(newWidth, newHeight);
    pixels.reserve(count); // vector::resize alone may allocate more
    pixels.resize(std::max(count, pixels.size()));
    width = newWidth;
    height = newHeight;
}

bool Bitmap::hasTransparency() const
{
    return !isEmpty() && std::find(row(0), row(height), transparentPixel) != row(height);
}

void Bitmap::fill(Pixel value)
{
    if (!isEmpty()) {
        std::fill(writableRow(0), writableRow(height), value);
    }
}

/// Returns the part of a w by h rectangle at (x, y) that lies within the bitmap.
Bitmap::Area Bitmap::clip(std::int64_t x, std::int64_t y, std::int64_t w, std::int64_t h) const
{
    if (isEmpty()) {
        return {};
    }
    const auto within = [](std::int64_t value, std::int32_t length) {
        return static_cast<std::int32_t>(std::clamp<std::int64_t>(value, 0, length));
    };
    const Area area = {within(x, width), within(y, height), within(x + w, width), within(y + h, height)};
    return area.left < area.right && area.top < area.bottom ? area : Area{};
}

void Bitmap::fillRect(std::int32_t x, std::int32_t y, std::int32_t w, std::int32_t h, Pixel value)
{
    const Area area = clip(x, y, w, h);
    if (area.right - area.left == width) {
        std::fill(writableRow(area.top), writableRow(area.bottom), value); // full rows are contiguous
        return;
    }
    for (std::int32_t line = area.top; line < area.bottom; ++line) {
        std::fill(writableRow(line) + area.left, writableRow(line) + area.right, value);
    }
}

/// Places `source` at (x, y) and sets each pixel that it covers to combine(pixel, source pixel).
template <typename Combine>
void Bitmap::overlay(std::int32_t x, std::int32_t y, const Bitmap& source, Combine combine)
{
    const Area area = clip(x, y, source.width, source.height);
    // Copied to locals, because the compiler must assume that writing a pixel changes the members.
    const std::ptrdiff_t columns = area.right - area.left;
    const std::ptrdiff_t pitch = width;
    const std::ptrdiff_t sourcePitch = source.width;
    Pixel* const target = pixels.data();
    const Pixel* const origin = source.pixels.data();
    std::ptrdiff_t to = area.top * pitch + area.left;
    std::ptrdiff_t from = (std::ptrdiff_t{area.top} - y) * sourcePitch + area.left - x;
    for (std::int32_t line = area.top; line < area.bottom; ++line, to += pitch, from += sourcePitch) {
        for (std::ptrdiff_t i = 0; i < columns; ++i) {
            target[to + i] = combine(target[to + i], origin[from + i]);
        }
    }
}

void Bitmap::drawBitmap(std::int32_t x, std::int32_t y, const Bitmap& source, bool invert)
{
    if (invert) {
        overlay(x, y, source, [](Pixel old, Pixel value) -> Pixel {
            const auto inverted = static_cast<Pixel>(inkPixel - value);
            return value == transparentPixel ? old : value <= inkPixel ? inverted : value;
        });
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
