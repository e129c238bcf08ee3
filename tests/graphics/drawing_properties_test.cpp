// Compares random drawing calls, random texts and selected lines with the drawing model, pixel by pixel.
#include "graphics/font.h"
#include "tests/support/drawing_call.h"
#include "tests/support/extremes.h"
#include "tests/support/test_font.h"

#include <rapidcheck/gtest.h>

#include <cstdint>
#include <string>
#include <utility>
#include <vector>

namespace {

model::Raster anyRaster()
{
    model::Raster raster(*rc::gen::inRange(0, 24), *rc::gen::inRange(0, 18));
    for (std::uint8_t& pixel : raster.pixels) {
        pixel = *rc::gen::element<std::uint8_t>(0, 1, 2, 3, 3, 255, 255, 4, 9);
    }
    return raster;
}

/// Returns a coordinate within or near a small bitmap, hundreds of pixels away, near the limits of int32_t, or
/// anywhere.
std::int32_t anyCoordinate()
{
    return *rc::gen::weightedOneOf<std::int32_t>({{12, rc::gen::inRange(-20, 30)},
                                                  {2, rc::gen::inRange(-900, 900)},
                                                  {2, rc::gen::inRange(lowest, highest)},
                                                  {1, rc::gen::inRange(lowest, lowest + 40)},
                                                  {1, rc::gen::inRange(highest - 40, highest)},
                                                  {1, rc::gen::element(lowest, highest)}});
}

DrawingCall anyCall()
{
    DrawingCall call;
    call.operation = static_cast<DrawingCall::Operation>(*rc::gen::inRange(0, DrawingCall::operationCount));
    for (std::int32_t& number : call.numbers) {
        number = anyCoordinate();
    }
    call.value = *rc::gen::element<Pixel>(0, 1, 2, 3, 9, 255);
    call.source = anyRaster();
    return call;
}

void requireSame(const model::Raster& expected, const Bitmap& actual)
{
    if (rasterOf(actual) != expected) {
        RC_FAIL(sideBySide(pictureOf(bitmapOf(expected)), pictureOf(actual)));
    }
}

RC_GTEST_PROP(DrawingProperties, EveryCallWritesTheSamePixelsAsTheModel, ())
{
    model::Raster expected = anyRaster();
    Bitmap actual = bitmapOf(expected);
    const int calls = *rc::gen::inRange(1, 20);
    for (int i = 0; i < calls; ++i) {
        const DrawingCall call = anyCall();
        RC_LOG() << call.operation << ' ' << rc::toString(call.numbers) << '\n';
        call.applyTo(expected);
        call.applyTo(actual);
        requireSame(expected, actual);
    }
}

/// A random line through billions of pixels rarely crosses a small bitmap. The midpoint of each line of this test is in
/// the bitmap.
RC_GTEST_PROP(DrawingProperties, LongLinesThroughTheBitmapMatchTheModel, ())
{
    const std::int32_t middleX = *rc::gen::inRange(0, 24);
    const std::int32_t middleY = *rc::gen::inRange(0, 18);
    const auto far = rc::gen::inRange(lowest + 100, highest - 100);
    const std::int32_t x = *far;
    const std::int32_t y = *far;
    model::Raster expected(24, 18);
    Bitmap actual = bitmapOf(expected);
    const DrawingCall line = {DrawingCall::DrawLine, {2 * middleX - x, 2 * middleY - y, x, y}, 3, {}};
    line.applyTo(expected);
    line.applyTo(actual);
    requireSame(expected, actual);
    RC_ASSERT(actual.pixel(middleX, middleY) == 3);
}

RC_GTEST_PROP(DrawingProperties, CopiesAndDerivedBitmapsMatchTheModel, ())
{
    const model::Raster raster = anyRaster();
    const Bitmap bitmap = bitmapOf(raster);
    const int factor = *rc::gen::inRange(1, 9);
    requireSame(raster.scaled(factor), bitmap.scaled(factor));
    requireSame(raster.inkMask(), bitmap.inkMask());
    RC_ASSERT(bitmap.hasTransparency() == raster.hasTransparency());

    Bitmap copy = bitmap;
    requireSame(raster, copy);
    copy.fill(7);
    requireSame(raster, bitmap);
    Bitmap assigned = bitmapOf(anyRaster());
    assigned = bitmap;
    requireSame(raster, assigned);
}

/// Returns a text of line feeds, letters that have glyphs, and arbitrary bytes.
std::string anyText()
{
    const auto character = rc::gen::weightedOneOf<char>(
        {{2, rc::gen::just('\n')}, {8, rc::gen::inRange<char>('a', 'i')}, {4, rc::gen::arbitrary<char>()}});
    return *rc::gen::container<std::string>(static_cast<std::size_t>(*rc::gen::inRange(0, 41)), character);
}

/// Builds a font named "any" with random glyph widths, letter spacing and scale, and returns its model. Some fonts have
/// no replacement glyph; some have a glyph for the line feed, which must not be drawn.
model::Font buildAnyFont()
{
    std::string codes = "\x80\xff"
                        "abcdefgh";
    if (*rc::gen::inRange(0, 8) != 0) {
        codes += '\0';
    }
    if (*rc::gen::inRange(0, 4) == 0) {
        codes += '\n';
    }
    imageStore.clear();
    fontRegistry.clear();
    model::Font font;
    font.letterSpacing =
        *rc::gen::weightedOneOf<std::int32_t>({{9, rc::gen::inRange(-1, 4)}, {1, rc::gen::element(lowest, highest)}});
    const int scale = *rc::gen::inRange(1, 4);
    for (const char code : codes) {
        model::Raster glyph(*rc::gen::inRange(1, 8), 3);
        for (std::uint8_t& pixel : glyph.pixels) {
            pixel = *rc::gen::element<std::uint8_t>(0, 1, 2, 3, 3, 255);
        }
        storeGlyph("any", static_cast<std::uint8_t>(code), pictureOf(bitmapOf(glyph)));
        font.glyphs[static_cast<std::uint8_t>(code)] = glyph.inkMask().scaled(scale);
    }
    buildFont("any", "any", static_cast<std::int32_t>(font.letterSpacing), 2, scale);
    return font;
}

class TextProperties : public GraphicsTest {};

TEST_F(TextProperties, MeasuresAndPixelsMatchTheModel)
{
    rc::detail::checkGTest([] {
        const model::Font font = buildAnyFont();
        const std::string text = anyText();
        const std::int32_t maxWidth = *rc::gen::inRange(-1, 60);
        RC_ASSERT(textWidth("any", text) == font.textWidth(text));
        RC_ASSERT(countLines("any", text, maxWidth) == font.countLines(text, maxWidth));

        const std::int32_t x = *rc::gen::inRange(-12, 45);
        const std::int32_t y = *rc::gen::inRange(-12, 30);
        const std::int32_t maxLines = *rc::gen::inRange(-1, 9);
        const std::int32_t lineGap = *rc::gen::inRange(-2, 4);
        const auto colour = *rc::gen::element<Pixel>(0, 1, 2, 3);
        model::Raster expected(60, 40, 4);
        Bitmap actual = bitmapOf(expected);
        font.drawText(expected, x, y, text, colour, maxWidth, maxLines, lineGap);
        drawText(actual, x, y, "any", text, colour, maxWidth, maxLines, lineGap);
        requireSame(expected, actual);
    });
}

// Not random: every line whose ends are in a small bitmap or at most 4 pixels outside, and lines that reach the limits
// of int32_t.

void expectSameLine(model::Raster expected, const std::array<std::int32_t, 4>& ends)
{
    Bitmap actual = bitmapOf(expected);
    const DrawingCall line = {DrawingCall::DrawLine, ends, 3, {}};
    line.applyTo(expected);
    line.applyTo(actual);
    ASSERT_TRUE(shows(actual, bitmapOf(expected))) << testing::PrintToString(ends);
}

TEST(DrawLine, LinesInAndAroundASmallBitmapMatchTheModel)
{
    constexpr std::int32_t outside = 4;
    const model::Raster blank(3, 2);
    std::vector<std::pair<std::int32_t, std::int32_t>> points;
    for (std::int32_t y = -outside; y < blank.height + outside; ++y) {
        for (std::int32_t x = -outside; x < blank.width + outside; ++x) {
            points.emplace_back(x, y);
        }
    }
    for (const auto& [x0, y0] : points) {
        for (const auto& [x1, y1] : points) {
            ASSERT_NO_FATAL_FAILURE(expectSameLine(blank, {x0, y0, x1, y1}));
        }
    }
}

TEST(DrawLine, LinesThatReachTheLimitsOfInt32MatchTheModel)
{
    using Ends = std::array<std::int32_t, 4>;
    for (const auto& [x0, y0, x1, y1] :
         {Ends{lowest, lowest, highest, highest}, Ends{lowest, highest, highest, lowest}, Ends{lowest, 7, highest, 7},
          Ends{7, lowest, 7, highest}, Ends{lowest, 0, highest, 1}, Ends{0, lowest, 1, highest},
          Ends{lowest, -20, highest, 60}, Ends{lowest, lowest + 1, highest, highest},
          Ends{lowest + 1, lowest, highest, highest}, Ends{0, 0, highest, highest - 1},
          Ends{0, 0, highest - 1, highest}, Ends{63, 39, lowest, lowest}, Ends{5, 5, lowest, highest},
          Ends{lowest, lowest, lowest, lowest}, Ends{lowest, -1, highest, -1}, Ends{64, lowest, 64, highest}}) {
        const model::Raster blank(64, 40);
        ASSERT_NO_FATAL_FAILURE(expectSameLine(blank, {x0, y0, x1, y1}));
        ASSERT_NO_FATAL_FAILURE(expectSameLine(blank, {x1, y1, x0, y0}));
    }
}

} // namespace
