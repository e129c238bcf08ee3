// Tests of the test helpers: pictures written as text, the drawing model's lines, and the allocation counter.
#include "tests/support/picture.h"

#include "tests/support/allocation_counter.h"
#include "tests/support/drawing_model.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <new>
#include <stdexcept>

namespace {

TEST(PictureTest, ConvertsToABitmapAndBack)
{
    const Picture picture = {".-+#", " 49 "};
    const Bitmap bitmap = bitmapOf(picture);
    EXPECT_EQ(bitmap.getWidth(), 4);
    EXPECT_EQ(bitmap.getHeight(), 2);
    EXPECT_EQ(bitmap.pixel(2, 0), 2);
    EXPECT_EQ(bitmap.pixel(0, 1), 255);
    EXPECT_EQ(bitmap.pixel(2, 1), 9);
    EXPECT_EQ(pictureOf(bitmap), picture);
    EXPECT_EQ(pictureOf(bitmapOf(Picture{})), Picture{});
    EXPECT_THROW((void)bitmapOf(Picture{"..", "."}), std::invalid_argument);
    EXPECT_THROW((void)bitmapOf(Picture{"x"}), std::invalid_argument);
}

TEST(PictureTest, MismatchFailsWithBothPicturesSideBySide)
{
    const Bitmap bitmap = bitmapOf({"..", "#."});
    EXPECT_TRUE(shows(bitmap, {"..", "#."}));
    EXPECT_FALSE(shows(bitmap, Picture{".."}));
    EXPECT_FALSE(shows(bitmap, {".. ", "#. "}));
    EXPECT_STREQ(shows(bitmap, {"..", "##"}).message(), "\n"
                                                        "expected  actual\n"
                                                        "|..|      |..|\n"
                                                        "|##|      |#.|  <- differs\n");
}

/// Draws Bresenham's line step by step.
model::Raster steppedLine(model::Raster raster, std::int64_t x, std::int64_t y, std::int64_t x1, std::int64_t y1)
{
    const std::int64_t dx = std::abs(x1 - x);
    const std::int64_t dy = std::abs(y1 - y);
    const std::int64_t stepX = x1 > x ? 1 : -1;
    const std::int64_t stepY = y1 > y ? 1 : -1;
    for (std::int64_t error = dx - dy;;) {
        const std::int64_t doubled = 2 * error;
        raster.set(x, y, 3);
        if (x == x1 && y == y1) {
            return raster;
        }
        if (doubled >= -dy) {
            error -= dy;
            x += stepX;
        }
        if (doubled <= dx) {
            error += dx;
            y += stepY;
        }
    }
}

TEST(DrawingModel, LinesInEveryDirectionEqualBresenhamsLines)
{
    constexpr std::int64_t reach = 12;
    const model::Raster blank(2 * reach + 1, 2 * reach + 1);
    for (std::int64_t y = 0; y < blank.height; ++y) {
        for (std::int64_t x = 0; x < blank.width; ++x) {
            model::Raster line = blank;
            line.drawLine(reach, reach, x, y, 3);
            ASSERT_EQ(line.pixels, steppedLine(blank, reach, reach, x, y).pixels) << "to " << x << ", " << y;
        }
    }
}

TEST(AllocationCounterTest, CountsAllocationsByDifferentFormsOfNew)
{
    const AllocationCounter counter;
    EXPECT_EQ(counter.count(), 0U);
    ::operator delete(::operator new(1));
    ::operator delete[](::operator new[](1));
    ::operator delete(::operator new(1, std::nothrow));
    ::operator delete(::operator new(64, std::align_val_t{64}), std::align_val_t{64});
    EXPECT_EQ(counter.count(), 4U);
}

} // namespace
