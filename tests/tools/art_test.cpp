// Tests of the artwork: the number, sizes and shapes of the pictures under img/.
#include "tools/image_folder.h"
#include "tools/png_image.h"

#include <algorithm>
#include <array>
#include <cstdio>
#include <filesystem>
#include <gtest/gtest.h>
#include <map>
#include <string>
#include <string_view>
#include <vector>

namespace {

/// One string per row; '.' is background, '#' is ink, '?' is any other level.
using Rows = std::vector<std::string>;

Rows rowsOf(const LevelImage& image)
{
    Rows rows(image.height);
    for (std::size_t i = 0; i < image.levels.size(); ++i) {
        rows[i / image.width] += image.levels[i] == 0 ? '.' : image.levels[i] == 3 ? '#' : '?';
    }
    return rows;
}

Rows picture(const std::string& name)
{
    return rowsOf(readPngImage(std::filesystem::path(IMG_DIR) / name));
}

Rows blank(std::size_t width, std::size_t height)
{
    return Rows(height, std::string(width, '.'));
}

/// Copies `part` into `picture` at column `x`, row `y`.
void place(Rows& picture, const Rows& part, std::size_t x, std::size_t y)
{
    for (std::size_t i = 0; i < part.size(); ++i) {
        picture.at(y + i).replace(x, part[i].size(), part[i]);
    }
}

Rows inverted(Rows picture)
{
    for (std::string& row : picture) {
        for (char& pixel : row) {
            pixel = pixel == '.' ? '#' : '.';
        }
    }
    return picture;
}

TEST(Art, FolderContains113PicturesWith47656Pixels)
{
    const std::vector<std::string> names = listPictures(IMG_DIR);
    std::size_t pixels = 0;
    for (const std::string& name : names) {
        const Rows rows = picture(name);
        pixels += rows.size() * rows.front().size();
    }
    EXPECT_EQ(names.size(), 113U);
    EXPECT_EQ(pixels, 47656U);
}

TEST(Art, PicturesContainOnlyBackgroundAndFullInk)
{
    for (const std::string& name : listPictures(IMG_DIR)) {
        for (const std::string& row : picture(name)) {
            EXPECT_EQ(row.find('?'), std::string::npos) << name;
        }
    }
}

// Buttons

struct Button {
    std::string name;
    std::size_t width;
    /// Column and row of the icon's top left corner.
    std::size_t x, y;
    Rows icon;
};

const std::vector<Button> buttons = {
    {"button_update",
     256,
     6,
     3,
     {
         "....#####...#",
         "..##.....#..#",
         ".#........#.#",
         ".#.........##",
         "#.......#####",
         "#............",
         "#............",
         "#............",
         "#...........#",
         ".#.........#.",
         ".#.........#.",
         "..##.....##..",
         "....#####....",
     }},
    {"button_factory",
     256,
     5,
     3,
     {
         "...#.........",
         "..#..........",
         ".#...........",
         "##########...",
         ".#........#..",
         "..#........#.",
         "...#........#",
         "............#",
         "............#",
         "...........#.",
         "..........#..",
         "......####...",
     }},
    {"dialog_button_ok",
     52,
     3,
     6,
     {
         "........#",
         ".......#.",
         "......#..",
         ".....#...",
         "#...#....",
         ".#.#.....",
         "..#......",
     }},
    {"dialog_button_cancel",
     52,
     3,
     5,
     {
         "#.......#",
         ".#.....#.",
         "..#...#..",
         "...#.#...",
         "....#....",
         "...#.#...",
         "..#...#..",
         ".#.....#.",
         "#.......#",
     }},
};

TEST(ButtonArt, UnselectedButtonsContainOnlyTheIcon)
{
    for (const Button& button : buttons) {
        Rows expected = blank(button.width, 19);
        place(expected, button.icon, button.x, button.y);
        EXPECT_EQ(picture(button.name + ".png"), expected) << button.name;
    }
}

TEST(ButtonArt, SelectedButtonsAreInverted)
{
    for (const Button& button : buttons) {
        EXPECT_EQ(picture(button.name + "_selected.png"), inverted(picture(button.name + ".png"))) << button.name;
    }
}

// The busy indicator

const Rows outlinedRing = {
    "...###...", "..#...#..", ".#.....#.", "#.......#", "#.......#", "#.......#", ".#.....#.", "..#...#..", "...###...",
};

const Rows filledRing = {
    "...###...", "..#####..", ".#######.", "#########", "#########", "#########", ".#######.", "..#####..", "...###...",
};

struct Corner {
    std::size_t x, y;
};

/// Top left corners of the rings, clockwise from the top.
constexpr std::array<Corner, 8> ringCorners = {
    {{21, 0}, {36, 7}, {42, 21}, {36, 35}, {21, 42}, {7, 35}, {0, 21}, {7, 7}}};

TEST(WheelArt, FrameKContainsEightRingsAndFillsOnlyRingK)
{
    for (std::size_t frame = 0; frame < ringCorners.size(); ++frame) {
        Rows expected = blank(51, 51);
        for (std::size_t ring = 0; ring < ringCorners.size(); ++ring) {
            place(expected, ring == frame ? filledRing : outlinedRing, ringCorners[ring].x, ringCorners[ring].y);
        }
        EXPECT_EQ(picture("wheel_" + std::to_string(frame) + ".png"), expected) << "frame " << frame;
    }
}

// Glyphs

constexpr int baselineRow = 6;
constexpr int boxCode = 0x00;
constexpr int degreeCode = 0x80;

std::string glyphName(int code)
{
    std::array<char, 16> name{};
    std::snprintf(name.data(), name.size(), "font8/%02x.png", static_cast<unsigned int>(code));
    return name.data();
}

Rows glyph(int code)
{
    return picture(glyphName(code));
}

std::vector<int> glyphCodes()
{
    std::vector<int> codes = {boxCode, degreeCode};
    for (int code = 0x20; code <= 0x7e; ++code) {
        codes.push_back(code);
    }
    return codes;
}

std::size_t specifiedWidth(int code)
{
    static const std::map<std::size_t, std::string_view> codesByWidth = {
        {1, "!'.:Ii|"}, {2, ",;`l"}, {3, "\"()/1<>[\\]\x80"}, {4, " -=ft{}"}, {6, "#~"}, {7, "%@MWmw"},
    };
    for (const auto& [width, codes] : codesByWidth) {
        if (code != boxCode && codes.find(static_cast<char>(code)) != std::string_view::npos) {
            return width;
        }
    }
    return 5;
}

bool hasInk(const std::string& row)
{
    return row.find('#') != std::string::npos;
}

/// Returns the index of the first row with ink.
int topOf(const Rows& rows)
{
    return static_cast<int>(std::find_if(rows.begin(), rows.end(), hasInk) - rows.begin());
}

/// Returns the index of the last row with ink.
int bottomOf(const Rows& rows)
{
    return static_cast<int>(rows.rend() - std::find_if(rows.rbegin(), rows.rend(), hasInk)) - 1;
}

bool columnHasInk(const Rows& rows, std::size_t x)
{
    return std::any_of(rows.begin(), rows.end(), [x](const std::string& row) { return row.at(x) == '#'; });
}

TEST(GlyphArt, FontCoversPrintableAsciiAndTwoSpecialCodes)
{
    std::vector<std::string> expected;
    for (const int code : glyphCodes()) {
        expected.push_back(glyphName(code));
    }
    std::sort(expected.begin(), expected.end());
    std::vector<std::string> actual = listPictures(IMG_DIR);
    std::erase_if(actual, [](const std::string& name) { return !name.starts_with("font8/"); });
    EXPECT_EQ(actual, expected);
    EXPECT_EQ(actual.size(), 97U);
}

TEST(GlyphArt, GlyphsHaveEightRowsAndFillTheirWidth)
{
    for (const int code : glyphCodes()) {
        SCOPED_TRACE(glyphName(code));
        const Rows rows = glyph(code);
        ASSERT_EQ(rows.size(), 8U);
        EXPECT_EQ(rows.front().size(), specifiedWidth(code));
        if (code != ' ') {
            EXPECT_TRUE(columnHasInk(rows, 0));
            EXPECT_TRUE(columnHasInk(rows, specifiedWidth(code) - 1));
        }
    }
}

TEST(GlyphArt, SpaceIsEmpty)
{
    EXPECT_EQ(glyph(' '), blank(4, 8));
}

TEST(GlyphArt, CapitalsAndDigitsSpanRows0To6)
{
    for (const char character : std::string("ABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789")) {
        EXPECT_EQ(topOf(glyph(character)), 0) << character;
        EXPECT_EQ(bottomOf(glyph(character)), baselineRow) << character;
    }
}

TEST(GlyphArt, LowerCaseLettersAlignWithXHeightAndBaseline)
{
    for (const char character : std::string("acegmnopqrsuvwxyz")) {
        EXPECT_EQ(topOf(glyph(character)), 2) << character;
    }
    for (const char character : std::string("bdfhkl")) {
        EXPECT_EQ(topOf(glyph(character)), 0) << character;
    }
    const std::string descending = "gjpqy";
    for (char character = 'a'; character <= 'z'; ++character) {
        const bool descends = descending.find(character) != std::string::npos;
        EXPECT_EQ(bottomOf(glyph(character)), descends ? baselineRow + 1 : baselineRow) << character;
    }
}

TEST(GlyphArt, ReplacementGlyphIsAHollowBox)
{
    EXPECT_EQ(glyph(boxCode), (Rows{"#####", "#...#", "#...#", "#...#", "#...#", "#...#", "#####", "....."}));
}

TEST(GlyphArt, DegreeSignIsARingInTheTopRows)
{
    EXPECT_EQ(glyph(degreeCode), (Rows{".#.", "#.#", ".#.", "...", "...", "...", "...", "..."}));
}

TEST(GlyphArt, GlyphsAreUnique)
{
    std::map<Rows, int> known;
    for (const int code : glyphCodes()) {
        const auto [earlier, isNew] = known.try_emplace(glyph(code), code);
        EXPECT_TRUE(isNew) << glyphName(code) << " equals " << glyphName(earlier->second);
    }
}

} // namespace
