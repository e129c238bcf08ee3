// Storage and drawing of the bitmap, on small written-out pictures.
#include "graphics/bitmap.h"

#include "tests/support/allocation_counter.h"
#include "tests/support/picture.h"

#include <gtest/gtest.h>

#include <array>
#include <cstdint>
#include <functional>
#include <limits>
#include <new>
#include <ostream>
#include <string>
#include <utility>
#include <vector>

namespace {

constexpr std::int32_t lowest = std::numeric_limits<std::int32_t>::min();
constexpr std::int32_t highest = std::numeric_limits<std::int32_t>::max();

Bitmap blank(std::int32_t width, std::int32_t height)
{
    Bitmap bitmap(width, height);
    bitmap.fill(0);
    return bitmap;
}

// ---- storage ----

TEST(Bitmap, IsEmptyWhenDefaultConstructed)
{
    const Bitmap bitmap;
    EXPECT_EQ(bitmap.getWidth(), 0);
    EXPECT_EQ(bitmap.getHeight(), 0);
    EXPECT_EQ(bitmap.getCapacity(), 0);
}

TEST(Bitmap, HasStorageForExactlyItsPixels)
{
    struct Case {
        std::int32_t width, height, capacity;
    };
    for (const Case& c : {Case{1, 1, 1}, Case{256, 160, 40960}, Case{7, 3, 21}, Case{0, 5, 0}, Case{5, 0, 0},
                          Case{0, 0, 0}, Case{-3, 5, 0}, Case{3, -5, 0}, Case{-2, -3, 6}}) {
        SCOPED_TRACE(testing::Message() << c.width << " by " << c.height);
        const Bitmap bitmap(c.width, c.height);
        EXPECT_EQ(bitmap.getWidth(), c.width);
        EXPECT_EQ(bitmap.getHeight(), c.height);
        EXPECT_EQ(bitmap.getCapacity(), c.capacity);
    }
}

void drawEverything(Bitmap& bitmap)
{
    const Bitmap source = bitmapOf({"##", "##"});
    bitmap.fill(3);
    bitmap.fillRect(-1, 0, 5, 5, 3);
    bitmap.drawLine(-1, -1, 4, 4, 3);
    bitmap.drawRect(0, 0, 3, 3, 3);
    bitmap.drawBitmap(0, 0, source, false);
    bitmap.drawMask(0, 0, source, 3);
}

void expectNothingHappensTo(std::int32_t width, std::int32_t height)
{
    SCOPED_TRACE(testing::Message() << width << " by " << height);
    Bitmap bitmap(width, height);
    drawEverything(bitmap);
    EXPECT_FALSE(bitmap.hasTransparency());
    EXPECT_EQ(bitmap.getWidth(), width);
    EXPECT_EQ(bitmap.getHeight(), height);
    EXPECT_EQ(Bitmap(bitmap).getWidth(), width);
    EXPECT_EQ(bitmap.inkMask().getHeight(), height);
}

TEST(Bitmap, WithAWidthOfZeroHasNoStorageAndEveryOperationOnItDoesNothing)
{
    expectNothingHappensTo(0, 5);
    expectNothingHappensTo(5, 0);
    expectNothingHappensTo(0, 0);
    const Bitmap tripled = Bitmap(0, 5).scaled(3);
    EXPECT_EQ(tripled.getWidth(), 0);
    EXPECT_EQ(tripled.getHeight(), 15);
    EXPECT_EQ(tripled.getCapacity(), 0);
}

TEST(Bitmap, WithANegativeWidthOrHeightIgnoresEveryOperation)
{
    expectNothingHappensTo(-2, 3);
    expectNothingHappensTo(2, -3);
    expectNothingHappensTo(-2, -3);
}

TEST(Bitmap, KeepsItsStaleContentsUntouchedWhileItsSizeIsNegativeOrZero)
{
    for (const auto& [width, height] : {std::pair{-4, 2}, std::pair{4, -2}, std::pair{-4, -2}, std::pair{0, 2}}) {
        SCOPED_TRACE(testing::Message() << width << " by " << height);
        Bitmap bitmap = bitmapOf({".-+ ", "4+-."});
        bitmap.resize(width, height);
        drawEverything(bitmap);
        EXPECT_FALSE(bitmap.hasTransparency());
        bitmap.resize(4, 2);
        EXPECT_THAT(bitmap, shows({".-+ ", "4+-."}));
    }
}

TEST(Bitmap, TakesSourceBytesRowByRow)
{
    const std::array<std::uint8_t, 6> bytes = {0, 1, 2, 3, 255, 7};
    const Bitmap bitmap(3, 2, bytes);
    EXPECT_EQ(bitmap.getCapacity(), 6);
    EXPECT_THAT(bitmap, shows({".-+", "# 7"}));
}

TEST(Bitmap, TakesNoSourceBytesForAnEmptySize)
{
    for (const auto& [width, height] : {std::pair{0, 5}, std::pair{5, 0}, std::pair{0, -5}}) {
        const Bitmap bitmap(width, height, {});
        EXPECT_EQ(bitmap.getWidth(), width);
        EXPECT_EQ(bitmap.getHeight(), height);
        EXPECT_EQ(bitmap.getCapacity(), 0);
    }
}

TEST(Bitmap, FailsAsABadArrayLengthWhenBuiltFromBytesWithANegativePixelCount)
{
    EXPECT_THROW(Bitmap(-1, 5, {}), std::bad_array_new_length);
    EXPECT_THROW(Bitmap(5, -1, {}), std::bad_array_new_length);
    EXPECT_THROW(Bitmap(lowest, highest, {}), std::bad_array_new_length);
}

TEST(Bitmap, FailsAsABadArrayLengthWhenTheSizeIsTooLargeInsteadOfWrappingIntoASmallOne)
{
    struct Case {
        std::int32_t width, height;
    };
    // In 32 bits these products are 0, 65536, 1, 0 and negative ones.
    for (const Case& c : {Case{65536, 65536}, Case{65537, 65536}, Case{highest, highest}, Case{lowest, lowest},
                          Case{65536, 32768}, Case{highest, 2}}) {
        SCOPED_TRACE(testing::Message() << c.width << " by " << c.height);
        EXPECT_THROW(Bitmap(c.width, c.height), std::bad_array_new_length);
        EXPECT_THROW(Bitmap(c.width, c.height, {}), std::bad_array_new_length);
        EXPECT_THROW(Bitmap().resize(c.width, c.height), std::bad_array_new_length);
    }
    EXPECT_THROW((void)blank(2, 2).scaled(highest), std::bad_array_new_length);
    EXPECT_THROW((void)blank(2, 2).scaled(lowest), std::bad_array_new_length);
    EXPECT_THROW((void)blank(3, 1).scaled(100000), std::bad_array_new_length);
}

TEST(Bitmap, KeepsItsSizeAndPixelsWhenAResizeFails)
{
    Bitmap bitmap = bitmapOf({".#", "#."});
    EXPECT_THROW(bitmap.resize(highest, highest), std::bad_alloc);
    EXPECT_THAT(bitmap, shows({".#", "#."}));
}

TEST(Bitmap, IsCopiedDeeplyWithAStorageOfExactlyItsPixels)
{
    Bitmap original = bitmapOf({".#-", "+ 4"});
    original.resize(2, 2);
    Bitmap copy = original;
    EXPECT_EQ(original.getCapacity(), 6);
    EXPECT_EQ(copy.getCapacity(), 4);
    EXPECT_THAT(copy, shows({".#", "-+"}));
    copy.fill(3);
    EXPECT_THAT(original, shows({".#", "-+"}));
    original.fill(1);
    EXPECT_THAT(copy, shows({"##", "##"}));
}

TEST(Bitmap, KeepsItsLargerArrayWhenASmallerBitmapIsAssigned)
{
    Bitmap target = blank(16, 16);
    const Bitmap source = bitmapOf({"#.", ".+"});
    const AllocationCounter counter;
    target = source;
    EXPECT_EQ(counter.count(), 0U);
    EXPECT_EQ(target.getCapacity(), 256);
    EXPECT_THAT(target, shows({"#.", ".+"}));
    target.fill(1);
    EXPECT_THAT(source, shows({"#.", ".+"}));
}

TEST(Bitmap, TakesAnArrayOfExactlyTheNeededCountWhenALargerBitmapIsAssigned)
{
    Bitmap target = blank(2, 2);
    const Bitmap source = bitmapOf({"#.-", ".+#"});
    target = source;
    EXPECT_EQ(target.getCapacity(), 6);
    EXPECT_THAT(target, shows({"#.-", ".+#"}));

    Bitmap oversized = blank(10, 10);
    oversized.resize(3, 1);
    target = oversized;
    EXPECT_EQ(target.getCapacity(), 6) << "assigning neither lowers nor inherits the capacity";
    EXPECT_EQ(target.getWidth(), 3);
}

TEST(Bitmap, KeepsItsArrayWhenAnEmptyBitmapIsAssigned)
{
    Bitmap target = blank(4, 4);
    target = Bitmap();
    EXPECT_EQ(target.getWidth(), 0);
    EXPECT_EQ(target.getHeight(), 0);
    EXPECT_EQ(target.getCapacity(), 16);
    target = Bitmap(0, 5);
    EXPECT_EQ(target.getHeight(), 5);
}

TEST(Bitmap, SurvivesBeingAssignedToItself)
{
    Bitmap bitmap = bitmapOf({".#", "+-"});
    const Bitmap& same = bitmap;
    bitmap = same;
    EXPECT_THAT(bitmap, shows({".#", "+-"}));
}

TEST(Bitmap, KeepsItsArrayAndStaleContentsWhenResizedSmaller)
{
    Bitmap bitmap = bitmapOf({".-+#", "#+-.", "    "});
    const AllocationCounter counter;
    bitmap.resize(3, 2);
    EXPECT_EQ(bitmap.getCapacity(), 12);
    EXPECT_EQ(counter.count(), 0U);
    // The array is as it was, only cut into rows of three.
    EXPECT_THAT(bitmap, shows({".-+", "##+"}));
}

TEST(Bitmap, DoesNotReallocateWhenResizedBackToItsOldSize)
{
    Bitmap bitmap = bitmapOf({".-+#", "#+-."});
    const AllocationCounter counter;
    bitmap.resize(1, 1);
    bitmap.resize(4, 2);
    bitmap.resize(2, 4);
    bitmap.resize(0, 0);
    bitmap.resize(-4, 2);
    EXPECT_EQ(bitmap.getWidth(), -4);
    bitmap.resize(4, 2);
    EXPECT_EQ(counter.count(), 0U);
    EXPECT_EQ(bitmap.getCapacity(), 8);
    EXPECT_THAT(bitmap, shows({".-+#", "#+-."}));
}

TEST(Bitmap, TakesAnArrayOfExactlyTheNeededCountWhenResizedLarger)
{
    Bitmap bitmap;
    bitmap.resize(256, 160);
    EXPECT_EQ(bitmap.getCapacity(), 40960);
    bitmap.resize(256, 161);
    EXPECT_EQ(bitmap.getWidth(), 256);
    EXPECT_EQ(bitmap.getHeight(), 161);
    EXPECT_EQ(bitmap.getCapacity(), 41216);
}

TEST(Bitmap, HasTransparencyWhenAnyOfItsPixelsIsTransparent)
{
    EXPECT_TRUE(bitmapOf({" ..", "..."}).hasTransparency());
    EXPECT_TRUE(bitmapOf({"...", ".. "}).hasTransparency());
    EXPECT_FALSE(bitmapOf({".-+", "#49"}).hasTransparency());
    EXPECT_FALSE(Bitmap().hasTransparency());
}

TEST(Bitmap, LooksForTransparencyOnlyAmongThePixelsOfItsSize)
{
    Bitmap bitmap = bitmapOf({"..", "  "});
    bitmap.resize(2, 1);
    EXPECT_FALSE(bitmap.hasTransparency());
}

// ---- fill and fillRect ----

TEST(Bitmap, FillsEveryPixelWithAnyValue)
{
    Bitmap bitmap(3, 2);
    for (const Pixel value : {Pixel{0}, Pixel{1}, Pixel{2}, Pixel{3}, Pixel{9}, Pixel{255}}) {
        bitmap.fill(value);
        EXPECT_THAT(bitmap, shows(Picture(2, std::string(3, letterOf(value)))));
    }
}

struct Drawing {
    std::string name;
    std::function<void(Bitmap&)> draw;
    Picture picture;
};

void PrintTo(const Drawing& drawing, std::ostream* stream)
{
    *stream << drawing.name;
}

class BitmapDrawing : public testing::TestWithParam<Drawing> {};

TEST_P(BitmapDrawing, ShowsThePicture)
{
    const Picture& picture = GetParam().picture;
    Bitmap bitmap = blank(static_cast<std::int32_t>(picture.front().size()), static_cast<std::int32_t>(picture.size()));
    GetParam().draw(bitmap);
    EXPECT_THAT(bitmap, shows(picture));
}

std::string nameOf(const testing::TestParamInfo<Drawing>& info)
{
    return info.param.name;
}

const std::vector<Drawing> rectangles = {
    {"CoversItsColumnsAndRows", [](Bitmap& b) { b.fillRect(1, 1, 3, 2, 3); }, {".....", ".###.", ".###.", "....."}},
    {"IsOnePixelForASizeOfOne", [](Bitmap& b) { b.fillRect(2, 1, 1, 1, 2); }, {"....", "..+.", "...."}},
    {"IsClippedAtTheTopLeft", [](Bitmap& b) { b.fillRect(-2, -1, 4, 2, 3); }, {"##..", "....", "...."}},
    {"IsClippedAtTheBottomRight", [](Bitmap& b) { b.fillRect(3, 1, 9, 9, 3); }, {"....", "...#", "...#"}},
    {"IsNothingForAWidthOrHeightBelowOne",
     [](Bitmap& b) {
         b.fillRect(1, 1, 0, 2, 3);
         b.fillRect(1, 1, 2, 0, 3);
         b.fillRect(2, 2, -2, -2, 3);
         b.fillRect(2, 2, lowest, 1, 3);
     },
     {"....", "....", "...."}},
    {"IsNothingWhenWhollyOutside",
     [](Bitmap& b) {
         b.fillRect(-3, 0, 3, 3, 3);
         b.fillRect(4, 0, 3, 3, 3);
         b.fillRect(0, -3, 3, 3, 3);
         b.fillRect(0, 3, 3, 3, 3);
     },
     {"....", "....", "...."}},
    {"ReachesTheWholeBitmapWithExtremeSizes",
     [](Bitmap& b) { b.fillRect(-5, -5, highest, highest, 3); },
     {"####", "####"}},
    {"DoesNotWrapAroundAtExtremeCoordinates",
     [](Bitmap& b) {
         b.fillRect(highest, highest, highest, highest, 3);
         b.fillRect(lowest, lowest, highest, highest, 3);
         b.fillRect(highest - 1, 0, 10, 1, 3);
         b.fillRect(0, highest - 1, 1, 10, 3);
         b.fillRect(1, lowest, 1, highest, 3);
     },
     {"....", "...."}},
    {"CopiesUnusualValuesAsTheyAre",
     [](Bitmap& b) {
         b.fillRect(0, 0, 1, 1, 255);
         b.fillRect(1, 0, 1, 1, 7);
     },
     {" 7.."}},
};
INSTANTIATE_TEST_SUITE_P(FillRect, BitmapDrawing, testing::ValuesIn(rectangles), nameOf);

// ---- drawLine and drawRect ----

const std::vector<Drawing> lines = {
    {"IsOnePixelWhenItsEndsCoincide", [](Bitmap& b) { b.drawLine(1, 1, 1, 1, 3); }, {"...", ".#.", "..."}},
    {"OfThreeRightAndOneDownStepsInTheMiddle", [](Bitmap& b) { b.drawLine(0, 0, 3, 1, 3); }, {"##..", "..##"}},
    {"IsHorizontalWithBothEnds", [](Bitmap& b) { b.drawLine(1, 1, 3, 1, 3); }, {".....", ".###.", "....."}},
    {"IsHorizontalDrawnBackward", [](Bitmap& b) { b.drawLine(3, 1, 1, 1, 3); }, {".....", ".###.", "....."}},
    {"IsVerticalWithBothEnds", [](Bitmap& b) { b.drawLine(1, 0, 1, 2, 2); }, {".+.", ".+.", ".+."}},
    {"IsVerticalDrawnUpward", [](Bitmap& b) { b.drawLine(1, 2, 1, 0, 2); }, {".+.", ".+.", ".+."}},
    {"IsDiagonal", [](Bitmap& b) { b.drawLine(0, 0, 2, 2, 3); }, {"#..", ".#.", "..#"}},
    {"IsAntidiagonal", [](Bitmap& b) { b.drawLine(2, 0, 0, 2, 3); }, {"..#", ".#.", "#.."}},
    {"IsSteep", [](Bitmap& b) { b.drawLine(0, 0, 1, 3, 3); }, {"#.", "#.", ".#", ".#"}},
    {"IsShallowToTheLeft", [](Bitmap& b) { b.drawLine(3, 0, 0, 1, 3); }, {"..##", "##.."}},
    {"OfFourRightAndTwoDown", [](Bitmap& b) { b.drawLine(0, 0, 4, 2, 3); }, {"#....", ".##..", "...##"}},
    {"IsClippedPixelByPixel", [](Bitmap& b) { b.drawLine(-2, -2, 9, 9, 3); }, {"#..", ".#.", "..#"}},
    {"OutsideLeavesEverything",
     [](Bitmap& b) {
         b.drawLine(-1, 0, -1, 2, 3);
         b.drawLine(3, 0, 3, 2, 3);
         b.drawLine(0, -1, 2, -1, 3);
         b.drawLine(0, 3, 2, 3, 3);
     },
     {"...", "...", "..."}},
    {"AtExtremeCoordinatesEndsAndLeavesEverything",
     [](Bitmap& b) {
         b.drawLine(highest - 3, highest - 1, highest, highest, 3);
         b.drawLine(highest, highest, highest - 2, highest - 3, 3);
         b.drawLine(lowest, lowest, lowest + 3, lowest + 1, 3);
         b.drawLine(lowest + 1, lowest + 3, lowest, lowest, 3);
         b.drawLine(lowest, highest, lowest, highest, 3);
     },
     {"...", "..."}},
};
INSTANTIATE_TEST_SUITE_P(Line, BitmapDrawing, testing::ValuesIn(lines), nameOf);

TEST(Bitmap, DrawsALineFromFiveFiveToFiveFiveAsExactlyOnePixel)
{
    Bitmap bitmap = blank(11, 11);
    Bitmap expected = blank(11, 11);
    bitmap.drawLine(5, 5, 5, 5, 3);
    expected.fillRect(5, 5, 1, 1, 3);
    EXPECT_THAT(bitmap, shows(expected));
}

const std::vector<Drawing> outlines = {
    {"IsOnePixelWide", [](Bitmap& b) { b.drawRect(1, 0, 4, 3, 3); }, {".####", ".#..#", ".####"}},
    {"IsOnePixelForASizeOfOne", [](Bitmap& b) { b.drawRect(1, 1, 1, 1, 3); }, {"...", ".#.", "..."}},
    {"IsALineForAHeightOfOne", [](Bitmap& b) { b.drawRect(0, 1, 3, 1, 3); }, {"....", "###.", "...."}},
    {"IsClipped", [](Bitmap& b) { b.drawRect(-1, -1, 3, 3, 3); }, {".#.", "##.", "..."}},
    // x + w - 1 is then the column before x, and the four lines are drawn all the same.
    {"ReachesBackOnePixelForASizeOfZero", [](Bitmap& b) { b.drawRect(2, 2, 0, 0, 3); }, {"....", ".##.", ".##."}},
    {"ReachesBackForANegativeSize", [](Bitmap& b) { b.drawRect(3, 0, -2, 3, 3); }, {"####", "#..#", "####"}},
    {"DoesNotWrapAroundAtExtremeCoordinates",
     [](Bitmap& b) {
         b.drawRect(highest, highest, 4, 4, 3);
         b.drawRect(highest - 1, 0, 4, 2, 3);
         b.drawRect(0, highest - 1, 2, 4, 3);
         b.drawRect(lowest, lowest, 0, -3, 3);
     },
     {"...", "..."}},
};
INSTANTIATE_TEST_SUITE_P(Outline, BitmapDrawing, testing::ValuesIn(outlines), nameOf);

// ---- drawBitmap and drawMask ----

TEST(Bitmap, DrawsABitmapWithItsTopLeftCornerAtThePosition)
{
    Bitmap bitmap = bitmapOf({"-----", "-----", "-----", "-----"});
    bitmap.drawBitmap(1, 2, bitmapOf({".-+", "#49"}), false);
    EXPECT_THAT(bitmap, shows({"-----", "-----", "-.-+-", "-#49-"}));
}

TEST(Bitmap, SkipsTheColumnsLeftOfItselfWhenDrawnAtANegativeX)
{
    Bitmap bitmap = blank(10, 2);
    bitmap.drawBitmap(-3, 0, bitmapOf({"###+++++-#", "###-----+#"}), false);
    EXPECT_THAT(bitmap, shows({"+++++-#...", "-----+#..."}));
}

TEST(Bitmap, SkipsTheRowsAboveItselfWhenDrawnAtANegativeY)
{
    Bitmap bitmap = blank(3, 3);
    bitmap.drawBitmap(0, -2, bitmapOf({"###", "###", "+-+", "-+-"}), false);
    EXPECT_THAT(bitmap, shows({"+-+", "-+-", "..."}));
}

TEST(Bitmap, WritesOnlyTheOverlappingCornerOfABitmapAtTheEndOfTheCanvas)
{
    Bitmap canvas = blank(256, 160);
    Bitmap source(40, 40);
    source.fill(3);
    canvas.drawBitmap(250, 150, source, false);
    Bitmap expected = blank(256, 160);
    expected.fillRect(250, 150, 6, 10, 3);
    EXPECT_THAT(canvas, shows(expected));
}

TEST(Bitmap, LeavesTheTargetWhereTheSourceIsTransparent)
{
    for (const bool invert : {false, true}) {
        SCOPED_TRACE(invert);
        Bitmap bitmap = bitmapOf({".-+# 7"});
        bitmap.drawBitmap(0, 0, bitmapOf({"      "}), invert);
        EXPECT_THAT(bitmap, shows({".-+# 7"}));
    }
}

TEST(Bitmap, SwapsTheFourLevelsWhenInvertedAndCopiesOtherValuesUnchanged)
{
    Bitmap plain = blank(8, 1);
    Bitmap swapped = blank(8, 1);
    const Bitmap source = bitmapOf({".-+#4579"});
    plain.drawBitmap(0, 0, source, false);
    swapped.drawBitmap(0, 0, source, true);
    EXPECT_THAT(plain, shows({".-+#4579"}));
    EXPECT_THAT(swapped, shows({"#+-.4579"}));

    Bitmap largest(1, 1);
    largest.fill(254);
    swapped.drawBitmap(0, 0, largest, true);
    EXPECT_EQ(swapped.pixel(0, 0), 254);
}

TEST(Bitmap, DrawsNothingFromAnEmptyBitmap)
{
    Bitmap bitmap = bitmapOf({".#", "#."});
    for (const auto& [width, height] : {std::pair{0, 0}, std::pair{0, 5}, std::pair{5, 0}, std::pair{-2, -2}}) {
        SCOPED_TRACE(testing::Message() << width << " by " << height);
        bitmap.drawBitmap(0, 0, Bitmap(width, height), false);
        bitmap.drawMask(0, 0, Bitmap(width, height), 3);
        EXPECT_THAT(bitmap, shows({".#", "#."}));
    }
}

TEST(Bitmap, DrawsNothingAtExtremePositions)
{
    Bitmap bitmap = blank(4, 2);
    const Bitmap source = bitmapOf({"###", "###"});
    for (const std::int32_t x : {lowest, lowest + 1, 0, highest - 1, highest}) {
        for (const std::int32_t y : {lowest, lowest + 1, highest - 1, highest}) {
            bitmap.drawBitmap(x, y, source, false);
            bitmap.drawBitmap(y, x, source, true);
            bitmap.drawMask(x, y, source, 2);
            bitmap.drawMask(y, x, source, 2);
        }
    }
    EXPECT_THAT(bitmap, shows({"....", "...."}));
}

TEST(Bitmap, DrawsAMaskOnlyWhereTheSourceHoldsFullInk)
{
    Bitmap bitmap = bitmapOf({"------", "------"});
    bitmap.drawMask(0, 0, bitmapOf({".-+# 7", "#    #"}), 2);
    EXPECT_THAT(bitmap, shows({"---+--", "+----+"}));
    bitmap.drawMask(0, 0, bitmapOf({"#....."}), 255);
    EXPECT_THAT(bitmap, shows({" --+--", "+----+"}));
}

TEST(Bitmap, ClipsAMaskOnEverySide)
{
    const Bitmap source = bitmapOf({"###", "###", "###"});
    struct Case {
        std::int32_t x, y;
        Picture picture;
    };
    for (const Case& c : {Case{-2, -2, {"+...", "....", "...."}}, Case{3, -1, {"...+", "...+", "...."}},
                          Case{-1, 2, {"....", "....", "++.."}}, Case{2, 1, {"....", "..++", "..++"}},
                          Case{-3, 0, {"....", "....", "...."}}, Case{4, 0, {"....", "....", "...."}},
                          Case{0, -3, {"....", "....", "...."}}, Case{0, 3, {"....", "....", "...."}}}) {
        SCOPED_TRACE(testing::Message() << c.x << ", " << c.y);
        Bitmap bitmap = blank(4, 3);
        bitmap.drawMask(c.x, c.y, source, 2);
        EXPECT_THAT(bitmap, shows(c.picture));
    }
}

// ---- scaled and inkMask ----

TEST(Bitmap, ScalesOnePixelOfFullInkToTwoByTwo)
{
    EXPECT_THAT(bitmapOf({"#"}).scaled(2), shows({"##", "##"}));
}

TEST(Bitmap, ScalesEveryPixelToASquareOfTheFactor)
{
    const Bitmap bitmap = bitmapOf({".# ", "-+4"});
    EXPECT_THAT(bitmap.scaled(1), shows({".# ", "-+4"}));
    EXPECT_THAT(bitmap.scaled(2), shows({"..##  ", "..##  ", "--++44", "--++44"}));
    EXPECT_THAT(bitmap.scaled(3),
                shows({"...###   ", "...###   ", "...###   ", "---+++444", "---+++444", "---+++444"}));
    EXPECT_THAT(bitmap, shows({".# ", "-+4"}));
}

TEST(Bitmap, ScalesByZeroToNothing)
{
    const Bitmap bitmap = bitmapOf({".#", "#."}).scaled(0);
    EXPECT_EQ(bitmap.getWidth(), 0);
    EXPECT_EQ(bitmap.getHeight(), 0);
    EXPECT_EQ(bitmap.getCapacity(), 0);
}

TEST(Bitmap, ScalesByANegativeFactorToANegativeSizeWithoutWritingAnything)
{
    const Bitmap bitmap = bitmapOf({".#.", "#.#"}).scaled(-2);
    EXPECT_EQ(bitmap.getWidth(), -6);
    EXPECT_EQ(bitmap.getHeight(), -4);
}

TEST(Bitmap, KeepsOnlyFullInkInItsInkMask)
{
    const Bitmap bitmap = bitmapOf({".-+# 49#"});
    EXPECT_THAT(bitmap.inkMask(), shows({"   #   #"}));
    EXPECT_THAT(bitmap, shows({".-+# 49#"}));
    EXPECT_THAT(bitmapOf({"#", ".", "#"}).inkMask(), shows({"#", " ", "#"}));
}

/// Every way to write into a bitmap that was filled with transparent pixels.
struct WritingCase {
    const char* name;
    void (*write)(Bitmap& bitmap, std::int32_t y);
};

void PrintTo(const WritingCase& writing, std::ostream* out)
{
    *out << writing.name;
}

class BitmapWriting : public testing::TestWithParam<WritingCase> {};

TEST_P(BitmapWriting, IntoATransparentBitmapIsSeenWhereverItIsDrawn)
{
    constexpr std::int32_t height = 300;
    for (const std::int32_t y : {0, 1, 2, 63, 64, 127, 128, 129, 255, 256, 299}) {
        Bitmap source(20, height);
        source.fill(transparentPixel);
        GetParam().write(source, y);
        const Bitmap copy(source);
        Bitmap target(20, height);
        target.fill(0);
        target.drawBitmap(0, 0, copy, false);
        for (std::int32_t row = 0; row < height; ++row) {
            for (std::int32_t x = 0; x < 20; ++x) {
                const Pixel expected = source.pixel(x, row) == transparentPixel ? 0 : source.pixel(x, row);
                ASSERT_EQ(target.pixel(x, row), expected) << x << ", " << row << " after writing at " << y;
            }
        }
        EXPECT_EQ(target.pixel(3, y), 2);
    }
}

Bitmap shade(std::int32_t width, std::int32_t height, Pixel value)
{
    Bitmap result(width, height);
    result.fill(value);
    return result;
}

constexpr WritingCase writingCases[] = {
    {"fillRect", [](Bitmap& bitmap, std::int32_t y) { bitmap.fillRect(3, y, 2, 1, 2); }},
    {"fillRect over whole rows", [](Bitmap& bitmap, std::int32_t y) { bitmap.fillRect(-1, y - 1, 30, 2, 2); }},
    {"fillRect over 128 rows", [](Bitmap& bitmap, std::int32_t y) { bitmap.fillRect(0, y / 2 * 2, 20, 128, 2); }},
    {"fill", [](Bitmap& bitmap, std::int32_t) { bitmap.fill(2); }},
    {"drawLine", [](Bitmap& bitmap, std::int32_t y) { bitmap.drawLine(3, y, 8, y, 2); }},
    {"drawRect", [](Bitmap& bitmap, std::int32_t y) { bitmap.drawRect(3, y, 4, 9, 2); }},
    {"drawBitmap", [](Bitmap& bitmap, std::int32_t y) { bitmap.drawBitmap(2, y - 1, shade(5, 2, 2), false); }},
    {"drawBitmap, inverted", [](Bitmap& bitmap, std::int32_t y) { bitmap.drawBitmap(0, y, shade(20, 1, 1), true); }},
    {"drawMask", [](Bitmap& bitmap, std::int32_t y) { bitmap.drawMask(3, y, shade(16, 3, 3), 2); }},
    {"assignment", [](Bitmap& bitmap, std::int32_t) { bitmap = shade(20, 300, 2); }},
};

INSTANTIATE_TEST_SUITE_P(All, BitmapWriting, testing::ValuesIn(writingCases));

TEST(Bitmap, ShowsItsStaleRowsAfterAResize)
{
    Bitmap bitmap(4, 300);
    bitmap.fill(transparentPixel);
    bitmap.fillRect(0, 0, 4, 1, 2);
    bitmap.resize(1, 300); // the four pixels are now the first four rows
    Bitmap target = shade(1, 300, 0);
    target.drawBitmap(0, 0, bitmap, false);
    EXPECT_EQ(target.pixel(0, 3), 2);
    EXPECT_EQ(target.pixel(0, 4), 0);
}

TEST(Bitmap, AllocatesNothingWhileDrawing)
{
    Bitmap canvas = blank(256, 160);
    const Bitmap source = bitmapOf({".-+# ", "#####"});
    const AllocationCounter counter;
    canvas.fill(1);
    canvas.fillRect(3, 3, 300, 20, 2);
    canvas.drawLine(-5, 7, 300, 120, 3);
    canvas.drawRect(10, 10, 100, 50, 0);
    canvas.drawBitmap(250, 159, source, false);
    canvas.drawBitmap(-2, 5, source, true);
    canvas.drawMask(17, 80, source, 3);
    (void)canvas.hasTransparency();
    (void)canvas.pixel(3, 3);
    EXPECT_EQ(counter.count(), 0U);
}

} // namespace
