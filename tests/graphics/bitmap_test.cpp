// Tests of the bitmap's storage and drawing operations.
#include "graphics/bitmap.h"

#include "tests/support/allocation_counter.h"
#include "tests/support/extremes.h"
#include "tests/support/picture.h"

#include <gtest/gtest.h>

#include <array>
#include <cstdint>
#include <functional>
#include <new>
#include <string>
#include <utility>
#include <vector>

namespace {

using Size = std::pair<std::int32_t, std::int32_t>;

const std::vector<Size> emptySizes = {{0, 0}, {0, 5}, {5, 0}, {-2, 3}, {2, -3}, {-2, -3}};

Size sizeOf(const Bitmap& bitmap)
{
    return {bitmap.getWidth(), bitmap.getHeight()};
}

// ---- storage ----

TEST(Bitmap, DefaultConstructionCreatesAnEmptyBitmap)
{
    EXPECT_EQ(sizeOf(Bitmap()), Size(0, 0));
}

TEST(Bitmap, ConstructionAllocatesOnceAndOnlyForAPositivePixelCount)
{
    for (const auto& [width, height] : {Size(1, 1), Size(256, 160), Size(0, 5), Size(5, 0), Size(-3, 5), Size(3, -5)}) {
        const AllocationCounter counter;
        const Bitmap bitmap(width, height);
        EXPECT_EQ(counter.count(), width > 0 && height > 0 ? 1U : 0U) << width << " by " << height;
        EXPECT_EQ(sizeOf(bitmap), Size(width, height));
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

TEST(Bitmap, OperationsOnAnEmptyBitmapDoNothing)
{
    for (const auto& [width, height] : emptySizes) {
        SCOPED_TRACE(testing::Message() << width << " by " << height);
        Bitmap bitmap(width, height);
        drawEverything(bitmap);
        EXPECT_FALSE(bitmap.hasTransparency());
        EXPECT_EQ(sizeOf(bitmap), Size(width, height));
        EXPECT_EQ(sizeOf(Bitmap(bitmap)), Size(width, height));
        EXPECT_EQ(sizeOf(bitmap.inkMask()), Size(width, height));
        EXPECT_EQ(sizeOf(bitmap.scaled(3)), Size(3 * width, 3 * height));
    }
}

TEST(Bitmap, DrawingAfterAResizeToAnEmptySizeKeepsTheStoredPixels)
{
    for (const auto& [width, height] : emptySizes) {
        SCOPED_TRACE(testing::Message() << width << " by " << height);
        Bitmap bitmap = bitmapOf({".-+ ", "4+-."});
        bitmap.resize(width, height);
        drawEverything(bitmap);
        EXPECT_FALSE(bitmap.hasTransparency());
        bitmap.resize(4, 2);
        EXPECT_TRUE(shows(bitmap, {".-+ ", "4+-."}));
    }
}

TEST(Bitmap, SourceBytesAreCopiedRowByRow)
{
    const std::array<std::uint8_t, 6> bytes = {0, 1, 2, 3, 255, 7};
    EXPECT_TRUE(shows(Bitmap(3, 2, bytes), {".-+", "# 7"}));
    EXPECT_EQ(sizeOf(Bitmap(0, -5, {})), Size(0, -5));
    EXPECT_EQ(sizeOf(Bitmap(5, 0, {})), Size(5, 0));
}

TEST(Bitmap, ConstructionFromBytesThrowsBadArrayNewLengthIfThePixelCountIsNegative)
{
    EXPECT_THROW(Bitmap(-1, 5, {}), std::bad_array_new_length);
    EXPECT_THROW(Bitmap(5, -1, {}), std::bad_array_new_length);
    EXPECT_THROW(Bitmap(lowest, highest, {}), std::bad_array_new_length);
}

TEST(Bitmap, HugeSizesThrowBadArrayNewLengthInsteadOfWrappingAround)
{
    // In 32 bits, these products would be 0, 65536, 1, 0, -2147483648 and -2.
    for (const auto& [width, height] : {Size(65536, 65536), Size(65537, 65536), Size(highest, highest),
                                        Size(lowest, lowest), Size(65536, 32768), Size(highest, 2)}) {
        SCOPED_TRACE(testing::Message() << width << " by " << height);
        EXPECT_THROW(Bitmap(width, height), std::bad_array_new_length);
        EXPECT_THROW(Bitmap(width, height, {}), std::bad_array_new_length);
        EXPECT_THROW(Bitmap().resize(width, height), std::bad_array_new_length);
    }
    EXPECT_THROW((void)filledBitmap(2, 2, 0).scaled(highest), std::bad_array_new_length);
    EXPECT_THROW((void)filledBitmap(2, 2, 0).scaled(lowest), std::bad_array_new_length);
    EXPECT_THROW((void)filledBitmap(3, 1, 0).scaled(100000), std::bad_array_new_length);
}

TEST(Bitmap, AFailedResizeKeepsSizeAndPixels)
{
    Bitmap bitmap = bitmapOf({".#", "#."});
    EXPECT_THROW(bitmap.resize(highest, highest), std::bad_alloc);
    EXPECT_TRUE(shows(bitmap, {".#", "#."}));
}

TEST(Bitmap, CopiesAreDeep)
{
    Bitmap original = bitmapOf({".#-", "+ 4"});
    original.resize(2, 2);
    Bitmap copy = original;
    EXPECT_TRUE(shows(copy, {".#", "-+"}));
    copy.fill(3);
    EXPECT_TRUE(shows(original, {".#", "-+"}));
    original.fill(1);
    EXPECT_TRUE(shows(copy, {"##", "##"}));
}

TEST(Bitmap, AssigningASmallerBitmapDoesNotAllocate)
{
    Bitmap target = filledBitmap(16, 16, 0);
    const Bitmap source = bitmapOf({"#.", ".+"});
    const AllocationCounter counter;
    target = source;
    target.resize(16, 16);
    target = Bitmap(source);
    EXPECT_LE(counter.count(), 1U) << "allocated more than the array of the temporary bitmap";
    EXPECT_TRUE(shows(target, {"#.", ".+"}));
    target.fill(1);
    EXPECT_TRUE(shows(source, {"#.", ".+"}));
}

TEST(Bitmap, AssignmentCopiesSizeAndPixels)
{
    Bitmap target = filledBitmap(2, 2, 0);
    target = bitmapOf({"#.-", ".+#"});
    EXPECT_TRUE(shows(target, {"#.-", ".+#"}));
    const Bitmap& same = target;
    target = same;
    EXPECT_TRUE(shows(target, {"#.-", ".+#"}));
    target = Bitmap(0, 5);
    EXPECT_EQ(sizeOf(target), Size(0, 5));
}

TEST(Bitmap, ResizingWithinTheArrayNeitherAllocatesNorClears)
{
    Bitmap bitmap = bitmapOf({".-+#", "#+-.", "    "});
    const AllocationCounter counter;
    bitmap.resize(3, 2);
    bitmap.resize(1, 1);
    bitmap.resize(0, 0);
    bitmap.resize(-4, 2);
    bitmap.resize(4, 3);
    EXPECT_EQ(counter.count(), 0U);
    EXPECT_TRUE(shows(Bitmap(bitmap), {".-+#", "#+-.", "    "}));
    bitmap.resize(3, 2); // interprets the same array as rows of three pixels
    EXPECT_TRUE(shows(bitmap, {".-+", "##+"}));
    EXPECT_FALSE(bitmap.hasTransparency()) << "stale pixels after the last row were tested";
}

TEST(Bitmap, EveryResizeBeyondTheArrayAllocatesOnce)
{
    Bitmap bitmap;
    for (const auto& [width, height] : {Size(256, 160), Size(256, 161), Size(257, 161)}) {
        const AllocationCounter counter;
        bitmap.resize(width, height);
        EXPECT_EQ(counter.count(), 1U);
        EXPECT_EQ(sizeOf(bitmap), Size(width, height));
        bitmap.fill(2);
        EXPECT_TRUE(shows(Bitmap(bitmap), filledBitmap(width, height, 2)));
    }
}

TEST(Bitmap, RowPointsToThePixelsOfOneRow)
{
    Bitmap bitmap = bitmapOf({".-", "+#"});
    const Pixel* row = bitmap.row(1);
    EXPECT_EQ(row[0], 2);
    EXPECT_EQ(row[1], 3);
}

TEST(Bitmap, HasTransparencyIfAnyPixelIsTransparent)
{
    EXPECT_TRUE(bitmapOf({" ..", "..."}).hasTransparency());
    EXPECT_TRUE(bitmapOf({"...", ".. "}).hasTransparency());
    EXPECT_FALSE(bitmapOf({".-+", "#49"}).hasTransparency());
}

// ---- fill, fillRect, drawLine and drawRect ----

TEST(Bitmap, FillSetsEveryPixel)
{
    for (const Pixel value : {Pixel{0}, Pixel{1}, Pixel{2}, Pixel{3}, Pixel{9}, Pixel{255}}) {
        EXPECT_TRUE(shows(filledBitmap(3, 2, value), Picture(2, std::string(3, letterOf(value)))));
    }
}

struct Drawing {
    const char* description;
    std::function<void(Bitmap&)> draw;
    /// The expected result on a blank bitmap of the same size.
    Picture picture;
};

void expectPictures(const std::vector<Drawing>& drawings)
{
    for (const auto& [description, draw, picture] : drawings) {
        Bitmap bitmap = bitmapOf(Picture(picture.size(), std::string(picture.front().size(), '.')));
        draw(bitmap);
        EXPECT_TRUE(shows(bitmap, picture)) << description;
    }
}

TEST(Bitmap, FillRectFillsThePartOfTheRectangleWithinTheBitmap)
{
    expectPictures({
        {"inside", [](Bitmap& b) { b.fillRect(1, 1, 3, 2, 3); }, {".....", ".###.", ".###.", "....."}},
        {"one pixel", [](Bitmap& b) { b.fillRect(2, 1, 1, 1, 2); }, {"....", "..+.", "...."}},
        {"clipped at the top left", [](Bitmap& b) { b.fillRect(-2, -1, 4, 2, 3); }, {"##..", "....", "...."}},
        {"clipped at the bottom right", [](Bitmap& b) { b.fillRect(3, 1, 9, 9, 3); }, {"....", "...#", "...#"}},
        {"a size below 1",
         [](Bitmap& b) {
             b.fillRect(1, 1, 0, 2, 3);
             b.fillRect(1, 1, 2, 0, 3);
             b.fillRect(2, 2, -2, -2, 3);
             b.fillRect(2, 2, lowest, 1, 3);
             b.fillRect(0, 2, 4, -2, 3);
         },
         {"....", "....", "...."}},
        {"outside",
         [](Bitmap& b) {
             b.fillRect(-3, 0, 3, 3, 3);
             b.fillRect(4, 0, 3, 3, 3);
             b.fillRect(0, -3, 3, 3, 3);
             b.fillRect(0, 3, 3, 3, 3);
         },
         {"....", "....", "...."}},
        {"the largest size", [](Bitmap& b) { b.fillRect(-5, -5, highest, highest, 3); }, {"####", "####"}},
        {"edges beyond the limits of int32_t",
         [](Bitmap& b) {
             b.fillRect(highest, highest, highest, highest, 3);
             b.fillRect(lowest, lowest, highest, highest, 3);
             b.fillRect(highest - 1, 0, 10, 1, 3);
             b.fillRect(0, highest - 1, 1, 10, 3);
             b.fillRect(1, lowest, 1, highest, 3);
         },
         {"....", "...."}},
        {"values above 3",
         [](Bitmap& b) {
             b.fillRect(0, 0, 1, 1, 255);
             b.fillRect(1, 0, 1, 1, 7);
         },
         {" 7.."}},
    });
}

TEST(Bitmap, DrawLineDrawsBothEndsAndClips)
{
    expectPictures({
        {"both ends in one pixel",
         [](Bitmap& b) { b.drawLine(5, 5, 5, 5, 3); },
         {"......", "......", "......", "......", "......", ".....#"}},
        {"three to the right, one down", [](Bitmap& b) { b.drawLine(0, 0, 3, 1, 3); }, {"##..", "..##"}},
        {"four to the right, two down", [](Bitmap& b) { b.drawLine(0, 0, 4, 2, 3); }, {"#....", ".##..", "...##"}},
        {"three to the left, one down", [](Bitmap& b) { b.drawLine(3, 0, 0, 1, 3); }, {"..##", "##.."}},
        {"one to the right, three down", [](Bitmap& b) { b.drawLine(0, 0, 1, 3, 3); }, {"#.", "#.", ".#", ".#"}},
        {"horizontal", [](Bitmap& b) { b.drawLine(3, 1, 1, 1, 3); }, {".....", ".###.", "....."}},
        {"vertical", [](Bitmap& b) { b.drawLine(1, 2, 1, 0, 2); }, {".+.", ".+.", ".+."}},
        {"diagonal", [](Bitmap& b) { b.drawLine(2, 0, 0, 2, 3); }, {"..#", ".#.", "#.."}},
        {"clipped", [](Bitmap& b) { b.drawLine(-2, -2, 9, 9, 3); }, {"#..", ".#.", "..#"}},
    });
}

TEST(Bitmap, DrawRectDrawsFourLines)
{
    expectPictures({
        {"an outline", [](Bitmap& b) { b.drawRect(1, 0, 4, 3, 3); }, {".####", ".#..#", ".####"}},
        {"one pixel", [](Bitmap& b) { b.drawRect(1, 1, 1, 1, 3); }, {"...", ".#.", "..."}},
        {"one row", [](Bitmap& b) { b.drawRect(0, 1, 3, 1, 3); }, {"....", "###.", "...."}},
        {"clipped", [](Bitmap& b) { b.drawRect(-1, -1, 3, 3, 3); }, {".#.", "##.", "..."}},
        // The four lines are drawn even though x + w - 1 is the column before x.
        {"a size of 0", [](Bitmap& b) { b.drawRect(2, 2, 0, 0, 3); }, {"....", ".##.", ".##."}},
        {"a negative width", [](Bitmap& b) { b.drawRect(3, 0, -2, 3, 3); }, {"####", "#..#", "####"}},
        {"edges beyond the limits of int32_t",
         [](Bitmap& b) {
             b.drawRect(highest, highest, 4, 4, 3);
             b.drawRect(highest - 1, 0, 4, 2, 3);
             b.drawRect(0, highest - 1, 2, 4, 3);
             b.drawRect(lowest, lowest, 0, -3, 3);
         },
         {"...", "..."}},
    });
}

// ---- drawBitmap and drawMask ----

TEST(Bitmap, DrawBitmapPlacesTheTopLeftCornerAtThePosition)
{
    Bitmap bitmap = bitmapOf({"-----", "-----", "-----", "-----"});
    bitmap.drawBitmap(1, 2, bitmapOf({".-+", "#49"}), false);
    EXPECT_TRUE(shows(bitmap, {"-----", "-----", "-.-+-", "-#49-"}));
}

TEST(Bitmap, DrawBitmapClipsAtTheTopLeft)
{
    Bitmap bitmap = filledBitmap(10, 2, 0);
    bitmap.drawBitmap(-3, -1, bitmapOf({"##########", "###+++++-#", "###-----+#"}), false);
    EXPECT_TRUE(shows(bitmap, {"+++++-#...", "-----+#..."}));
}

TEST(Bitmap, DrawBitmapClipsAtTheBottomRight)
{
    Bitmap canvas = filledBitmap(256, 160, 0);
    canvas.drawBitmap(250, 150, filledBitmap(10, 40, 3), false);
    Bitmap expected = filledBitmap(256, 160, 0);
    expected.fillRect(250, 150, 6, 10, 3);
    EXPECT_TRUE(shows(canvas, expected));
}

TEST(Bitmap, DrawBitmapSkipsTransparentPixels)
{
    for (const bool invert : {false, true}) {
        Bitmap bitmap = bitmapOf({".-+# 7"});
        bitmap.drawBitmap(0, 0, bitmapOf({"      "}), invert);
        EXPECT_TRUE(shows(bitmap, {".-+# 7"})) << invert;
    }
}

TEST(Bitmap, DrawBitmapInvertsOnlyTheFourLevels)
{
    Bitmap plain = filledBitmap(8, 1, 0);
    Bitmap inverted = filledBitmap(8, 1, 0);
    const Bitmap source = bitmapOf({".-+#4579"});
    plain.drawBitmap(0, 0, source, false);
    inverted.drawBitmap(0, 0, source, true);
    EXPECT_TRUE(shows(plain, {".-+#4579"}));
    EXPECT_TRUE(shows(inverted, {"#+-.4579"}));
    inverted.drawBitmap(0, 0, filledBitmap(1, 1, 254), true);
    EXPECT_EQ(inverted.pixel(0, 0), 254);
}

TEST(Bitmap, DrawMaskWritesTheValueOnlyWhereTheSourceHasFullInk)
{
    Bitmap bitmap = bitmapOf({"------", "------"});
    bitmap.drawMask(0, 0, bitmapOf({".-+# 7", "#    #"}), 2);
    EXPECT_TRUE(shows(bitmap, {"---+--", "+----+"}));
    bitmap.drawMask(0, 0, bitmapOf({"#....."}), 255);
    EXPECT_TRUE(shows(bitmap, {" --+--", "+----+"}));
}

TEST(Bitmap, EmptySourcesDrawNothing)
{
    Bitmap bitmap = bitmapOf({".#", "#."});
    for (const auto& [width, height] : emptySizes) {
        SCOPED_TRACE(testing::Message() << width << " by " << height);
        bitmap.drawBitmap(0, 0, Bitmap(width, height), false);
        bitmap.drawMask(0, 0, Bitmap(width, height), 3);
        EXPECT_TRUE(shows(bitmap, {".#", "#."}));
    }
}

TEST(Bitmap, SourcesAreClippedOnEverySide)
{
    const Bitmap source = filledBitmap(3, 3, 3);
    struct Case {
        std::int32_t x, y;
        Picture picture;
    };
    const Picture none(3, "....");
    for (const Case& c : {Case{-2, -2, {"#...", "....", "...."}}, Case{3, -1, {"...#", "...#", "...."}},
                          Case{-1, 2, {"....", "....", "##.."}}, Case{2, 1, {"....", "..##", "..##"}},
                          Case{-3, 0, none}, Case{4, 0, none}, Case{0, -3, none}, Case{0, 3, none},
                          Case{lowest, 0, none}, Case{highest, 0, none}, Case{0, lowest, none}, Case{0, highest, none},
                          Case{lowest, lowest, none}, Case{highest - 1, highest, none}}) {
        SCOPED_TRACE(testing::Message() << c.x << ", " << c.y);
        Bitmap drawn = filledBitmap(4, 3, 0);
        drawn.drawBitmap(c.x, c.y, source, false);
        EXPECT_TRUE(shows(drawn, c.picture));
        Bitmap masked = filledBitmap(4, 3, 0);
        masked.drawMask(c.x, c.y, source, 3);
        EXPECT_TRUE(shows(masked, c.picture));
    }
}

// ---- scaled and inkMask ----

TEST(Bitmap, ScaledEnlargesEveryPixelToASquare)
{
    EXPECT_TRUE(shows(bitmapOf({"#"}).scaled(2), {"##", "##"}));
    const Bitmap bitmap = bitmapOf({".# ", "-+4"});
    EXPECT_TRUE(shows(bitmap.scaled(1), {".# ", "-+4"}));
    EXPECT_TRUE(shows(bitmap.scaled(2), {"..##  ", "..##  ", "--++44", "--++44"}));
    EXPECT_TRUE(shows(bitmap, {".# ", "-+4"}));
}

TEST(Bitmap, ScaledByZeroOrANegativeFactorIsEmpty)
{
    const Bitmap bitmap = bitmapOf({".#.", "#.#"});
    EXPECT_EQ(sizeOf(bitmap.scaled(0)), Size(0, 0));
    EXPECT_EQ(sizeOf(bitmap.scaled(-2)), Size(-6, -4));
}

TEST(Bitmap, InkMaskKeepsOnlyFullInk)
{
    const Bitmap bitmap = bitmapOf({".-+# 49#", "#......."});
    EXPECT_TRUE(shows(bitmap.inkMask(), {"   #   #", "#       "}));
    EXPECT_TRUE(shows(bitmap, {".-+# 49#", "#......."}));
}

TEST(Bitmap, DrawingDoesNotAllocate)
{
    Bitmap canvas = filledBitmap(256, 160, 0);
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
    EXPECT_EQ(counter.count(), 0U);
}

} // namespace
