// The pictures under img/ themselves: their number, sizes and shapes.
#include "tools/image_folder.h"
#include "tools/png_image.h"

#include <algorithm>
#include <array>
#include <cstdio>
#include <cstdlib>
#include <gmock/gmock.h>
#include <map>
#include <ostream>
#include <set>
#include <string>
#include <utility>
#include <vector>

namespace {

constexpr std::uint8_t inkLevel = 3;

struct Point {
    int x;
    int y;
    auto operator<=>(const Point&) const = default;
};

void PrintTo(const Point& point, std::ostream* stream)
{
    *stream << '(' << point.x << ", " << point.y << ')';
}

using Points = std::set<Point>;

/// The first and last column and row that hold ink.
struct Bounds {
    int left;
    int right;
    int top;
    int bottom;
    bool operator==(const Bounds&) const = default;
};

void PrintTo(const Bounds& bounds, std::ostream* stream)
{
    *stream << "columns " << bounds.left << " to " << bounds.right << ", rows " << bounds.top << " to "
            << bounds.bottom;
}

LevelImage picture(const std::string& name)
{
    return readPngImage(std::filesystem::path(IMG_DIR) / name);
}

int widthOf(const LevelImage& image)
{
    return static_cast<int>(image.width);
}

int heightOf(const LevelImage& image)
{
    return static_cast<int>(image.height);
}

Points inkOf(const LevelImage& image)
{
    Points ink;
    for (std::size_t i = 0; i < image.levels.size(); ++i) {
        if (image.levels[i] == inkLevel) {
            ink.insert({static_cast<int>(i % image.width), static_cast<int>(i / image.width)});
        }
    }
    return ink;
}

Bounds boundsOf(const Points& ink)
{
    Bounds bounds{1000, -1, 1000, -1};
    for (const Point& point : ink) {
        bounds.left = std::min(bounds.left, point.x);
        bounds.right = std::max(bounds.right, point.x);
        bounds.top = std::min(bounds.top, point.y);
        bounds.bottom = std::max(bounds.bottom, point.y);
    }
    return bounds;
}

TEST(Art, ConsistsOfExactly113Pictures)
{
    EXPECT_EQ(listPictures(IMG_DIR).size(), 113U);
}

TEST(Art, Holds47656Pixels)
{
    std::size_t pixels = 0;
    for (const std::string& name : listPictures(IMG_DIR)) {
        pixels += picture(name).levels.size();
    }
    EXPECT_EQ(pixels, 47656U);
}

TEST(Art, UsesBlackAndWhiteOnly)
{
    for (const std::string& name : listPictures(IMG_DIR)) {
        EXPECT_THAT(picture(name).levels, testing::Each(testing::AnyOf(0, inkLevel))) << name;
    }
}

// Buttons

struct ButtonArt {
    std::string name;
    int width;
    std::size_t inkCount;
    Bounds bounds;
};

void PrintTo(const ButtonArt& button, std::ostream* stream)
{
    *stream << button.name;
}

constexpr int buttonHeight = 19;

const std::array<ButtonArt, 4> buttons = {{
    {"button_update", 256, 40, {6, 18, 3, 15}},
    {"button_factory", 256, 27, {5, 17, 3, 14}},
    {"dialog_button_ok", 52, 9, {3, 11, 6, 12}},
    {"dialog_button_cancel", 52, 17, {3, 11, 5, 13}},
}};

class ButtonArtTest : public testing::TestWithParam<ButtonArt> {
protected:
    const ButtonArt& button = GetParam();
    LevelImage normal = picture(button.name + ".png");
    LevelImage selected = picture(button.name + "_selected.png");
};

TEST_P(ButtonArtTest, HasTheSizeOfItsField)
{
    EXPECT_EQ(widthOf(normal), button.width);
    EXPECT_EQ(heightOf(normal), buttonHeight);
}

TEST_P(ButtonArtTest, HasItsIconInPlace)
{
    EXPECT_EQ(inkOf(normal).size(), button.inkCount);
    EXPECT_EQ(boundsOf(inkOf(normal)), button.bounds);
}

TEST_P(ButtonArtTest, IsInvertedWhenSelected)
{
    ASSERT_EQ(selected.width, normal.width);
    ASSERT_EQ(selected.height, normal.height);
    for (std::size_t i = 0; i < normal.levels.size(); ++i) {
        ASSERT_EQ(selected.levels[i], inkLevel - normal.levels[i]) << "pixel " << i;
    }
}

std::string buttonName(const testing::TestParamInfo<ButtonArt>& info)
{
    return info.param.name;
}

INSTANTIATE_TEST_SUITE_P(Art, ButtonArtTest, testing::ValuesIn(buttons), buttonName);

TEST(ButtonArt, OfTheCancelButtonIsAnX)
{
    Points expected;
    for (int i = 0; i < 9; ++i) {
        expected.insert({3 + i, 5 + i});
        expected.insert({3 + i, 13 - i});
    }
    EXPECT_EQ(inkOf(picture("dialog_button_cancel.png")), expected);
}

TEST(ButtonArt, OfTheOkButtonIsACheckMarkOneInkPixelAColumn)
{
    std::map<int, int> rowOfColumn;
    for (const Point& point : inkOf(picture("dialog_button_ok.png"))) {
        EXPECT_TRUE(rowOfColumn.emplace(point.x, point.y).second) << "column " << point.x;
    }
    ASSERT_EQ(rowOfColumn.size(), 9U);
    const auto lowest = std::max_element(rowOfColumn.begin(), rowOfColumn.end(),
                                         [](const auto& a, const auto& b) { return a.second < b.second; });
    for (const auto& [x, y] : rowOfColumn) {
        EXPECT_EQ(y, lowest->second - std::abs(x - lowest->first)) << "column " << x;
    }
}

// The busy wheel

constexpr int frameCount = 8;
constexpr int frameLength = 51;
constexpr int ringRadius = 4;
constexpr std::size_t outlinePixels = 20;
constexpr std::size_t filledPixels = 57;
/// Clockwise from the top.
constexpr std::array<Point, frameCount> ringCentres = {
    {{25, 4}, {40, 11}, {46, 25}, {40, 39}, {25, 46}, {11, 39}, {4, 25}, {11, 11}}};

LevelImage wheelFrame(int frame)
{
    return picture("wheel_" + std::to_string(frame) + ".png");
}

bool isInRing(const Point& offset)
{
    return std::abs(offset.x) <= ringRadius && std::abs(offset.y) <= ringRadius;
}

/// The ink of the 9 by 9 cell round a centre, relative to that centre.
Points ringAt(const Points& ink, const Point& centre)
{
    Points ring;
    for (const Point& point : ink) {
        const Point offset{point.x - centre.x, point.y - centre.y};
        if (isInRing(offset)) {
            ring.insert(offset);
        }
    }
    return ring;
}

/// What a fill from `from`, step by step up, down, left and right, reaches inside the cell of a ring.
void floodInto(Points& reached, const Points& border, const Point& from)
{
    if (!isInRing(from) || border.contains(from) || !reached.insert(from).second) {
        return;
    }
    floodInto(reached, border, {from.x + 1, from.y});
    floodInto(reached, border, {from.x - 1, from.y});
    floodInto(reached, border, {from.x, from.y + 1});
    floodInto(reached, border, {from.x, from.y - 1});
}

Points filled(const Points& outline)
{
    Points result = outline;
    floodInto(result, outline, {0, 0});
    return result;
}

Points mirrored(const Points& points)
{
    Points result;
    for (const Point& point : points) {
        result.insert({-point.x, point.y});
    }
    return result;
}

Points turned(const Points& points)
{
    Points result;
    for (const Point& point : points) {
        result.insert({-point.y, point.x});
    }
    return result;
}

class WheelArt : public testing::TestWithParam<int> {
protected:
    LevelImage frame = wheelFrame(GetParam());
    Points ink = inkOf(frame);
    /// Taken from the ring opposite of the filled one.
    Points outline = ringAt(ink, ringCentres[static_cast<std::size_t>((GetParam() + 4) % frameCount)]);
};

TEST_P(WheelArt, Is51PixelsSquareWith197InkPixels)
{
    EXPECT_EQ(widthOf(frame), frameLength);
    EXPECT_EQ(heightOf(frame), frameLength);
    EXPECT_EQ(ink.size(), filledPixels + (frameCount - 1) * outlinePixels);
}

TEST_P(WheelArt, HasSevenEqualOutlinesAndTheRingOfItsNumberFilled)
{
    for (int ring = 0; ring < frameCount; ++ring) {
        SCOPED_TRACE(ring);
        const Points expected = ring == GetParam() ? filled(outline) : outline;
        EXPECT_EQ(ringAt(ink, ringCentres[static_cast<std::size_t>(ring)]), expected);
    }
}

TEST_P(WheelArt, HasRoundRingsOfNinePixels)
{
    EXPECT_EQ(outline.size(), outlinePixels);
    EXPECT_EQ(filled(outline).size(), filledPixels);
    EXPECT_EQ(boundsOf(outline), (Bounds{-ringRadius, ringRadius, -ringRadius, ringRadius}));
    EXPECT_EQ(mirrored(outline), outline);
    EXPECT_EQ(turned(outline), outline);
}

INSTANTIATE_TEST_SUITE_P(Art, WheelArt, testing::Range(0, frameCount));

TEST(WheelArt, HasTheSameOutlineInAllFrames)
{
    const Points outline = ringAt(inkOf(wheelFrame(4)), ringCentres[0]);
    for (int frame = 1; frame < frameCount; ++frame) {
        EXPECT_EQ(ringAt(inkOf(wheelFrame(frame)), ringCentres[0]), outline) << "frame " << frame;
    }
}

// Glyphs

constexpr int glyphHeight = 8;
constexpr int baselineRow = 6;
constexpr int boxCode = 0x00;
constexpr int ringCode = 0x80;

std::string glyphName(int code)
{
    std::array<char, 16> name{};
    std::snprintf(name.data(), name.size(), "font8/%02x.png", static_cast<unsigned int>(code));
    return name.data();
}

std::vector<int> glyphCodes()
{
    std::vector<int> codes = {boxCode, ringCode};
    for (int code = 0x20; code <= 0x7e; ++code) {
        codes.push_back(code);
    }
    return codes;
}

int glyphWidth(int code)
{
    static const std::vector<std::pair<int, std::string>> charactersOfWidth = {
        {1, "!'.:Ii|"}, {2, ",;`l"}, {3, "\"()/1<>[\\]\x80"}, {4, " -=ft{}"}, {6, "#~"}, {7, "%@MWmw"}};
    for (const auto& [width, characters] : charactersOfWidth) {
        if (code != boxCode && characters.find(static_cast<char>(code)) != std::string::npos) {
            return width;
        }
    }
    return 5;
}

Points glyphInk(int code)
{
    return inkOf(picture(glyphName(code)));
}

Bounds glyphBounds(int code)
{
    return boundsOf(glyphInk(code));
}

TEST(GlyphArt, IsThereForEveryPrintableCharacterAndTheTwoSpecialOnes)
{
    std::set<std::string> expected;
    for (const int code : glyphCodes()) {
        expected.insert(glyphName(code));
    }
    std::set<std::string> actual;
    for (const std::string& name : listPictures(IMG_DIR)) {
        if (name.starts_with("font8/")) {
            actual.insert(name);
        }
    }
    EXPECT_EQ(actual, expected);
    EXPECT_EQ(actual.size(), 97U);
}

TEST(GlyphArt, IsEightRowsHighAndAsWideAsTheFontDemands)
{
    for (const int code : glyphCodes()) {
        const LevelImage glyph = picture(glyphName(code));
        EXPECT_EQ(widthOf(glyph), glyphWidth(code)) << glyphName(code);
        EXPECT_EQ(heightOf(glyph), glyphHeight) << glyphName(code);
    }
}

TEST(GlyphArt, ReachesFromItsFirstToItsLastColumn)
{
    for (const int code : glyphCodes()) {
        if (code != ' ') {
            EXPECT_EQ(glyphBounds(code).left, 0) << glyphName(code);
            EXPECT_EQ(glyphBounds(code).right, glyphWidth(code) - 1) << glyphName(code);
        }
    }
}

TEST(GlyphArt, OfTheSpaceIsEmpty)
{
    EXPECT_EQ(glyphInk(' '), Points{});
}

TEST(GlyphArt, OfCapitalsAndDigitsFillsRows0To6)
{
    for (const char character : std::string("ABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789")) {
        EXPECT_EQ(glyphBounds(character).top, 0) << character;
        EXPECT_EQ(glyphBounds(character).bottom, baselineRow) << character;
    }
}

TEST(GlyphArt, OfSmallLettersStandsOnTheBaselineUnlessItDescendsByOneRow)
{
    const std::string descending = "gjpqy";
    for (char character = 'a'; character <= 'z'; ++character) {
        const bool descends = descending.find(character) != std::string::npos;
        EXPECT_EQ(glyphBounds(character).bottom, descends ? baselineRow + 1 : baselineRow) << character;
    }
}

TEST(GlyphArt, OfSmallLettersWithoutAnAscenderHasOneHeight)
{
    for (const char character : std::string("acegmnopqrsuvwxyz")) {
        EXPECT_EQ(glyphBounds(character).top, 2) << character;
    }
    for (const char character : std::string("bdfhkl")) {
        EXPECT_EQ(glyphBounds(character).top, 0) << character;
    }
}

TEST(GlyphArt, OfAMissingCharacterIsAHollowBox)
{
    Points box;
    for (int x = 0; x < 5; ++x) {
        box.insert({{x, 0}, {x, baselineRow}});
    }
    for (int y = 0; y <= baselineRow; ++y) {
        box.insert({{0, y}, {4, y}});
    }
    EXPECT_EQ(glyphInk(boxCode), box);
}

TEST(GlyphArt, OfTheDegreeIsASmallRingInTheTopRows)
{
    const Points ring = glyphInk(ringCode);
    EXPECT_EQ(boundsOf(ring), (Bounds{0, 2, 0, 2}));
    EXPECT_FALSE(ring.contains({1, 1}));
    for (const Point& side : {Point{1, 0}, Point{0, 1}, Point{2, 1}, Point{1, 2}}) {
        EXPECT_TRUE(ring.contains(side)) << testing::PrintToString(side);
    }
}

TEST(GlyphArt, IsDifferentForEveryCharacter)
{
    std::map<std::pair<std::uint32_t, std::vector<std::uint8_t>>, int> known;
    for (const int code : glyphCodes()) {
        const LevelImage glyph = picture(glyphName(code));
        const auto [earlier, isNew] = known.try_emplace({glyph.width, glyph.levels}, code);
        EXPECT_TRUE(isNew) << glyphName(code) << " looks like " << glyphName(earlier->second);
    }
}

} // namespace
