// The drawing operations against plain models that walk pixel by pixel.
#include "graphics/bitmap.h"

#include "tests/support/arbitrary_bitmap.h"
#include "tests/support/picture.h"

#include <rapidcheck/gtest.h>

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <functional>
#include <set>
#include <utility>

namespace {

/// The bitmap that shows, at each of its pixels, what `valueAt(x, y)` says.
Bitmap modelled(std::int32_t width, std::int32_t height,
                const std::function<Pixel(std::int64_t, std::int64_t)>& valueAt)
{
    std::vector<std::uint8_t> values;
    for (std::int32_t y = 0; y < height; ++y) {
        for (std::int32_t x = 0; x < width; ++x) {
            values.push_back(valueAt(x, y));
        }
    }
    return {width, height, values};
}

bool holds(const Bitmap& bitmap, std::int64_t x, std::int64_t y)
{
    return x >= 0 && y >= 0 && x < bitmap.getWidth() && y < bitmap.getHeight();
}

Pixel at(const Bitmap& bitmap, std::int64_t x, std::int64_t y)
{
    return bitmap.pixel(static_cast<std::int32_t>(x), static_cast<std::int32_t>(y));
}

void requireSame(const Bitmap& expected, const Bitmap& actual)
{
    if (pictureOf(expected) != pictureOf(actual)) {
        RC_FAIL(sideBySide(pictureOf(expected), pictureOf(actual)));
    }
}

RC_GTEST_PROP(BitmapProperties, FillsRectanglesLikeAPixelByPixelModel, (const Bitmap& original))
{
    const std::int32_t x = *coordinate();
    const std::int32_t y = *coordinate();
    const std::int32_t w = *coordinate();
    const std::int32_t h = *coordinate();
    Bitmap actual = original;
    actual.fillRect(x, y, w, h, 2);
    requireSame(modelled(original.getWidth(), original.getHeight(),
                         [&](std::int64_t px, std::int64_t py) {
                             const bool inside =
                                 px >= x && px < std::int64_t{x} + w && py >= y && py < std::int64_t{y} + h;
                             return inside ? Pixel{2} : at(original, px, py);
                         }),
                actual);
}

RC_GTEST_PROP(BitmapProperties, DrawsBitmapsLikeAPixelByPixelModel,
              (const Bitmap& original, const Bitmap& source, bool invert))
{
    const std::int32_t x = *coordinate();
    const std::int32_t y = *coordinate();
    Bitmap actual = original;
    actual.drawBitmap(x, y, source, invert);
    requireSame(modelled(original.getWidth(), original.getHeight(),
                         [&](std::int64_t px, std::int64_t py) {
                             const Pixel old = at(original, px, py);
                             if (!holds(source, px - x, py - y)) {
                                 return old;
                             }
                             const Pixel value = at(source, px - x, py - y);
                             if (value == 255) {
                                 return old;
                             }
                             return invert && value <= 3 ? static_cast<Pixel>(3 - value) : value;
                         }),
                actual);
}

RC_GTEST_PROP(BitmapProperties, DrawsMasksLikeAPixelByPixelModel, (const Bitmap& original, const Bitmap& source))
{
    const std::int32_t x = *coordinate();
    const std::int32_t y = *coordinate();
    Bitmap actual = original;
    actual.drawMask(x, y, source, 1);
    requireSame(modelled(original.getWidth(), original.getHeight(),
                         [&](std::int64_t px, std::int64_t py) {
                             const bool ink = holds(source, px - x, py - y) && at(source, px - x, py - y) == 3;
                             return ink ? Pixel{1} : at(original, px, py);
                         }),
                actual);
}

RC_GTEST_PROP(BitmapProperties, ScalesLikeAPixelByPixelModel, (const Bitmap& original))
{
    const auto factor = *rc::gen::inRange<std::int32_t>(1, 9);
    const Bitmap actual = original.scaled(factor);
    RC_ASSERT(actual.getWidth() == original.getWidth() * factor);
    RC_ASSERT(actual.getHeight() == original.getHeight() * factor);
    requireSame(modelled(actual.getWidth(), actual.getHeight(),
                         [&](std::int64_t px, std::int64_t py) { return at(original, px / factor, py / factor); }),
                actual);
}

RC_GTEST_PROP(BitmapProperties, MasksInkLikeAPixelByPixelModel, (const Bitmap& original))
{
    const Bitmap actual = original.inkMask();
    RC_ASSERT(actual.getWidth() == original.getWidth());
    RC_ASSERT(actual.getHeight() == original.getHeight());
    requireSame(
        modelled(original.getWidth(), original.getHeight(),
                 [&](std::int64_t px, std::int64_t py) { return at(original, px, py) == 3 ? Pixel{3} : Pixel{255}; }),
        actual);
}

RC_GTEST_PROP(BitmapProperties, HasTransparencyExactlyWhenAModelFindsSome, (const Bitmap& bitmap))
{
    const Picture picture = pictureOf(bitmap);
    const bool expected =
        std::any_of(picture.begin(), picture.end(), [](const std::string& row) { return row.find(' ') != row.npos; });
    RC_ASSERT(bitmap.hasTransparency() == expected);
}

RC_GTEST_PROP(BitmapProperties, CopiesAndAssignsPixelForPixel, (const Bitmap& source, Bitmap target))
{
    const std::int32_t pixels = source.getWidth() * source.getHeight();
    const std::int32_t before = target.getCapacity();
    requireSame(source, Bitmap(source));
    target = source;
    requireSame(source, target);
    RC_ASSERT(target.getCapacity() == std::max(before, pixels));
}

using Point = std::pair<std::int32_t, std::int32_t>;

std::set<Point> pointsOf(const Bitmap& bitmap)
{
    std::set<Point> points;
    for (std::int32_t y = 0; y < bitmap.getHeight(); ++y) {
        for (std::int32_t x = 0; x < bitmap.getWidth(); ++x) {
            if (bitmap.pixel(x, y) == 3) {
                points.emplace(x, y);
            }
        }
    }
    return points;
}

/// The points of a line on a bitmap large enough for all of it.
std::set<Point> lineOn(std::int32_t size, Point from, Point to)
{
    Bitmap bitmap(size, size);
    bitmap.fill(0);
    bitmap.drawLine(from.first, from.second, to.first, to.second, 3);
    return pointsOf(bitmap);
}

constexpr std::int32_t lineSpace = 40;

rc::Gen<Point> pointInside()
{
    return rc::gen::pair(rc::gen::inRange<std::int32_t>(0, lineSpace), rc::gen::inRange<std::int32_t>(0, lineSpace));
}

RC_GTEST_PROP(BitmapProperties, DrawsLinesFromEndToEndInConnectedStepsAndNotOnePixelMore, ())
{
    const Point from = *pointInside();
    const Point to = *pointInside();
    const std::set<Point> points = lineOn(lineSpace, from, to);
    const std::int32_t dx = std::abs(to.first - from.first);
    const std::int32_t dy = std::abs(to.second - from.second);
    RC_ASSERT(points.contains(from));
    RC_ASSERT(points.contains(to));
    RC_ASSERT(points.size() == static_cast<std::size_t>(std::max(dx, dy)) + 1);

    // One point for every step along the longer axis, each next to the one before.
    const bool alongX = dx >= dy;
    std::map<std::int32_t, std::int32_t> path;
    for (const auto& [x, y] : points) {
        path.emplace(alongX ? x : y, alongX ? y : x);
    }
    RC_ASSERT(path.size() == points.size());
    for (auto point = path.begin(), next = std::next(point); next != path.end(); ++point, ++next) {
        RC_ASSERT(next->first == point->first + 1);
        RC_ASSERT(std::abs(next->second - point->second) <= 1);
    }
}

RC_GTEST_PROP(BitmapProperties, DrawsLinesWithinHalfAPixelOfTheTrueLine, ())
{
    const Point from = *pointInside();
    const Point to = *pointInside();
    const std::int32_t dx = to.first - from.first;
    const std::int32_t dy = to.second - from.second;
    for (const auto& [x, y] : lineOn(lineSpace, from, to)) {
        const std::int32_t cross = dx * (y - from.second) - dy * (x - from.first);
        RC_ASSERT(2 * std::abs(cross) <= std::max(std::abs(dx), std::abs(dy)));
    }
}

/// The line as the written steps give it, without clipping.
std::set<Point> steppedLine(Point from, Point to)
{
    auto [x, y] = from;
    const std::int32_t dx = std::abs(to.first - x);
    const std::int32_t dy = std::abs(to.second - y);
    std::int32_t err = dx - dy;
    std::set<Point> points;
    for (;;) {
        const std::int32_t e2 = 2 * err;
        points.emplace(x, y);
        if (Point(x, y) == to) {
            return points;
        }
        if (e2 >= -dy) {
            err -= dy;
            if (x == to.first) {
                return points;
            }
            x += to.first > from.first ? 1 : -1;
            if (e2 > dx) {
                continue;
            }
        }
        err += dx;
        if (y == to.second) {
            return points;
        }
        y += to.second > from.second ? 1 : -1;
    }
}

RC_GTEST_PROP(BitmapProperties, DrawsLinesStepByStepAsAModelDoes, ())
{
    const Point from = *pointInside();
    const Point to = *pointInside();
    RC_ASSERT(lineOn(lineSpace, from, to) == steppedLine(from, to));
}

RC_GTEST_PROP(BitmapProperties, DrawsMirroredLinesAsMirroredPixels, ())
{
    const Point from = *pointInside();
    const Point to = *pointInside();
    const auto mirrored = [](Point point) { return Point(lineSpace - 1 - point.first, point.second); };
    const auto transposed = [](Point point) { return Point(point.second, point.first); };
    std::set<Point> inMirror;
    std::set<Point> turned;
    for (const Point& point : lineOn(lineSpace, from, to)) {
        inMirror.insert(mirrored(point));
        turned.insert(transposed(point));
    }
    RC_ASSERT(lineOn(lineSpace, mirrored(from), mirrored(to)) == inMirror);
    RC_ASSERT(lineOn(lineSpace, transposed(from), transposed(to)) == turned);
}

RC_GTEST_PROP(BitmapProperties, ClipsLinesPixelByPixel, ())
{
    const Point from = *pointInside();
    const Point to = *pointInside();
    const auto offsetX = *rc::gen::inRange<std::int32_t>(0, lineSpace);
    const auto offsetY = *rc::gen::inRange<std::int32_t>(0, lineSpace);
    const auto width = *rc::gen::inRange<std::int32_t>(0, lineSpace);
    const auto height = *rc::gen::inRange<std::int32_t>(0, lineSpace);

    Bitmap window(width, height);
    window.fill(0);
    window.drawLine(from.first - offsetX, from.second - offsetY, to.first - offsetX, to.second - offsetY, 3);
    std::set<Point> expected;
    for (const auto& [x, y] : lineOn(lineSpace, from, to)) {
        if (holds(window, x - offsetX, y - offsetY)) {
            expected.emplace(x - offsetX, y - offsetY);
        }
    }
    RC_ASSERT(pointsOf(window) == expected);
}

RC_GTEST_PROP(BitmapProperties, DrawsOutlinesAsTheBorderOfTheFilledRectangle, (const Bitmap& original))
{
    const auto x = *rc::gen::inRange<std::int32_t>(-14, 15);
    const auto y = *rc::gen::inRange<std::int32_t>(-14, 15);
    const auto w = *rc::gen::inRange<std::int32_t>(1, 20);
    const auto h = *rc::gen::inRange<std::int32_t>(1, 20);
    Bitmap actual = original;
    actual.drawRect(x, y, w, h, 2);
    requireSame(modelled(original.getWidth(), original.getHeight(),
                         [&](std::int64_t px, std::int64_t py) {
                             const bool inside = px >= x && px < x + w && py >= y && py < y + h;
                             const bool border = px == x || px == x + w - 1 || py == y || py == y + h - 1;
                             return inside && border ? Pixel{2} : at(original, px, py);
                         }),
                actual);
}

} // namespace
