// Storage and drawing operations of the bitmap.
#include "graphics/bitmap.h"

#include "graphics/wide_vectors.h"

#include <algorithm>
#include <bit>
#include <cstring>
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

/// Where every array begins, so that the rows of the Canvas are read by whole cache lines.
constexpr std::align_val_t cacheLine{64};

/// Pixels of one row on which operators work at once. They fill a vector register of the device.
constexpr std::int32_t registerful = 16;
using Pixels __attribute__((vector_size(registerful))) = Pixel;

Pixels load(const Pixel* from)
{
    Pixels pixels;
    std::memcpy(&pixels, from, sizeof pixels);
    return pixels;
}

void store(const Pixels& pixels, Pixel* to)
{
    std::memcpy(to, &pixels, sizeof pixels);
}

/// Replaces a register full of pixels with choose(pixels, source pixels).
template <typename Choose>
void chooseMany(Pixel* to, const Pixel* from, Choose choose)
{
    store(choose(load(to), load(from)), to);
}

/// Four at a time, as most rows are those of the whole display. The last register full overlaps the one before it, and
/// is chosen before that is stored: a load of what was stored in two pieces would wait for both.
template <typename Choose>
void chooseRow(Pixel* to, const Pixel* from, std::int32_t count, Choose choose)
{
    if (count < registerful) {
        for (std::int32_t i = 0; i < count; ++i) {
            to[i] = choose(to[i], from[i]);
        }
        return;
    }
    const std::int32_t last = count - registerful;
    const Pixels end = choose(load(to + last), load(from + last));
    std::int32_t i = 0;
    for (; i + 4 * registerful <= count; i += 4 * registerful) {
        for (std::int32_t part = i; part < i + 4 * registerful; part += registerful) {
            chooseMany(to + part, from + part, choose);
        }
    }
    for (; i < last; i += registerful) {
        chooseMany(to + i, from + i, choose);
    }
    store(end, to + last);
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
    writtenBands = other.writtenBands;
}

Bitmap& Bitmap::operator=(const Bitmap& other)
{
    if (this != &other) {
        const std::int32_t count = pixelCount(other.width, other.height);
        reserve(count);
        width = other.width;
        height = other.height;
        std::copy_n(other.pixels.get(), count, pixels.get());
        writtenBands = other.writtenBands;
    }
    return *this;
}

void Bitmap::Free::operator()(Pixel* array) const
{
    operator delete[](array, cacheLine);
}

void Bitmap::reserve(std::int32_t count)
{
    if (capacity < count) {
        pixels.reset(new (cacheLine) Pixel[static_cast<std::size_t>(count)]);
        capacity = count;
    }
}

void Bitmap::resize(std::int32_t newWidth, std::int32_t newHeight)
{
    reserve(pixelCount(newWidth, newHeight));
    width = newWidth;
    height = newHeight;
    writtenBands = allBands;
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
        std::fill(row(0), row(height), value);
    }
    writtenBands = value == transparentPixel ? 0 : allBands;
}

void Bitmap::noteWriting(std::int32_t top, std::int32_t bottom)
{
    if (top >= bottom) {
        return;
    }
    const std::int32_t first = top / rowsPerBand;
    const std::int32_t count = (bottom - 1) / rowsPerBand - first + 1;
    const std::uint64_t bands = count < 64 ? (std::uint64_t{1} << count) - 1 : allBands;
    writtenBands |= std::rotl(bands, first % 64);
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
    noteWriting(area.top, area.bottom);
    if (area.right - area.left == width) {
        std::fill(row(area.top), row(area.bottom), value);
        return;
    }
    for (std::int32_t line = area.top; line < area.bottom; ++line) {
        std::fill(row(line) + area.left, row(line) + area.right, value);
    }
}

/// Replaces each pixel that `source`, with its top-left corner at (x, y), covers with choose(pixel, source pixel).
template <typename Choose>
void Bitmap::overlay(std::int32_t x, std::int32_t y, const Bitmap& source, Choose choose)
{
    if (source.isEmpty()) {
        return;
    }
    const Overlap area = overlapAt(x, y, source.width, source.height);
    if (area.left >= area.right || area.top >= area.bottom) {
        return;
    }
    noteWriting(area.top, area.bottom);
    const std::int32_t columns = area.right - area.left;
    const std::uint64_t written = source.writtenBands;
    Pixel* to = row(area.top) + area.left;
    const Pixel* from = source.row(area.top - y) + (area.left - x);
    const std::ptrdiff_t step = width;
    const std::ptrdiff_t sourceStep = source.width;
    for (std::int32_t line = area.top; line < area.bottom; ++line, to += step, from += sourceStep) {
        if (columns == registerful) { // a glyph, mostly
            chooseMany(to, from, choose);
        } else if (isInBand(line - y, written)) {
            chooseRow(to, from, columns, choose);
        }
    }
}

TONECRATE_WIDE_VECTORS void Bitmap::drawBitmap(std::int32_t x, std::int32_t y, const Bitmap& source, bool invert)
{
    if (invert) {
        overlay(x, y, source, []<typename Value>(Value old, Value value) {
            const auto inverted = static_cast<Value>(inkPixel - value);
            return value == transparentPixel ? old : value <= inkPixel ? inverted : value;
        });
    } else {
        overlay(x, y, source, []<typename Value>(Value old, Value value) {
            return value == transparentPixel ? old : value; //
        });
    }
}

TONECRATE_WIDE_VECTORS void Bitmap::drawMask(std::int32_t x, std::int32_t y, const Bitmap& source, Pixel value)
{
    overlay(x, y, source, [value]<typename Value>(Value old, Value mask) {
        return mask == inkPixel ? static_cast<Value>(Value{} + value) : old;
    });
}

Bitmap Bitmap::scaled(std::int32_t factor) const
{
    Bitmap result(scaledLength(width, factor), scaledLength(height, factor));
    if (isEmpty() || factor < 1) {
        return result;
    }
    for (std::int32_t y = 0; y < result.height; ++y) {
        const Pixel* from = row(y / factor);
        Pixel* to = result.row(y);
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
        std::transform(row(0), row(height), result.row(0),
                       [](Pixel value) { return value == inkPixel ? inkPixel : transparentPixel; });
    }
    return result;
}
