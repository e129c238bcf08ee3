// Tests for the timing of button presses.
#include "sim/run/button_timer.h"

#include <gtest/gtest.h>

namespace {

using sim::ButtonTimer;
using Move = std::optional<bool>;

constexpr Move press = true;
constexpr Move release = false;
constexpr Move nothing = std::nullopt;

TEST(ButtonTimer, DoesNothingWithoutAQueuedPress)
{
    ButtonTimer timer;
    EXPECT_EQ(timer.update(1), nothing);
    EXPECT_EQ(timer.update(100000), nothing);
    EXPECT_FALSE(timer.isDown());
}

TEST(ButtonTimer, AClickLasts60Iterations)
{
    ButtonTimer timer;
    timer.click();
    EXPECT_EQ(timer.update(1000), press);
    EXPECT_TRUE(timer.isDown());
    EXPECT_EQ(timer.update(1059), nothing);
    EXPECT_EQ(timer.update(1060), release);
    EXPECT_FALSE(timer.isDown());
    EXPECT_EQ(timer.update(5000), nothing);
}

TEST(ButtonTimer, AHoldExceedsTheDurationOfALongPress)
{
    ButtonTimer timer;
    timer.hold();
    EXPECT_EQ(timer.update(1000), press);
    EXPECT_EQ(timer.update(2099), nothing);
    EXPECT_EQ(timer.update(2100), release);
}

TEST(ButtonTimer, PausesBetweenTwoPresses)
{
    ButtonTimer timer;
    timer.click();
    timer.click();
    EXPECT_EQ(timer.update(1000), press);
    EXPECT_EQ(timer.update(1070), release);
    EXPECT_EQ(timer.update(1129), nothing);
    EXPECT_EQ(timer.update(1130), press);
    EXPECT_EQ(timer.update(1190), release);
    EXPECT_EQ(timer.update(9000), nothing);
}

TEST(ButtonTimer, QueuesAtMostFourPresses)
{
    ButtonTimer timer;
    for (int i = 0; i < 100; ++i) {
        timer.click();
    }
    int presses = 0;
    for (std::uint64_t iteration = 0; iteration < 100000; iteration += 10) {
        presses += timer.update(iteration) == press ? 1 : 0;
    }
    EXPECT_EQ(presses, 4);
}

} // namespace
