// Tests of the written-out pictures and of the allocation counter, on which the other tests lean.
#include "tests/support/picture.h"

#include "tests/support/allocation_counter.h"

#include <gtest/gtest.h>

#include <new>

using testing::HasSubstr;
using testing::Not;

namespace {

TEST(PictureTest, ConvertsBothWays)
{
    const Picture picture = {".-+#", " 49 "};
    const Bitmap bitmap = bitmapOf(picture);
    EXPECT_EQ(bitmap.getWidth(), 4);
    EXPECT_EQ(bitmap.getHeight(), 2);
    EXPECT_EQ(bitmap.pixel(2, 0), 2);
    EXPECT_EQ(bitmap.pixel(0, 1), 255);
    EXPECT_EQ(bitmap.pixel(2, 1), 9);
    EXPECT_EQ(pictureOf(bitmap), picture);
    EXPECT_EQ(pictureOf(bitmapOf({})), Picture{});
}

TEST(PictureTest, MatchesOnlyTheSameSizeAndPixels)
{
    const Bitmap bitmap = bitmapOf({"..", ".#"});
    EXPECT_THAT(bitmap, shows({"..", ".#"}));
    EXPECT_THAT(bitmap, Not(shows({"..", ".."})));
    EXPECT_THAT(bitmap, Not(shows({".."})));
    EXPECT_THAT(bitmap, Not(shows({".. ", ".# "})));
}

TEST(PictureTest, ShowsBothPicturesSideBySideAndMarksTheRowsThatDiffer)
{
    EXPECT_EQ(sideBySide({"..", "##"}, {"..", "#."}), "expected  actual\n"
                                                      "|..|      |..|\n"
                                                      "|##|      |#.|  <- differs\n");
    testing::StringMatchResultListener listener;
    EXPECT_FALSE(shows({"##"}).MatchAndExplain(bitmapOf({"#."}), &listener));
    EXPECT_THAT(listener.str(), HasSubstr("|##|      |#.|  <- differs"));
}

TEST(AllocationCounterTest, CountsEveryFormOfNew)
{
    const AllocationCounter counter;
    EXPECT_EQ(counter.count(), 0U);
    ::operator delete(::operator new(1));
    ::operator delete[](::operator new[](1));
    ::operator delete(::operator new(1, std::nothrow));
    ::operator delete (::operator new (64, std::align_val_t{64}), std::align_val_t{64});
    EXPECT_EQ(counter.count(), 4U);
}

} // namespace
