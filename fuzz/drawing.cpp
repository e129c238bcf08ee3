// The drawing operations at any coordinates, each against a model that asks every pixel by itself.
#include "fuzz/fuzz_target.h"
#include "graphics/bitmap.h"
#include "tests/support/line_model.h"

#include <optional>
#include <string>
#include <vector>

namespace {

constexpr std::size_t mostOperations = 64;

/// Small ones, one with rows of many machine words, and one with more rows than the bitmap has marks for.
struct Shape {
    std::int32_t widest;
    std::int32_t highest;
};
constexpr Shape shapes[] = {{40, 30}, {150, 8}, {8, 200}, {24, 24}};

/// Grey levels, one value that is none, and often the transparent one.
constexpr Pixel pixelKinds[] = {0, 1, 2, 3, 255, 3, 9, 255};

/// Any value, one of those kinds half of the time.
Pixel takePixel(FuzzInput& input)
{
    const auto byte = input.take<std::uint8_t>();
    return byte < 128 ? pixelKinds[byte & 7] : byte;
}

/// Mostly on or near a side of that length.
std::int32_t takeAlong(std::int32_t length, FuzzInput& input)
{
    return input.takeFrom(0, 3) == 0 ? input.takeCoordinate() : input.takeFrom(-8, length + 8);
}

struct Rectangle {
    std::int32_t left;
    std::int32_t top;
    std::int32_t width;
    std::int32_t height;
};

Rectangle takeRectangle(const Bitmap& bitmap, FuzzInput& input)
{
    return {takeAlong(bitmap.getWidth(), input), takeAlong(bitmap.getHeight(), input),
            takeAlong(bitmap.getWidth(), input), takeAlong(bitmap.getHeight(), input)};
}

Shape takeShape(FuzzInput& input)
{
    const Shape& most = shapes[input.take<std::uint8_t>() & 3];
    const std::int32_t width = input.takeFrom(0, most.widest);
    return {width, input.takeFrom(0, most.highest)};
}

Bitmap takeBitmap(FuzzInput& input)
{
    const auto [width, height] = takeShape(input);
    const auto seed = input.take<std::uint8_t>();
    std::vector<std::uint8_t> values(static_cast<std::size_t>(width * height));
    for (std::size_t i = 0; i < values.size(); ++i) {
        values[i] = pixelKinds[(i * (seed | 1U) >> 2 ^ seed) & 7];
    }
    return {width, height, values};
}

/// The bitmap after an operation that writes `written(x, y)` where that gives a value.
template <typename Written>
Bitmap modelled(const Bitmap& before, const Written& written)
{
    std::vector<std::uint8_t> values;
    for (std::int32_t y = 0; y < before.getHeight(); ++y) {
        for (std::int32_t x = 0; x < before.getWidth(); ++x) {
            values.push_back(std::optional<Pixel>(written(x, y)).value_or(before.pixel(x, y)));
        }
    }
    return {before.getWidth(), before.getHeight(), values};
}

void requireSame(const Bitmap& expected, const Bitmap& actual, const char* expectation)
{
    require(expected.getWidth() == actual.getWidth() && expected.getHeight() == actual.getHeight(),
            "drawing keeps the size");
    for (std::int32_t y = 0; y < expected.getHeight(); ++y) {
        for (std::int32_t x = 0; x < expected.getWidth(); ++x) {
            require(expected.pixel(x, y) == actual.pixel(x, y), expectation);
        }
    }
}

/// What `source`, placed at (left, top), has at a pixel of the bitmap below it.
std::optional<Pixel> under(const Bitmap& source, std::int32_t left, std::int32_t top, std::int32_t x, std::int32_t y)
{
    const std::int64_t column = std::int64_t{x} - left;
    const std::int64_t row = std::int64_t{y} - top;
    if (column < 0 || row < 0 || column >= source.getWidth() || row >= source.getHeight()) {
        return std::nullopt;
    }
    return source.pixel(static_cast<std::int32_t>(column), static_cast<std::int32_t>(row));
}

void fillRectangle(Bitmap& bitmap, FuzzInput& input)
{
    const Rectangle area = takeRectangle(bitmap, input);
    const Pixel value = takePixel(input);
    const Bitmap expected = modelled(bitmap, [&](std::int64_t x, std::int64_t y) {
        const bool isInside =
            x >= area.left && x - area.left < area.width && y >= area.top && y - area.top < area.height;
        return isInside ? std::optional(value) : std::nullopt;
    });
    bitmap.fillRect(area.left, area.top, area.width, area.height, value);
    requireSame(expected, bitmap, "a rectangle covers its pixels and no other");
}

void drawLine(Bitmap& bitmap, FuzzInput& input)
{
    const std::int32_t x0 = takeAlong(bitmap.getWidth(), input);
    const std::int32_t y0 = takeAlong(bitmap.getHeight(), input);
    const std::int32_t x1 = takeAlong(bitmap.getWidth(), input);
    const std::int32_t y1 = takeAlong(bitmap.getHeight(), input);
    const Pixel value = takePixel(input);
    const Line line = {{x0, y0}, {x1, y1}};
    const Bitmap expected = modelled(bitmap, [&](std::int32_t x, std::int32_t y) {
        return meets(line, x, y) ? std::optional(value) : std::nullopt;
    });
    bitmap.drawLine(x0, y0, x1, y1, value);
    requireSame(expected, bitmap, "a line has the pixels of its closed form and no other");
}

void drawOutline(Bitmap& bitmap, FuzzInput& input)
{
    const Rectangle area = takeRectangle(bitmap, input);
    const Pixel value = takePixel(input);
    const std::vector<Line> lines = outlineOf(area.left, area.top, area.width, area.height);
    const Bitmap expected = modelled(bitmap, [&](std::int32_t x, std::int32_t y) {
        const bool isMet = std::any_of(lines.begin(), lines.end(), [&](const Line& line) { return meets(line, x, y); });
        return isMet ? std::optional(value) : std::nullopt;
    });
    bitmap.drawRect(area.left, area.top, area.width, area.height, value);
    requireSame(expected, bitmap, "an outline is its four lines");
}

/// `below` with `source` at (left, top), as drawing a bitmap is to leave it.
Bitmap overlaid(const Bitmap& below, const Bitmap& source, std::int32_t left, std::int32_t top, bool invert)
{
    return modelled(below, [&](std::int32_t x, std::int32_t y) {
        std::optional<Pixel> value = under(source, left, top, x, y);
        if (value == transparentPixel) {
            value.reset();
        }
        return value && invert && *value <= 3 ? static_cast<Pixel>(3 - *value) : value;
    });
}

void drawOnto(Bitmap& below, const Bitmap& source, FuzzInput& input)
{
    const std::int32_t left = input.takeCoordinate();
    const std::int32_t top = input.takeCoordinate();
    const bool invert = input.takeFrom(0, 1) != 0;
    const Bitmap expected = overlaid(below, source, left, top, invert);
    below.drawBitmap(left, top, source, invert);
    requireSame(expected, below, "a bitmap covers what is below its opaque pixels");
}

void drawPicture(Bitmap& bitmap, FuzzInput& input)
{
    drawOnto(bitmap, takeBitmap(input), input);
}

/// What was written on the bitmap, and nothing else, arrives where it is drawn.
void drawOnAnother(Bitmap& bitmap, FuzzInput& input)
{
    Bitmap below = takeBitmap(input);
    drawOnto(below, bitmap, input);
}

void fillWhole(Bitmap& bitmap, FuzzInput& input)
{
    const Pixel value = takePixel(input);
    bitmap.fill(value);
    requireSame(modelled(bitmap, [&](std::int32_t, std::int32_t) { return value; }), bitmap, "filling covers all");
}

void resize(Bitmap& bitmap, FuzzInput& input)
{
    const auto [width, height] = takeShape(input);
    bitmap.resize(width, height);
    require(bitmap.getWidth() == width && bitmap.getHeight() == height, "resizing gives the size");
    fillWhole(bitmap, input);
}

void replaceByCopy(Bitmap& bitmap, FuzzInput& input)
{
    Bitmap other = takeBitmap(input);
    drawOnto(other, bitmap, input);
    bitmap = other;
    requireSame(other, bitmap, "a copy is the same");
}

void drawMask(Bitmap& bitmap, FuzzInput& input)
{
    const Bitmap source = takeBitmap(input);
    const std::int32_t left = input.takeCoordinate();
    const std::int32_t top = input.takeCoordinate();
    const Pixel value = takePixel(input);
    const Bitmap expected = modelled(bitmap, [&](std::int32_t x, std::int32_t y) {
        return under(source, left, top, x, y) == inkPixel ? std::optional(value) : std::nullopt;
    });
    bitmap.drawMask(left, top, source, value);
    requireSame(expected, bitmap, "a mask writes its value where it has ink");
}

/// Nothing that the operations left is taken for transparent, nor the other way round.
void requireWholeArrives(const Bitmap& bitmap)
{
    Bitmap below(bitmap.getWidth(), bitmap.getHeight());
    below.fill(1);
    const Bitmap expected = overlaid(below, bitmap, 0, 0, false);
    below.drawBitmap(0, 0, bitmap, false);
    requireSame(expected, below, "all that was drawn on a bitmap arrives where that is drawn");
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t count)
{
    static constexpr auto operations = {fillRectangle, drawLine,      drawOutline, drawPicture,  drawMask,
                                        fillWhole,     drawOnAnother, resize,      replaceByCopy};
    FuzzInput input(bytes, count);
    Bitmap bitmap = takeBitmap(input);
    for (std::size_t i = 0; i < mostOperations && !input.isEmpty(); ++i) {
        operations.begin()[input.take<std::uint8_t>() % operations.size()](bitmap, input);
    }
    requireWholeArrives(bitmap);
    return 0;
}
