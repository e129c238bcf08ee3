// Text drawing against plain models, with any text: how it breaks, and every pixel that it writes.
#include "graphics/font.h"

#include "tests/support/arbitrary_bitmap.h"
#include "tests/support/test_font.h"
#include "tests/support/text_model.h"

#include <rapidcheck/gtest.h>

#include <algorithm>
#include <cstdint>
#include <string>

namespace {

/// Any text, with all byte values, but more of the line feeds and of the letters that have glyphs.
rc::Gen<std::string> anyText(int longest)
{
    const auto character = rc::gen::weightedOneOf<char>(
        {{2, rc::gen::just('\n')}, {8, rc::gen::inRange<char>('a', 'i')}, {4, rc::gen::arbitrary<char>()}});
    return rc::gen::mapcat(rc::gen::inRange(0, longest + 1), [character](int length) {
        return rc::gen::container<std::string>(static_cast<std::size_t>(length), character);
    });
}

constexpr std::int32_t glyphHeight = 3;

/// A font "any" of random widths in which every glyph has ink in each of its rows. Now and then even the line feed has
/// a glyph, which must not be drawn.
void buildRandomFont()
{
    std::vector<std::uint8_t> codes = {0x00, 0x80, 0xff};
    for (char letter = 'a'; letter <= 'i'; ++letter) {
        codes.push_back(static_cast<std::uint8_t>(letter));
    }
    if (*rc::gen::inRange(0, 4) == 0) {
        codes.push_back('\n');
    }
    imageStore.clear();
    fontRegistry.clear();
    for (const std::uint8_t code : codes) {
        const auto width = static_cast<std::size_t>(*rc::gen::inRange(1, 8));
        std::string row(width, '.');
        row[static_cast<std::size_t>(*rc::gen::inRange(0, static_cast<int>(width)))] = '#';
        storeGlyph("any", code, Picture(glyphHeight, row));
    }
    buildFont("any", "any", *rc::gen::inRange(0, 4), *rc::gen::inRange(0, 4), 1);
}

/// The number of the last line that shows any ink, counted from 0; -1 when there is none.
std::int32_t lastInkedLine(const Bitmap& canvas, std::int32_t pitch)
{
    for (std::int32_t y = canvas.getHeight() - 1; y >= 0; --y) {
        for (std::int32_t x = 0; x < canvas.getWidth(); ++x) {
            if (canvas.pixel(x, y) == 3) {
                return y / pitch;
            }
        }
    }
    return -1;
}

class FontProperties : public GraphicsTest {};

/// Drawn beginning by beginning, each new glyph must show up on the line that the count names.
TEST_F(FontProperties, CountLinesAndDrawTextBreakAnyTextAlikeForTheSameWidth)
{
    rc::detail::checkGTest([] {
        buildRandomFont();
        // Never 0, which is no limit for the one and a limit for the other.
        const auto width =
            *rc::gen::weightedOneOf<std::int32_t>({{8, rc::gen::inRange(1, 40)}, {1, rc::gen::inRange(-3, 0)}});
        const std::string text = *anyText(40);
        constexpr std::int32_t lineGap = 1;
        constexpr std::int32_t pitch = glyphHeight + lineGap;
        for (std::size_t length = 1; length <= text.size(); ++length) {
            if (text[length - 1] != '\n') {
                Bitmap canvas(60, static_cast<std::int32_t>(length + 2) * pitch);
                canvas.fill(0);
                const std::string beginning = text.substr(0, length);
                drawText(canvas, 0, 0, "any", beginning, 3, width, 1000, lineGap);
                RC_ASSERT(lastInkedLine(canvas, pitch) + 1 == countLines("any", beginning, width));
            }
        }
    });
}

/// Line feeds at the end show nothing by themselves: a glyph behind them does, where the count says so.
TEST_F(FontProperties, CountLinesNamesHowManyLinesDrawTextNeedsForTheWholeText)
{
    rc::detail::checkGTest([] {
        buildRandomFont();
        const auto width = *rc::gen::inRange(1, 40);
        const std::string text = *anyText(30) + 'a';
        const std::int32_t lines = countLines("any", text, width);
        const auto drawn = [&](std::int32_t maxLines) {
            Bitmap canvas(60, 200);
            canvas.fill(0);
            drawText(canvas, 0, 0, "any", text, 3, width, maxLines, 1);
            return pictureOf(canvas);
        };
        RC_ASSERT(drawn(lines) == drawn(1000));
        if (lines > 1) {
            RC_ASSERT(drawn(lines - 1) != drawn(1000));
        }
    });
}

TEST_F(FontProperties, DrawTextWritesThePixelsThatAModelWrites)
{
    rc::detail::checkGTest([] {
        buildRandomFont();
        const auto x = *rc::gen::inRange(-12, 45);
        const auto y = *rc::gen::inRange(-12, 30);
        const auto maxWidth = *rc::gen::inRange(-1, 40);
        const auto maxLines = *rc::gen::inRange(-1, 9);
        const auto lineGap = *rc::gen::inRange(-2, 4);
        const auto colour = *rc::gen::element<Pixel>(0, 1, 2, 3);
        const std::string text = *anyText(30);
        Bitmap expected(40, 25);
        expected.fill(4);
        Bitmap actual = expected;
        drawTextPlainly(expected, x, y, fontRegistry.at("any"), text, colour, maxWidth, maxLines, lineGap);
        drawText(actual, x, y, "any", text, colour, maxWidth, maxLines, lineGap);
        if (pictureOf(expected) != pictureOf(actual)) {
            RC_FAIL(sideBySide(pictureOf(expected), pictureOf(actual)));
        }
    });
}

TEST_F(FontProperties, TextWidthIsTheColumnBehindTheLastGlyphDrawnOnOneLine)
{
    rc::detail::checkGTest([] {
        buildRandomFont();
        // Without line feeds, which draw nothing but count as the stand-in.
        std::string text = *anyText(30) + 'a';
        std::erase(text, '\n');
        std::uint32_t sum = 0;
        for (const char character : text) {
            sum += textWidth("any", std::string(1, character));
        }
        const auto gaps = static_cast<std::uint32_t>(text.size() - 1);
        const auto spacing = static_cast<std::uint32_t>(fontRegistry.at("any").letterSpacing);
        RC_ASSERT(textWidth("any", text) == sum + gaps * spacing);
        const auto width = static_cast<std::int32_t>(textWidth("any", text));
        RC_ASSERT(countLines("any", text, width) == 1);
        RC_ASSERT(countLines("any", text, width - 1) > 1);
    });
}

} // namespace
