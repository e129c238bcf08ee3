// Tests of building fonts, measuring text and drawing text, with small fonts and with the program's fonts.
#include "graphics/font.h"

#include "tests/support/allocation_counter.h"
#include "tests/support/extremes.h"
#include "tests/support/test_font.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <string>
#include <vector>

namespace {

/// Draws the text with full ink on a blank bitmap of the text's size.
Bitmap drawn(const std::string& font, const std::string& text)
{
    Bitmap canvas = filledBitmap(static_cast<std::int32_t>(textWidth(font, text)), fontHeight(font), 0);
    drawText(canvas, 0, 0, font, text, 3, 0, 1, 1);
    return canvas;
}

// ---- buildFont ----

class FontBuilding : public GraphicsTest {
protected:
    static std::vector<int> codesOf(const std::string& font)
    {
        std::vector<int> codes;
        for (const auto& glyph : fontRegistry.at(font).getGlyphs()) {
            codes.push_back(glyph.first);
        }
        return codes;
    }
};

TEST_F(FontBuilding, StoresSpacingsAndScaleUnchanged)
{
    buildFont("f", "nowhere", -3, 77, 5);
    EXPECT_EQ(fontRegistry.at("f").getLetterSpacing(), -3);
    EXPECT_EQ(fontRegistry.at("f").getLineSpacing(), 77);
    EXPECT_EQ(fontRegistry.at("f").getScale(), 5);
    EXPECT_EQ(codesOf("f"), std::vector<int>());
}

TEST_F(FontBuilding, GlyphsKeepOnlyFullInkAndAreEnlargedByTheScale)
{
    storeGlyph("f", 'x', {"#-+.", " #49"});
    buildFont("plain", "f", 1, 2, 1);
    buildFont("double", "f", 1, 2, 2);
    EXPECT_TRUE(shows(fontRegistry.at("plain").getGlyphs().at('x'), {"#   ", " #  "}));
    EXPECT_TRUE(shows(fontRegistry.at("double").getGlyphs().at('x'), {"##      ", "##      ", "  ##    ", "  ##    "}));
    EXPECT_TRUE(shows(imageStore.at("f/78.png"), {"#-+.", " #49"}));
}

TEST_F(FontBuilding, ReadsCodesFromTheTwoCharactersBeforeTheEnding)
{
    struct Case {
        const char* path;
        int code;
    };
    for (const Case& c :
         {Case{"f/7b.png", 0x7b}, Case{"f/7B.png", 0x7b}, Case{"f/00.png", 0}, Case{"f/ff.png", 0xff},
          Case{"f/a0.png", 0xa0}, Case{"f/long name 41.png", 0x41}, Case{"f/41.bmp", 0x41},
          // The ending is any four characters.
          Case{"f/41fpng", 0x41}, Case{"fa.png", 0xfa},
          // Only the first character is a hexadecimal digit.
          Case{"f/7g.png", 0x07}, Case{"f/b..png", 0x0b},
          // The first character is not a hexadecimal digit, or it is 0 and the second is not.
          Case{"f/g7.png", 0}, Case{"f/+7.png", 0}, Case{"f/-1.png", 0}, Case{"f/0x.png", 0}, Case{"f/4.png", 0},
          // The path is shorter than six characters.
          Case{"f/41", 0}, Case{"f", 0}}) {
        imageStore.clear();
        storeImage(c.path, {"#"});
        buildFont("f", "f", 1, 2, 1);
        EXPECT_EQ(codesOf("f"), std::vector<int>{c.code}) << c.path;
    }
}

TEST_F(FontBuilding, ComparesTheDirectoryAsAPlainPrefix)
{
    for (const char* path : {"img/font8/41.png", "img/font80/42.png", "img/font843.png", "img/font/44.png",
                             "other/img/font8/45.png", "img/Font8/46.png", "img/fon"}) {
        storeImage(path, {"#"});
    }
    buildFont("f", "img/font8", 1, 2, 1);
    EXPECT_EQ(codesOf("f"), (std::vector<int>{0x41, 0x42, 0x43}));
    buildFont("all", "", 1, 2, 1);
    EXPECT_EQ(codesOf("all"), (std::vector<int>{0, 0x41, 0x42, 0x43, 0x44, 0x45, 0x46}));
}

TEST_F(FontBuilding, TheLastOfSeveralPathsWithTheSameCodeDefinesTheGlyph)
{
    storeImage("f/b 41.png", {"##"});
    storeImage("f/a 41.png", {"#"});
    buildFont("f", "f", 1, 2, 1);
    EXPECT_TRUE(shows(drawn("f", "A"), Picture{"##"}));
}

TEST_F(FontBuilding, BuildingAgainReplacesTheFont)
{
    storeGlyph("one", 'a', {"#"});
    storeGlyph("two", 'b', {"##"});
    buildFont("f", "one", 1, 2, 1);
    buildFont("f", "two", 3, 4, 2);
    EXPECT_EQ(codesOf("f"), std::vector<int>{'b'});
    EXPECT_EQ(textWidth("f", "bb"), 11U);
    EXPECT_EQ(textWidth("f", "a"), 0U) << "a glyph of the replaced font is still present";
    EXPECT_EQ(fontLineSpacing("f"), 4);
    EXPECT_EQ(fontRegistry.size(), 1U);
}

TEST_F(FontBuilding, PrintsNothingToStandardError)
{
    testing::internal::CaptureStderr();
    buildRealFonts();
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "");
}

TEST_F(FontBuilding, AFontWithoutGlyphsHasWidthAndHeightZeroAndDrawsNothing)
{
    buildFont("empty", "img/font8", 1, 2, 1);
    Bitmap canvas = bitmapOf({"....", "...."});
    drawText(canvas, 0, 0, "empty", "AB\nC", 3, 0, 9, 1);
    EXPECT_TRUE(shows(canvas, {"....", "...."}));
    EXPECT_EQ(textWidth("empty", "AB\nC"), 0U);
    EXPECT_EQ(countLines("empty", "AB", 1), 1);
    EXPECT_EQ(fontHeight("empty"), 0);
    EXPECT_EQ(fontLineSpacing("empty"), 2);
}

TEST_F(FontBuilding, ImagesOfANegativeSizeBecomeEmptyGlyphs)
{
    for (const auto& [width, height] : {std::pair{-3, 8}, std::pair{3, -8}, std::pair{-3, -8}}) {
        SCOPED_TRACE(testing::Message() << width << " by " << height);
        imageStore.insert_or_assign("f/41.png", Bitmap(width, height));
        buildFont("f", "f", 4, 2, 2);
        EXPECT_EQ(fontHeight("f"), 2 * height);
        EXPECT_EQ(textWidth("f", "A"), static_cast<std::uint32_t>(2 * width));
        Bitmap canvas = bitmapOf({"....", "...."});
        drawText(canvas, 0, 0, "f", "AA\nA", 3, 0, 9, 1);
        EXPECT_TRUE(shows(canvas, {"....", "...."}));
    }
}

// ---- the program's fonts ----

class RealFonts : public GraphicsTest {
protected:
    RealFonts() { buildRealFonts(); }
};

TEST_F(RealFonts, EachFontHas97GlyphsOfEightScaledRows)
{
    for (const std::string name : {"font8", "font16", "font64"}) {
        const Font& font = fontRegistry.at(name);
        EXPECT_EQ(font.getGlyphs().size(), 97U) << name;
        for (const auto& [code, glyph] : font.getGlyphs()) {
            EXPECT_EQ(glyph.getHeight(), 8 * font.getScale()) << name << ", code " << int{code};
        }
    }
}

TEST_F(RealFonts, TextWidthIsExact)
{
    struct Case {
        std::string font, text;
        std::uint32_t width;
    };
    for (const Case& c : {Case{"font8", "AB", 11}, Case{"font16", "AB", 22}, Case{"font64", "AB", 88},
                          Case{"font8", "", 0}, Case{"font16", "", 0}, Case{"font64", "", 0}, Case{"font8", "i", 1},
                          Case{"font8", "ii", 3}, Case{"font8", "\n", 5}, Case{"font16", "\n", 10},
                          Case{"font8", "A\nB", 17}, Case{"font8", "\x80", 3}, Case{"font8", "\x7f", 5},
                          Case{"font8", "\xe9", 5}, Case{"font8", std::string(2, '\0'), 11}, Case{"font8", " ", 4}}) {
        EXPECT_EQ(textWidth(c.font, c.text), c.width) << c.font << ": " << c.text;
    }
}

TEST_F(RealFonts, LineHeightAndSpacingAreExact)
{
    struct Case {
        const char* font;
        std::int32_t height, spacing;
    };
    for (const Case& c : {Case{"font8", 8, 2}, Case{"font16", 16, 4}, Case{"font64", 64, 16}, Case{"font12", 0, 0}}) {
        EXPECT_EQ(fontHeight(c.font), c.height) << c.font;
        EXPECT_EQ(fontLineSpacing(c.font), c.spacing) << c.font;
    }
}

TEST_F(RealFonts, LineCountIsExact)
{
    struct Case {
        std::string text;
        std::int32_t maxWidth, lines;
    };
    for (const Case& c : {Case{"AAA", 11, 2}, Case{"AAA", 16, 2}, Case{"AAA", 17, 1}, Case{"A\nB", 100, 2},
                          Case{"", 100, 1}, Case{"", 0, 1}, Case{"AAA", 5, 3}, Case{"AAA", 4, 4}, Case{"AAA", 0, 4},
                          Case{"\n", 100, 2}, Case{"\n\n", 100, 3}, Case{"A\n", 100, 2}}) {
        EXPECT_EQ(countLines("font8", c.text, c.maxWidth), c.lines) << c.text << " at " << c.maxWidth;
    }
}

TEST_F(RealFonts, TheSecondLineIsNineRowsBelowTheFirst)
{
    Bitmap canvas = filledBitmap(20, 40, 0);
    drawText(canvas, 2, 10, "font8", "A\nB", 3, 0, 2, 1);
    Bitmap expected = filledBitmap(20, 40, 0);
    expected.drawMask(2, 10, getImage("img/font8/41.png"), 3);
    expected.drawMask(2, 19, getImage("img/font8/42.png"), 3);
    EXPECT_TRUE(shows(canvas, expected));
}

TEST_F(RealFonts, CodesWithoutAGlyphAreDrawnAsTheGlyphOfCodeZero)
{
    struct Case {
        char character;
        const char* path;
    };
    for (const Case& c :
         {Case{'\x80', "img/font8/80.png"}, Case{'\x7f', "img/font8/00.png"}, Case{'\xe9', "img/font8/00.png"},
          Case{'\0', "img/font8/00.png"}, Case{'\t', "img/font8/00.png"}, Case{'~', "img/font8/7e.png"}}) {
        EXPECT_TRUE(shows(drawn("font8", std::string(1, c.character)), getImage(c.path))) << int{c.character};
    }
}

TEST_F(RealFonts, TextIsClippedAtTheCanvas)
{
    Bitmap canvas = filledBitmap(256, 160, 0);
    drawText(canvas, 250, 3, "font8", "MM", 3, 0, 1, 1);
    Bitmap expected = filledBitmap(256, 160, 0);
    const Bitmap glyph = getImage("img/font8/4d.png");
    ASSERT_EQ(glyph.getWidth(), 7);
    for (std::int32_t y = 0; y < 8; ++y) {
        for (std::int32_t x = 0; x < 6; ++x) {
            expected.fillRect(250 + x, 3 + y, 1, 1, glyph.pixel(x, y));
        }
    }
    EXPECT_TRUE(shows(canvas, expected));
}

TEST_F(RealFonts, AnUnknownFontMeasuresZeroAndDrawsNothing)
{
    testing::internal::CaptureStdout();
    testing::internal::CaptureStderr();
    EXPECT_EQ(textWidth("font12", "AB"), 0U);
    EXPECT_EQ(countLines("font12", "A\nB", 100), 0);
    EXPECT_EQ(countLines("font12", "", 100), 0);
    Bitmap canvas = bitmapOf({"-+-+-+", "+-+-+-"});
    drawText(canvas, 0, 0, "font12", "AB", 3, 0, 1, 1);
    EXPECT_TRUE(shows(canvas, {"-+-+-+", "+-+-+-"}));
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "");
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "");
    EXPECT_EQ(fontRegistry.size(), 3U);
}

// ---- measuring and drawing with the font "tiny" ----

class TinyFont : public GraphicsTest {
protected:
    TinyFont() { buildTinyFont(); }
};

TEST_F(TinyFont, FontHeightIsTheHeightOfTheGlyphWithTheSmallestCode)
{
    EXPECT_EQ(fontHeight("tiny"), 3);
    storeGlyph("uneven", 'b', {"#", "#", "#", "#"});
    storeGlyph("uneven", 'a', {"#", "#"});
    buildFont("uneven", "uneven", 1, 2, 1);
    EXPECT_EQ(fontHeight("uneven"), 2);
}

TEST_F(TinyFont, WidthExcludesTheGapAfterTheLastGlyph)
{
    EXPECT_EQ(textWidth("tiny", "a"), 2U);
    EXPECT_EQ(textWidth("tiny", "ab"), 6U);
    EXPECT_EQ(textWidth("tiny", "abi"), 8U);
    EXPECT_EQ(textWidth("tiny", "a\ni"), 9U) << "a line feed is not as wide as the replacement glyph";
    EXPECT_EQ(textWidth("tiny", std::string(1000, 'b')), 3999U);
}

TEST_F(TinyFont, DrawTextLaysOutGlyphsInLines)
{
    struct Case {
        const char* description;
        std::string text;
        std::int32_t x, y, maxWidth, maxLines, lineGap;
        Picture picture;
    };
    const std::vector<Case> cases = {
        {"glyphs side by side", "abi", 0, 0, 0, 1, 1, {"#..#.#.#", "##..#...", "#..#.#.#"}},
        {"at a position", "i", 2, 1, 0, 1, 1, {".....", "..#..", ".....", "..#.."}},
        {"the replacement glyph", "iz", 0, 0, 0, 1, 1, {"#.####", "..#..#", "#.####"}},
        {"empty text", "", 0, 0, 0, 1, 1, {"...", "..."}},
        {"a line feed", "i\na", 0, 0, 0, 2, 1, {"#..", "...", "#..", "...", "#..", "##.", "#.."}},
        {"two line feeds", "i\n\ni", 0, 0, 0, 9, 0, {"#", ".", "#", ".", ".", ".", "#", ".", "#"}},
        {"the given line gap, not the font's", "i\ni", 0, 0, 0, 2, 3, {"#", ".", "#", ".", ".", ".", "#", ".", "#"}},
        {"a single line ends at a line feed", "i\ni", 0, 0, 0, 1, 1, {"#", ".", "#", ".", ".", ".", "."}},
        {"maxLines 0 draws one line", "i\ni", 0, 0, 0, 0, 1, {"#", ".", "#", ".", ".", ".", "."}},
        {"negative maxLines draws one line", "i\ni", 0, 0, 0, -9, 1, {"#", ".", "#", ".", ".", ".", "."}},
        // The first 'a' covers columns 0 and 1, the second 'a' columns 3 and 4.
        {"text exactly as wide as maxWidth", "aa", 0, 0, 5, 9, 1, {"#..#.", "##.##", "#..#.", ".....", "....."}},
        {"a wrap before the glyph that exceeds maxWidth",
         "aa",
         0,
         0,
         4,
         9,
         1,
         {"#....", "##...", "#....", ".....", "#....", "##...", "#...."}},
        {"a wrap on the last line ends the text", "aai", 0, 0, 4, 1, 1, {"#....", "##...", "#....", ".....", "....."}},
        {"a glyph wider than maxWidth", "ib", 0, 0, 1, 9, 0, {"#...", "....", "#...", "#.#.", ".#..", "#.#."}},
        {"a first glyph wider than maxWidth", "b", 0, 0, 2, 9, 0, {"...", "...", "...", "#.#", ".#.", "#.#"}},
        {"a first glyph too wide for the only line", "b", 0, 0, 2, 1, 0, {"...", "...", "...", "..."}},
        // The line feed is 4 columns wide like the replacement glyph, so after "i" it exceeds a width of 5.
        {"a line feed that exceeds maxWidth breaks the line once",
         "i\ni",
         0,
         0,
         5,
         9,
         0,
         {"#", ".", "#", "#", ".", "#", ".", ".", "."}},
        {"a second line feed after a line feed that exceeds maxWidth",
         "i\n\ni",
         0,
         0,
         5,
         9,
         0,
         {"#", ".", "#", ".", ".", ".", "#", ".", "#", "."}},
        {"maxWidth 0 does not limit the width",
         "aaaa",
         0,
         0,
         0,
         9,
         1,
         {"#..#..#..#.", "##.##.##.##", "#..#..#..#.", "...........", "..........."}},
        {"maxWidth is measured from x", "ii", 2, 0, 1, 9, 0, {"..#.", "....", "..#.", "..#.", "....", "..#."}},
        {"clipped at the top left", "aa", -1, -1, 0, 1, 1, {"#.##", "..#."}},
        {"clipped at the bottom right", "aa", 1, 1, 0, 1, 1, {"....", ".#..", ".##."}},
    };
    for (const Case& c : cases) {
        Bitmap canvas = bitmapOf(Picture(c.picture.size(), std::string(c.picture.front().size(), '.')));
        drawText(canvas, c.x, c.y, "tiny", c.text, 3, c.maxWidth, c.maxLines, c.lineGap);
        EXPECT_TRUE(shows(canvas, c.picture)) << c.description;
    }
}

TEST_F(TinyFont, DrawTextWritesTheColourOnlyWhereGlyphsHaveInk)
{
    for (const Pixel colour : {Pixel{0}, Pixel{1}, Pixel{2}, Pixel{3}, Pixel{255}}) {
        const char c = letterOf(colour);
        Bitmap canvas = bitmapOf({"4444", "4444", "4444"});
        drawText(canvas, 1, 0, "tiny", "a", colour, 0, 1, 1);
        EXPECT_TRUE(shows(canvas, {{'4', c, '4', '4'}, {'4', c, c, '4'}, {'4', c, '4', '4'}}));
    }
}

TEST_F(TinyFont, DrawTextDrawsGlyphsOfAnySizeWithInkAnywhere)
{
    for (const Picture& glyph : {Picture{"#......................................#", std::string(40, '#')},
                                 Picture{"#..............#"}, Picture{"..", "..", "#.", ".#", "..", ".."},
                                 Picture{"##", ".."}, Picture{"..", "##"}, Picture{"...", "..."}}) {
        storeGlyph("f", 'x', glyph);
        buildFont("f", "f", 1, 2, 1);
        Bitmap expected = filledBitmap(44, 8, 4);
        Bitmap canvas = expected;
        expected.drawMask(2, 1, bitmapOf(glyph), 1);
        drawText(canvas, 2, 1, "f", "x", 1, 0, 1, 1);
        EXPECT_TRUE(shows(canvas, expected));
    }
}

TEST_F(TinyFont, DrawTextDrawsNothingAtPositionsNearTheLimitsOfInt32)
{
    Bitmap canvas = bitmapOf({"....", "....", "...."});
    for (const std::int32_t far : {lowest, lowest + 3, highest - 3, highest}) {
        drawText(canvas, far, 0, "tiny", "ab\nab\nab", 3, 0, 9, 1);
        drawText(canvas, 0, far, "tiny", "ab\nab\nab", 3, 0, 9, 1);
        drawText(canvas, far, far, "tiny", "ab\nab\nab", 3, 4, 9, 1);
    }
    EXPECT_TRUE(shows(canvas, {"....", "....", "...."}));
}

TEST_F(TinyFont, GapsAndWidthsNearTheLimitsOfInt32DoNotOverflow)
{
    for (const std::int32_t gap : {lowest, highest}) {
        Bitmap canvas = bitmapOf({"..", "..", ".."});
        drawText(canvas, 0, 0, "tiny", "a\na\na\na", 3, 0, highest, gap);
        EXPECT_TRUE(shows(canvas, {"#.", "##", "#."})) << gap;
    }
    EXPECT_EQ(countLines("tiny", "aaa", highest), 1);
    EXPECT_EQ(countLines("tiny", "aaa", lowest), 4);

    buildFont("wide", "tiny", highest, 2, 1);
    EXPECT_EQ(textWidth("wide", "ab"), 5 + static_cast<std::uint32_t>(highest));
    EXPECT_EQ(countLines("wide", "ab", highest), 2);
    Bitmap canvas = filledBitmap(3, 3, 0);
    drawText(canvas, 0, 0, "wide", "ab", 3, 0, 1, 1);
    EXPECT_TRUE(shows(canvas, {"#..", "##.", "#.."}));
}

TEST_F(TinyFont, MeasuringAndDrawingDoNotAllocate)
{
    Bitmap canvas = filledBitmap(64, 64, 0);
    const std::string font = "tiny";
    const std::string text = "a long text\nwith every case: \xff, wraps and line feeds\n\n";
    const AllocationCounter counter;
    drawText(canvas, 0, -2, font, text, 3, 50, 20, 1);
    (void)textWidth(font, text);
    (void)countLines(font, text, 50);
    (void)fontHeight(font);
    (void)fontLineSpacing(font);
    EXPECT_EQ(counter.count(), 0U);
}

} // namespace
