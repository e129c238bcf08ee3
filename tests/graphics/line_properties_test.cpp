// Clipped lines and outlines against two models: the plain walk over every step, and the line's closed form in 128 bits
// where a walk would take hours.
#include "graphics/bitmap.h"

#include "tests/support/line_model.h"
#include "tests/support/picture.h"

#include <rapidcheck/gtest.h>

#include <cstdint>
#include <cstdlib>
#include <limits>
#include <vector>

namespace {

constexpr std::int32_t lowest = std::numeric_limits<std::int32_t>::min();
constexpr std::int32_t highest = std::numeric_limits<std::int32_t>::max();

void plot(Bitmap& bitmap, std::int64_t x, std::int64_t y, Pixel value)
{
    if (x >= 0 && y >= 0 && x < bitmap.getWidth() && y < bitmap.getHeight()) {
        bitmap.fillRect(static_cast<std::int32_t>(x), static_cast<std::int32_t>(y), 1, 1, value);
    }
}

/// Bresenham's line step by step, visible or not.
void walkLine(Bitmap& bitmap, const Line& line, Pixel value)
{
    const std::int64_t dx = std::abs(line.to.x - line.from.x);
    const std::int64_t dy = std::abs(line.to.y - line.from.y);
    std::int64_t error = dx - dy;
    for (auto [x, y] = line.from;;) {
        plot(bitmap, x, y, value);
        const std::int64_t doubled = 2 * error;
        if (doubled >= -dy) {
            if (x == line.to.x) {
                return;
            }
            error -= dy;
            x += line.to.x > line.from.x ? 1 : -1;
        }
        if (doubled <= dx) {
            if (y == line.to.y) {
                return;
            }
            error += dx;
            y += line.to.y > line.from.y ? 1 : -1;
        }
    }
}

/// Every pixel of the bitmap asked whether the line meets it.
void solveLine(Bitmap& bitmap, const Line& line, Pixel value)
{
    for (std::int32_t y = 0; y < bitmap.getHeight(); ++y) {
        for (std::int32_t x = 0; x < bitmap.getWidth(); ++x) {
            if (meets(line, x, y)) {
                plot(bitmap, x, y, value);
            }
        }
    }
}

Bitmap blank(std::int32_t width, std::int32_t height)
{
    Bitmap bitmap(width, height);
    bitmap.fill(0);
    return bitmap;
}

void drawLine(Bitmap& bitmap, const Line& line, Pixel value)
{
    bitmap.drawLine(static_cast<std::int32_t>(line.from.x), static_cast<std::int32_t>(line.from.y),
                    static_cast<std::int32_t>(line.to.x), static_cast<std::int32_t>(line.to.y), value);
}

void requireSame(const Bitmap& expected, const Bitmap& actual)
{
    if (pictureOf(expected) != pictureOf(actual)) {
        RC_FAIL(sideBySide(pictureOf(expected), pictureOf(actual)));
    }
}

Bitmap anyBlank()
{
    const auto width = *rc::gen::inRange<std::int32_t>(0, 24);
    return blank(width, *rc::gen::inRange<std::int32_t>(0, 18));
}

/// Near the bitmap, some hundreds of steps away, or as far out as can be.
rc::Gen<std::int32_t> farCoordinate()
{
    const auto near = rc::gen::inRange<std::int32_t>(-4, 28);
    const auto nearEnds = rc::gen::oneOf(rc::gen::inRange<std::int32_t>(lowest, lowest + 40),
                                         rc::gen::inRange<std::int32_t>(highest - 40, highest));
    return rc::gen::weightedOneOf<std::int32_t>({{2, near},
                                                 {1, rc::gen::inRange<std::int32_t>(-900, 900)},
                                                 {2, nearEnds},
                                                 {1, rc::gen::element(lowest, highest)},
                                                 {2, rc::gen::arbitrary<std::int32_t>()},
                                                 {2, rc::gen::inRange<std::int32_t>(lowest, highest)}});
}

Line lineOf(const rc::Gen<std::int32_t>& coordinate)
{
    const std::vector<std::int32_t> ends = *rc::gen::container<std::vector<std::int32_t>>(4, coordinate);
    return {{ends[0], ends[1]}, {ends[2], ends[3]}};
}

RC_GTEST_PROP(LineProperties, EveryPixelIsTheOneOfThePlainWalkWhereverTheLineIsClipped, ())
{
    const Line line = lineOf(rc::gen::inRange<std::int32_t>(-60, 84));
    Bitmap expected = anyBlank();
    Bitmap actual = expected;
    walkLine(expected, line, 3);
    drawLine(actual, line, 3);
    requireSame(expected, actual);
}

RC_GTEST_PROP(LineProperties, TheClosedFormIsThePlainWalk, ())
{
    const Line line = lineOf(rc::gen::inRange<std::int32_t>(-60, 84));
    Bitmap walked = anyBlank();
    Bitmap solved = walked;
    walkLine(walked, line, 3);
    solveLine(solved, line, 3);
    requireSame(walked, solved);
}

RC_GTEST_PROP(LineProperties, EveryPixelIsTheOneOfTheClosedFormHoweverFarTheEndsAre, ())
{
    const Line line = lineOf(farCoordinate());
    Bitmap expected = anyBlank();
    Bitmap actual = expected;
    solveLine(expected, line, 3);
    drawLine(actual, line, 3);
    requireSame(expected, actual);
}

/// Seldom does a random line through billions of pixels meet a small bitmap; these do, near its middle.
RC_GTEST_PROP(LineProperties, EveryPixelOfALongLineThroughTheBitmapIsTheOneOfTheClosedForm, ())
{
    const Point middle = {*rc::gen::inRange(0, 24), *rc::gen::inRange(0, 18)};
    const auto half = rc::gen::inRange<std::int32_t>(lowest + 100, highest - 100);
    const Point to = {*half, *half};
    const Line line = {{2 * middle.x - to.x, 2 * middle.y - to.y}, to};
    Bitmap expected = blank(24, 18);
    Bitmap actual = expected;
    solveLine(expected, line, 3);
    drawLine(actual, line, 3);
    requireSame(expected, actual);
    RC_ASSERT(actual.pixel(static_cast<std::int32_t>(middle.x), static_cast<std::int32_t>(middle.y)) == 3);
}

RC_GTEST_PROP(LineProperties, OutlinesAreTheirFourLinesHoweverLarge, ())
{
    const std::vector<std::int32_t> numbers = *rc::gen::container<std::vector<std::int32_t>>(4, farCoordinate());
    Bitmap expected = anyBlank();
    Bitmap actual = expected;
    for (const Line& line : outlineOf(numbers[0], numbers[1], numbers[2], numbers[3])) {
        solveLine(expected, line, 2);
    }
    actual.drawRect(numbers[0], numbers[1], numbers[2], numbers[3], 2);
    requireSame(expected, actual);
}

TEST(ShortLine, ShowsThePixelsOfThePlainWalkWhereverItsEndsAre)
{
    constexpr std::int32_t width = 3;
    constexpr std::int32_t height = 2;
    constexpr std::int32_t outside = 4;
    std::vector<Point> ends;
    for (std::int32_t y = -outside; y < height + outside; ++y) {
        for (std::int32_t x = -outside; x < width + outside; ++x) {
            ends.push_back({x, y});
        }
    }
    for (const Point& from : ends) {
        for (const Point& to : ends) {
            Bitmap expected = blank(width, height);
            Bitmap actual = expected;
            walkLine(expected, {from, to}, 3);
            drawLine(actual, {from, to}, 3);
            ASSERT_THAT(actual, shows(expected)) << testing::PrintToString(Line{from, to});
        }
    }
}

class ExtremeLine : public testing::TestWithParam<Line> {};

TEST_P(ExtremeLine, ShowsThePixelsOfTheClosedFormInBothDirections)
{
    const Line& line = GetParam();
    for (const Line& directed : {line, Line{line.to, line.from}}) {
        Bitmap expected = blank(64, 40);
        Bitmap actual = expected;
        solveLine(expected, directed, 3);
        drawLine(actual, directed, 3);
        EXPECT_THAT(actual, shows(expected));
    }
}

INSTANTIATE_TEST_SUITE_P(Of, ExtremeLine,
                         testing::Values(Line{{lowest, lowest}, {highest, highest}},
                                         Line{{lowest, highest}, {highest, lowest}}, Line{{lowest, 7}, {highest, 7}},
                                         Line{{7, lowest}, {7, highest}}, Line{{lowest, 0}, {highest, 1}},
                                         Line{{0, lowest}, {1, highest}}, Line{{lowest, -20}, {highest, 60}},
                                         Line{{lowest, lowest + 1}, {highest, highest}},
                                         Line{{lowest + 1, lowest}, {highest, highest}},
                                         Line{{0, 0}, {highest, highest - 1}}, Line{{0, 0}, {highest - 1, highest}},
                                         Line{{63, 39}, {lowest, lowest}}, Line{{5, 5}, {lowest, highest}},
                                         Line{{lowest, lowest}, {lowest, lowest}}, Line{{lowest, -1}, {highest, -1}},
                                         Line{{64, lowest}, {64, highest}}));

} // namespace
