// Tests of the thumb on the button.
#include "sim/run/thumb.h"

#include <gtest/gtest.h>

namespace {

using sim::Thumb;
using Move = std::optional<bool>;

constexpr Move press = true;
constexpr Move release = false;
constexpr Move nothing = std::nullopt;

TEST(Thumb, RestsUntilItIsToPress)
{
    Thumb thumb;
    EXPECT_EQ(thumb.move(1), nothing);
    EXPECT_EQ(thumb.move(100000), nothing);
    EXPECT_FALSE(thumb.isDown());
}

TEST(Thumb, ClicksForSixtyIterations)
{
    Thumb thumb;
    thumb.click();
    EXPECT_EQ(thumb.move(1000), press);
    EXPECT_TRUE(thumb.isDown());
    EXPECT_EQ(thumb.move(1059), nothing);
    EXPECT_EQ(thumb.move(1060), release);
    EXPECT_FALSE(thumb.isDown());
    EXPECT_EQ(thumb.move(5000), nothing);
}

TEST(Thumb, HoldsForLongerThanTheDeviceNeedsForALongPress)
{
    Thumb thumb;
    thumb.hold();
    EXPECT_EQ(thumb.move(1000), press);
    EXPECT_EQ(thumb.move(2099), nothing);
    EXPECT_EQ(thumb.move(2100), release);
}

TEST(Thumb, PausesBetweenTwoPresses)
{
    Thumb thumb;
    thumb.click();
    thumb.click();
    EXPECT_EQ(thumb.move(1000), press);
    EXPECT_EQ(thumb.move(1070), release);
    EXPECT_EQ(thumb.move(1129), nothing);
    EXPECT_EQ(thumb.move(1130), press);
    EXPECT_EQ(thumb.move(1190), release);
    EXPECT_EQ(thumb.move(9000), nothing);
}

TEST(Thumb, ForgetsPressesThatCannotKeepUp)
{
    Thumb thumb;
    for (int i = 0; i < 100; ++i) {
        thumb.click();
    }
    int presses = 0;
    for (std::uint64_t iteration = 0; iteration < 100000; iteration += 10) {
        presses += thumb.move(iteration) == press ? 1 : 0;
    }
    EXPECT_EQ(presses, 4);
}

} // namespace
