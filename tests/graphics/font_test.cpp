// Building, measuring and drawing with fonts: a tiny hand-written one, and the real ones where their measures count.
#include "graphics/font.h"

#include "tests/support/allocation_counter.h"
#include "tests/support/test_font.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <limits>
#include <ostream>
#include <string>
#include <utility>
#include <vector>

using testing::ElementsAre;

namespace {

constexpr std::int32_t lowest = std::numeric_limits<std::int32_t>::min();
constexpr std::int32_t highest = std::numeric_limits<std::int32_t>::max();

std::vector<int> codesOf(const std::string& font)
{
    std::vector<int> codes;
    for (const auto& glyph : fontRegistry.at(font).glyphs) {
        codes.push_back(glyph.first);
    }
    return codes;
}

// ---- buildFont ----

class FontBuilding : public GraphicsTest {};

TEST_F(FontBuilding, StoresTheNumbersAsTheyArePassed)
{
    buildFont("odd", "nowhere", -3, 77, 5);
    const Font& font = fontRegistry.at("odd");
    EXPECT_EQ(font.letterSpacing, -3);
    EXPECT_EQ(font.lineSpacing, 77);
    EXPECT_EQ(font.scale, 5);
    EXPECT_TRUE(font.glyphs.empty());
}

TEST_F(FontBuilding, KeepsOnlyTheFullInkOfAGlyph)
{
    storeGlyph("f", 'x', {"#-+.", " #49"});
    buildFont("plain", "f", 1, 2, 1);
    EXPECT_THAT(fontRegistry.at("plain").glyphs.at('x'), shows({"#   ", " #  "}));
    EXPECT_THAT(imageStore.at("f/78.png"), shows({"#-+.", " #49"}));
}

TEST_F(FontBuilding, EnlargesEveryGlyphByTheScale)
{
    storeGlyph("f", 'x', {"#.", ".#"});
    buildFont("double", "f", 1, 2, 2);
    EXPECT_THAT(fontRegistry.at("double").glyphs.at('x'), shows({"##  ", "##  ", "  ##", "  ##"}));
}

TEST_F(FontBuilding, ReadsTheCodeFromTheTwoCharactersBeforeTheEnding)
{
    struct Case {
        std::string path;
        int code;
    };
    for (const Case& c :
         {Case{"f/7b.png", 0x7b}, Case{"f/7B.png", 0x7b}, Case{"f/00.png", 0}, Case{"f/ff.png", 0xff},
          Case{"f/a0.png", 0xa0}, Case{"f/long name 41.png", 0x41}, Case{"f/41.bmp", 0x41},
          // Only two digits count, and nothing has to stand before them.
          Case{"f/41fpng", 0x41}, Case{"fa.png", 0xfa},
          // Only the first digit counts when the second is none.
          Case{"f/7g.png", 0x07}, Case{"f/b..png", 0x0b},
          // No digit first: code 0.
          Case{"f/g7.png", 0}, Case{"f/+7.png", 0}, Case{"f/-1.png", 0}, Case{"f/0x.png", 0}, Case{"f/4.png", 0},
          // Too short for a code.
          Case{"f/41", 0}, Case{"f", 0}}) {
        SCOPED_TRACE(c.path);
        imageStore.clear();
        storeImage(c.path, {"#"});
        buildFont("f", "f", 1, 2, 1);
        EXPECT_THAT(codesOf("f"), ElementsAre(c.code));
    }
}

TEST_F(FontBuilding, TakesEveryPathThatBeginsWithTheDirectoryAsAPlainPrefix)
{
    for (const char* path : {"img/font8/41.png", "img/font80/42.png", "img/font843.png", "img/font/44.png",
                             "other/img/font8/45.png", "img/Font8/46.png", "img/fon"}) {
        storeImage(path, {"#"});
    }
    buildFont("f", "img/font8", 1, 2, 1);
    EXPECT_THAT(codesOf("f"), ElementsAre(0x41, 0x42, 0x43));
}

TEST_F(FontBuilding, TakesEveryImageForAnEmptyDirectory)
{
    storeImage("a/41.png", {"#"});
    storeImage("b/42.png", {"#"});
    buildFont("f", "", 1, 2, 1);
    EXPECT_THAT(codesOf("f"), ElementsAre(0x41, 0x42));
}

TEST_F(FontBuilding, LetsTheLaterPathWinWhenTwoHaveTheSameCode)
{
    storeImage("f/b 41.png", {"##"});
    storeImage("f/a 41.png", {"#"});
    buildFont("f", "f", 1, 2, 1);
    EXPECT_THAT(fontRegistry.at("f").glyphs.at(0x41), shows({"##"}));
}

TEST_F(FontBuilding, LeavesOnlyTheSecondBuildOfAName)
{
    storeGlyph("one", 'a', {"#"});
    storeGlyph("two", 'b', {"##"});
    buildFont("f", "one", 1, 2, 1);
    buildFont("f", "two", 3, 4, 2);
    EXPECT_THAT(codesOf("f"), ElementsAre('b'));
    EXPECT_EQ(fontRegistry.at("f").letterSpacing, 3);
    EXPECT_EQ(fontRegistry.at("f").lineSpacing, 4);
    EXPECT_EQ(fontRegistry.at("f").scale, 2);
    EXPECT_EQ(fontRegistry.size(), 1U);
}

TEST_F(FontBuilding, PrintsNothing)
{
    testing::internal::CaptureStderr();
    buildRealFonts();
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "");
}

TEST_F(FontBuilding, FromAnEmptyStoreMakesAFontThatDrawsNothingAndMeasuresNothing)
{
    buildFont("empty", "img/font8", 1, 2, 1);
    Bitmap canvas = bitmapOf({"....", "...."});
    drawText(canvas, 0, 0, "empty", "AB\nC", 3, 0, 9, 1);
    EXPECT_THAT(canvas, shows({"....", "...."}));
    EXPECT_EQ(textWidth("empty", "AB\nC"), 0U);
    EXPECT_EQ(countLines("empty", "AB", 1), 1);
    EXPECT_EQ(fontHeight("empty"), 0);
    EXPECT_EQ(fontLineSpacing("empty"), 2);
}

// ---- the real fonts ----

class RealFonts : public GraphicsTest {
protected:
    RealFonts() { buildRealFonts(); }
};

TEST_F(RealFonts, Hold97GlyphsEachOfFullInkAndTransparencyOnly)
{
    for (const std::string name : {"font8", "font16", "font64"}) {
        SCOPED_TRACE(name);
        EXPECT_EQ(codesOf(name).size(), 97U);
        const Font& font = fontRegistry.at(name);
        for (const auto& [code, glyph] : font.glyphs) {
            SCOPED_TRACE(int{code});
            const Bitmap& image = imageStore.at([code = code] {
                std::array<char, 32> path{};
                std::snprintf(path.data(), path.size(), "img/font8/%02x.png", unsigned{code});
                return std::string(path.data());
            }());
            EXPECT_EQ(glyph.getWidth(), image.getWidth() * font.scale);
            EXPECT_EQ(glyph.getHeight(), 8 * font.scale);
            for (const std::string& row : pictureOf(glyph)) {
                EXPECT_EQ(row.find_first_not_of(" #"), std::string::npos);
            }
        }
    }
}

TEST_F(RealFonts, MeasureTheWidthOfText)
{
    struct Case {
        std::string font, text;
        std::uint32_t width;
    };
    for (const Case& c :
         {Case{"font8", "AB", 11}, Case{"font16", "AB", 22}, Case{"font64", "AB", 88}, Case{"font8", "", 0},
          Case{"font16", "", 0}, Case{"font64", "", 0}, Case{"font8", "i", 1}, Case{"font8", "ii", 3},
          Case{"font8", "\n", 5}, Case{"font8", "A\nB", 17}, Case{"font8", "\x80", 3}, Case{"font8", "\x7f", 5},
          Case{"font8", "\xe9", 5}, Case{"font8", std::string(2, '\0'), 11}, Case{"font8", " ", 4}}) {
        SCOPED_TRACE(c.font + ": " + c.text);
        EXPECT_EQ(textWidth(c.font, c.text), c.width);
    }
}

TEST_F(RealFonts, MeasureALineFeedAsTheBox)
{
    EXPECT_EQ(textWidth("font8", "\n"), 5U);
    EXPECT_EQ(textWidth("font16", "\n"), 10U);
}

TEST_F(RealFonts, MeasureTheHeightAndSpacingOfLines)
{
    EXPECT_EQ(fontHeight("font8"), 8);
    EXPECT_EQ(fontHeight("font16"), 16);
    EXPECT_EQ(fontHeight("font64"), 64);
    EXPECT_EQ(fontLineSpacing("font8"), 2);
    EXPECT_EQ(fontLineSpacing("font16"), 4);
    EXPECT_EQ(fontLineSpacing("font64"), 16);
}

TEST_F(RealFonts, CountTheLinesOfText)
{
    struct Case {
        std::string text;
        std::int32_t maxWidth, lines;
    };
    for (const Case& c : {Case{"AAA", 11, 2}, Case{"AAA", 16, 2}, Case{"AAA", 17, 1}, Case{"A\nB", 100, 2},
                          Case{"", 100, 1}, Case{"", 0, 1}, Case{"AAA", 5, 3}, Case{"AAA", 4, 4}, Case{"AAA", 0, 4},
                          Case{"\n", 100, 2}, Case{"\n\n", 100, 3}, Case{"A\n", 100, 2}}) {
        SCOPED_TRACE(testing::Message() << c.text << " at " << c.maxWidth);
        EXPECT_EQ(countLines("font8", c.text, c.maxWidth), c.lines);
    }
}

TEST_F(RealFonts, PutTheTopOfASecondLineNineRowsBelowTheFirst)
{
    Bitmap canvas(20, 40);
    canvas.fill(0);
    drawText(canvas, 2, 10, "font8", "A\nB", 3, 0, 2, 1);
    Bitmap expected(20, 40);
    expected.fill(0);
    expected.drawMask(2, 10, fontRegistry.at("font8").glyphs.at('A'), 3);
    expected.drawMask(2, 19, fontRegistry.at("font8").glyphs.at('B'), 3);
    EXPECT_THAT(canvas, shows(expected));
}

TEST_F(RealFonts, DrawTheSmallRingForCode80AndTheBoxForCodesWithoutGlyph)
{
    struct Case {
        char character;
        const char* path;
    };
    for (const Case& c :
         {Case{'\x80', "img/font8/80.png"}, Case{'\x7f', "img/font8/00.png"}, Case{'\xe9', "img/font8/00.png"},
          Case{'\0', "img/font8/00.png"}, Case{'\t', "img/font8/00.png"}, Case{'~', "img/font8/7e.png"}}) {
        SCOPED_TRACE(int{c.character});
        const Bitmap image = getImage(c.path);
        Bitmap canvas(image.getWidth(), image.getHeight());
        canvas.fill(0);
        drawText(canvas, 0, 0, "font8", std::string(1, c.character), 3, 0, 1, 1);
        EXPECT_THAT(canvas, shows(image));
    }
}

TEST_F(RealFonts, DrawOnlyTheColumnsInsideTheCanvasAtItsRightEdge)
{
    Bitmap canvas(256, 160);
    canvas.fill(0);
    drawText(canvas, 250, 3, "font8", "MM", 3, 0, 1, 1);
    Bitmap expected(256, 160);
    expected.fill(0);
    // 'M' is 7 wide, so its last column is outside, as is the whole second one.
    const Bitmap glyph = getImage("img/font8/4d.png");
    for (std::int32_t y = 0; y < 8; ++y) {
        for (std::int32_t x = 0; x < 6; ++x) {
            expected.fillRect(250 + x, 3 + y, 1, 1, glyph.pixel(x, y));
        }
    }
    EXPECT_THAT(canvas, shows(expected));
}

// ---- unknown fonts ----

class UnknownFont : public GraphicsTest {};

TEST_F(UnknownFont, MeasuresZeroDrawsNothingPrintsNothingAndIsNotCreated)
{
    buildRealFonts();
    testing::internal::CaptureStdout();
    testing::internal::CaptureStderr();
    EXPECT_EQ(textWidth("font12", "AB"), 0U);
    EXPECT_EQ(fontHeight("font12"), 0);
    EXPECT_EQ(fontLineSpacing("font12"), 0);
    EXPECT_EQ(countLines("font12", "A\nB", 100), 0);
    EXPECT_EQ(countLines("font12", "", 100), 0);
    Bitmap canvas = bitmapOf({"-+-+-+", "+-+-+-"});
    drawText(canvas, 0, 0, "font12", "AB", 3, 0, 1, 1);
    EXPECT_THAT(canvas, shows({"-+-+-+", "+-+-+-"}));
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "");
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "");
    EXPECT_EQ(fontRegistry.size(), 3U);
}

// ---- measuring and drawing with the tiny font ----

class TinyFont : public GraphicsTest {
protected:
    TinyFont() { buildTinyFont(); }
};

TEST_F(TinyFont, MeasuresItsFirstGlyphAsItsHeight)
{
    EXPECT_EQ(fontHeight("tiny"), 3);
    storeGlyph("uneven", 'b', {"#", "#", "#", "#"});
    storeGlyph("uneven", 'a', {"#", "#"});
    buildFont("uneven", "uneven", 1, 2, 1);
    EXPECT_EQ(fontHeight("uneven"), 2);
}

TEST_F(TinyFont, MeasuresWithoutTheGapBehindTheLastGlyph)
{
    EXPECT_EQ(textWidth("tiny", "a"), 2U);
    EXPECT_EQ(textWidth("tiny", "ab"), 6U);
    EXPECT_EQ(textWidth("tiny", "abi"), 8U);
    EXPECT_EQ(textWidth("tiny", "a\ni"), 9U) << "a line feed counts as the stand-in";
    EXPECT_EQ(textWidth("tiny", std::string(1000, 'b')), 3999U);
}

/// One call of drawText with the tiny font on an empty canvas of the picture's size.
struct TextCase {
    std::string name;
    std::string text;
    std::int32_t x, y;
    std::int32_t maxWidth, maxLines, lineGap;
    Picture picture;
};

void PrintTo(const TextCase& c, std::ostream* stream)
{
    *stream << c.name;
}

class TextDrawing : public TinyFont, public testing::WithParamInterface<TextCase> {};

TEST_P(TextDrawing, ShowsThePicture)
{
    const TextCase& c = GetParam();
    Bitmap canvas(static_cast<std::int32_t>(c.picture.front().size()), static_cast<std::int32_t>(c.picture.size()));
    canvas.fill(0);
    drawText(canvas, c.x, c.y, "tiny", c.text, 3, c.maxWidth, c.maxLines, c.lineGap);
    EXPECT_THAT(canvas, shows(c.picture));
}

const std::vector<TextCase> textCases = {
    {"SetsGlyphsSideBySideWithTheLetterSpacing", "abi", 0, 0, 0, 1, 1, {"#..#.#.#", "##..#...", "#..#.#.#"}},
    {"BeginsAtThePosition", "i", 2, 1, 0, 1, 1, {".....", "..#..", ".....", "..#.."}},
    {"StandsInForAMissingGlyph", "iz", 0, 0, 0, 1, 1, {"#.####", "..#..#", "#.####"}},
    {"DrawsNothingForEmptyText", "", 0, 0, 0, 1, 1, {"...", "..."}},
    {"BreaksAtALineFeed", "i\na", 0, 0, 0, 2, 1, {"#..", "...", "#..", "...", "#..", "##.", "#.."}},
    {"BreaksAtEveryOfTwoLineFeeds", "i\n\ni", 0, 0, 0, 9, 0, {"#", ".", "#", ".", ".", ".", "#", ".", "#"}},
    {"SeparatesLinesByTheGivenGapAndNotByTheOneOfTheFont",
     "i\ni",
     0,
     0,
     0,
     2,
     3,
     {"#", ".", "#", ".", ".", ".", "#", ".", "#"}},
    {"DrawsOnlyWhatPrecedesTheLineFeedWithOneLine", "i\ni", 0, 0, 0, 1, 1, {"#", ".", "#", ".", ".", ".", "."}},
    {"DrawsTheFirstLineEvenWithZeroLines", "i\ni", 0, 0, 0, 0, 1, {"#", ".", "#", ".", ".", ".", "."}},
    {"DrawsTheFirstLineEvenWithANegativeNumberOfLines", "i\ni", 0, 0, 0, -9, 1, {"#", ".", "#", ".", ".", ".", "."}},
    // 'a' needs columns 0-1, then 3-4: five columns.
    {"FillsAWidthToTheLastColumn", "aa", 0, 0, 5, 9, 1, {"#..#.", "##.##", "#..#.", ".....", "....."}},
    {"WrapsBeforeTheGlyphThatWouldPassTheWidth",
     "aa",
     0,
     0,
     4,
     9,
     1,
     {"#....", "##...", "#....", ".....", "#....", "##...", "#...."}},
    {"DropsTheRestWhenAWrapWouldOpenALineTooMany", "aai", 0, 0, 4, 1, 1, {"#....", "##...", "#....", ".....", "....."}},
    {"DrawsAGlyphWiderThanTheWidthOnALineOfItsOwn",
     "ib",
     0,
     0,
     1,
     9,
     0,
     {"#...", "....", "#...", "#.#.", ".#..", "#.#."}},
    {"WrapsBeforeTheFirstGlyphWhenItIsTooWide", "b", 0, 0, 2, 9, 0, {"...", "...", "...", "#.#", ".#.", "#.#"}},
    {"DrawsNothingOfAFirstGlyphTooWideForTheOnlyLine", "b", 0, 0, 2, 1, 0, {"...", "...", "...", "..."}},
    // The line feed is as wide as the stand-in (4), so behind "i" it passes a width of 5.
    {"UsesUpALineFeedInTheWrapThatItCauses", "i\ni", 0, 0, 5, 9, 0, {"#", ".", "#", "#", ".", "#", ".", ".", "."}},
    {"UsesUpALineFeedInAWrapAndBreaksAtTheNext",
     "i\n\ni",
     0,
     0,
     5,
     9,
     0,
     {"#", ".", "#", ".", ".", ".", "#", ".", "#", "."}},
    {"HasNoWidthLimitAtZero",
     "aaaa",
     0,
     0,
     0,
     9,
     1,
     {"#..#..#..#.", "##.##.##.##", "#..#..#..#.", "...........", "..........."}},
    {"WrapsAtTheWidthCountedFromItsOwnLeftEdge", "ii", 2, 0, 1, 9, 0, {"..#.", "....", "..#.", "..#.", "....", "..#."}},
    {"IsClippedAtTheLeftAndTop", "aa", -1, -1, 0, 1, 1, {"#.##", "..#."}},
    {"IsClippedAtTheRightAndBottom", "aa", 1, 1, 0, 1, 1, {"....", ".#..", ".##."}},
};
std::string nameOf(const testing::TestParamInfo<TextCase>& info)
{
    return info.param.name;
}
INSTANTIATE_TEST_SUITE_P(Text, TextDrawing, testing::ValuesIn(textCases), nameOf);

TEST_F(TinyFont, WritesTheColourWhereThereIsInkAndNothingBehindIt)
{
    for (const Pixel colour : {Pixel{0}, Pixel{1}, Pixel{2}, Pixel{3}, Pixel{255}}) {
        const char c = letterOf(colour);
        Bitmap canvas = bitmapOf({"4444", "4444", "4444"});
        drawText(canvas, 1, 0, "tiny", "a", colour, 0, 1, 1);
        EXPECT_THAT(canvas, shows({{'4', c, '4', '4'}, {'4', c, c, '4'}, {'4', c, '4', '4'}}));
    }
}

using GlyphDrawing = GraphicsTest;

TEST_F(GlyphDrawing, ShowsTheWholeGlyphWhateverItsSizeAndWhereverItsInkIs)
{
    for (const Picture& glyph : {Picture{"#" + std::string(38, '.') + "#", std::string(40, '#')},
                                 Picture{"#..............#"}, Picture{"..", "..", "#.", ".#", "..", ".."},
                                 Picture{"##", ".."}, Picture{"..", "##"}, Picture{"...", "..."}}) {
        imageStore.clear();
        storeGlyph("f", 'x', glyph);
        buildFont("any", "f", 1, 2, 1);
        Bitmap expected = bitmapOf(Picture(8, std::string(44, '4')));
        Bitmap canvas = expected;
        expected.drawMask(2, 1, bitmapOf(glyph), 1);
        drawText(canvas, 2, 1, "any", "x", 1, 0, 1, 1);
        EXPECT_THAT(canvas, shows(expected));
    }
}

TEST_F(TinyFont, DrawsNothingAtExtremePositions)
{
    Bitmap canvas = bitmapOf({"....", "....", "...."});
    for (const std::int32_t far : {lowest, lowest + 3, highest - 3, highest}) {
        drawText(canvas, far, 0, "tiny", "ab\nab\nab", 3, 0, 9, 1);
        drawText(canvas, 0, far, "tiny", "ab\nab\nab", 3, 0, 9, 1);
        drawText(canvas, far, far, "tiny", "ab\nab\nab", 3, 4, 9, 1);
    }
    EXPECT_THAT(canvas, shows({"....", "....", "...."}));
}

TEST_F(TinyFont, DrawsItsFirstLineWhateverTheLineGapAndCountsLinesWithoutOverflow)
{
    for (const std::int32_t gap : {lowest, highest}) {
        Bitmap canvas = bitmapOf({"..", "..", ".."});
        drawText(canvas, 0, 0, "tiny", "a\na\na\na", 3, 0, highest, gap);
        EXPECT_THAT(canvas, shows({"#.", "##", "#."}));
    }
    EXPECT_EQ(countLines("tiny", "aaa", highest), 1);
    EXPECT_EQ(countLines("tiny", "aaa", lowest), 4);
}

TEST_F(TinyFont, MeasuresAndDrawsWithAnySpacingWithoutOverflow)
{
    fontRegistry.at("tiny").letterSpacing = highest;
    EXPECT_EQ(textWidth("tiny", "ab"), 5 + static_cast<std::uint32_t>(highest));
    EXPECT_EQ(countLines("tiny", "ab", highest), 2);
    Bitmap canvas = bitmapOf(Picture(3, "..."));
    drawText(canvas, 0, 0, "tiny", "ab", 3, 0, 1, 1);
    EXPECT_THAT(canvas, shows({"#..", "##.", "#.."}));
}

TEST_F(TinyFont, AllocatesNothingWhileMeasuringAndDrawing)
{
    Bitmap canvas(64, 64);
    canvas.fill(0);
    const std::string font = "tiny";
    const std::string text = "a long enough text\nwith every case: \xff, wraps and line feeds\n\n";
    const AllocationCounter counter;
    drawText(canvas, 0, -2, font, text, 3, 50, 20, 1);
    (void)textWidth(font, text);
    (void)countLines(font, text, 50);
    (void)fontHeight(font);
    (void)fontLineSpacing(font);
    EXPECT_EQ(counter.count(), 0U);
}

} // namespace
