// Tests for drawing screens as text.
#include "sim/run/text_picture.h"

#include <algorithm>
#include <gtest/gtest.h>
#include <memory>

namespace {

using sim::Dots;
using sim::HalfBlock;
using sim::Screen;

using Rows = std::vector<std::wstring>;

std::unique_ptr<Screen> filledScreen(std::uint8_t level)
{
    auto screen = std::make_unique<Screen>();
    screen->fill(level);
    return screen;
}

std::uint8_t& pixelOf(Screen& screen, int x, int y)
{
    return screen[static_cast<std::size_t>(y * sim::screenWidth + x)];
}

/// In `rows`, '#' is ink; any other character is not.
Dots dotsFrom(const std::vector<std::string>& rows)
{
    Dots dots = {static_cast<int>(rows.front().size()), static_cast<int>(rows.size()), {}};
    for (const std::string& row : rows) {
        std::transform(row.begin(), row.end(), std::back_inserter(dots.ink), [](char dot) { return dot == '#'; });
    }
    return dots;
}

bool inkAt(const Dots& dots, int x, int y)
{
    return dots.ink[static_cast<std::size_t>(y * dots.width + x)];
}

TEST(TextPicture, GreyLevels2And3AreInk)
{
    const auto screen = filledScreen(0);
    for (int level = 0; level < 4; ++level) {
        pixelOf(*screen, level, 7) = static_cast<std::uint8_t>(level);
    }
    const Dots dots = sim::dotsOf(*screen);
    EXPECT_EQ(dots.width, 256);
    EXPECT_EQ(dots.height, 160);
    EXPECT_FALSE(inkAt(dots, 0, 7));
    EXPECT_FALSE(inkAt(dots, 1, 7));
    EXPECT_TRUE(inkAt(dots, 2, 7));
    EXPECT_TRUE(inkAt(dots, 3, 7));
}

TEST(TextPicture, EncodesEachDotOfABraillePattern)
{
    EXPECT_EQ(brailleRows(dotsFrom({"#.", "..", "..", ".."})), (Rows{L"\u2801"}));
    EXPECT_EQ(brailleRows(dotsFrom({"..", "#.", "..", ".."})), (Rows{L"\u2802"}));
    EXPECT_EQ(brailleRows(dotsFrom({"..", "..", "#.", ".."})), (Rows{L"\u2804"}));
    EXPECT_EQ(brailleRows(dotsFrom({".#", "..", "..", ".."})), (Rows{L"\u2808"}));
    EXPECT_EQ(brailleRows(dotsFrom({"..", ".#", "..", ".."})), (Rows{L"\u2810"}));
    EXPECT_EQ(brailleRows(dotsFrom({"..", "..", ".#", ".."})), (Rows{L"\u2820"}));
    EXPECT_EQ(brailleRows(dotsFrom({"..", "..", "..", "#."})), (Rows{L"\u2840"}));
    EXPECT_EQ(brailleRows(dotsFrom({"..", "..", "..", ".#"})), (Rows{L"\u2880"}));
    EXPECT_EQ(brailleRows(dotsFrom({"##", "##", "##", "##"})), (Rows{L"\u28FF"}));
}

TEST(TextPicture, ShowsACellWithoutInkAsABlank)
{
    EXPECT_EQ(brailleRows(dotsFrom({"..#.", "....", "....", "...."})), (Rows{L" \u2801"}));
}

TEST(TextPicture, ArrangesCellsInRowsAndColumns)
{
    EXPECT_EQ(brailleRows(dotsFrom({"#..#", "....", "....", "....", "....", "#...", "....", "...#"})),
              (Rows{L"\u2801\u2808", L"\u2802\u2880"}));
}

TEST(TextPicture, AScreenHasFortyRowsOf128Characters)
{
    const auto rows = brailleRows(sim::dotsOf(*filledScreen(3)));
    EXPECT_EQ(rows, Rows(40, std::wstring(128, L'\u28FF')));
}

TEST(TextPicture, AHalfSizeScreenHasAQuarterOfTheCharacters)
{
    const auto rows = brailleRows(sim::halfSizeDots(*filledScreen(3)));
    EXPECT_EQ(rows, Rows(20, std::wstring(64, L'\u28FF')));
}

TEST(TextPicture, KeepsASingleDarkPixelOnLightAtHalfSize)
{
    const auto screen = filledScreen(0);
    pixelOf(*screen, 101, 51) = 3;
    const Dots dots = sim::halfSizeDots(*screen);
    EXPECT_TRUE(inkAt(dots, 50, 25));
    EXPECT_EQ(std::count(dots.ink.begin(), dots.ink.end(), true), 1);
}

TEST(TextPicture, KeepsASingleLightPixelOnDarkAtHalfSize)
{
    const auto screen = filledScreen(3);
    pixelOf(*screen, 101, 51) = 0;
    const Dots dots = sim::halfSizeDots(*screen);
    EXPECT_FALSE(inkAt(dots, 50, 25));
    EXPECT_EQ(std::count(dots.ink.begin(), dots.ink.end(), false), 1);
}

TEST(TextPicture, ReturnsTheTwoPixelsOfAHalfBlock)
{
    const auto screen = filledScreen(0);
    pixelOf(*screen, 255, 158) = 1;
    pixelOf(*screen, 255, 159) = 3;
    EXPECT_EQ(sim::halfBlockAt(*screen, 255, 79), (HalfBlock{1, 3}));
    EXPECT_EQ(sim::halfBlockAt(*screen, 254, 79), (HalfBlock{0, 0}));
}

TEST(TextPicture, EncodesCharactersAsUtf8)
{
    EXPECT_EQ(sim::utf8(L"a\u007F\u0080\u07FF\u0800\u28FF\uFFFF"),
              "a\x7F\xC2\x80\xDF\xBF\xE0\xA0\x80\xE2\xA3\xBF\xEF\xBF\xBF");
}

} // namespace
