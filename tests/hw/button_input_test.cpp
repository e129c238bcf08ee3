// Tests of the debounced push button.
#include "hw/button_input.h"

#include "tests/support/system_calls.h"

#include <array>
#include <gtest/gtest.h>
#include <random>

namespace {

constexpr int line = 6;

class Button : public testing::Test {
protected:
    Button()
    {
        // The counters outlive a test; a poll that agrees on every line brings them to rest.
        pollLevels(0xFFFFFFFF);
        button.init();
    }

    void pollLevels(std::uint32_t levels)
    {
        calls.gpio[13] = levels;
        button.poll();
    }

    /// Polls once for each character, with line 6 low for 'L' and high for 'H', all other lines high.
    void poll(const std::string& levels)
    {
        for (const char level : levels) {
            pollLevels(level == 'L' ? ~(1U << line) : 0xFFFFFFFF);
        }
    }

    SystemCalls calls;
    ButtonInput button;
};

TEST_F(Button, IsReleasedAndHasNoEdgesAtFirst)
{
    EXPECT_FALSE(button.isHeld(line));
    EXPECT_FALSE(button.takePressed(line));
    EXPECT_FALSE(button.takeReleased(line));
}

TEST_F(Button, ThreeLowPollsAndAHighOneNeverReportAPress)
{
    for (int i = 0; i < 5; ++i) {
        poll("LLLH");
        EXPECT_FALSE(button.isHeld(line));
        EXPECT_FALSE(button.takePressed(line));
    }
}

TEST_F(Button, FourLowPollsReportExactlyOnePressAtTheFourth)
{
    poll("LLL");
    EXPECT_FALSE(button.isHeld(line));
    EXPECT_FALSE(button.takePressed(line));
    poll("L");
    EXPECT_TRUE(button.isHeld(line));
    EXPECT_TRUE(button.takePressed(line));
    poll("LLLLLLLLLLLL");
    EXPECT_FALSE(button.takePressed(line));
}

TEST_F(Button, APressIsTakenOnceWhileTheButtonStaysHeld)
{
    poll("LLLL");
    EXPECT_TRUE(button.takePressed(line));
    for (int i = 0; i < 20; ++i) {
        EXPECT_FALSE(button.takePressed(line));
        EXPECT_TRUE(button.isHeld(line));
        poll("L");
    }
    poll("HHHHLLLL");
    EXPECT_TRUE(button.takePressed(line));
    EXPECT_FALSE(button.takePressed(line));
}

TEST_F(Button, AReleaseIsReportedOnceAfterFourHighPolls)
{
    poll("LLLLHHH");
    EXPECT_TRUE(button.isHeld(line));
    EXPECT_FALSE(button.takeReleased(line));
    poll("H");
    EXPECT_FALSE(button.isHeld(line));
    EXPECT_TRUE(button.takeReleased(line));
    EXPECT_FALSE(button.takeReleased(line));
    poll("HHHHHHHH");
    EXPECT_FALSE(button.takeReleased(line));
}

TEST_F(Button, OneAgreeingPollRestartsTheCount)
{
    poll("LLLHLLL");
    EXPECT_FALSE(button.isHeld(line));
    poll("L");
    EXPECT_TRUE(button.isHeld(line));
    poll("HHHLHHH");
    EXPECT_TRUE(button.isHeld(line));
    poll("H");
    EXPECT_FALSE(button.isHeld(line));
}

TEST_F(Button, EdgesStayLatchedUntilTheyAreTaken)
{
    poll("LLLLHHHHHHHHHH");
    EXPECT_FALSE(button.isHeld(line));
    EXPECT_TRUE(button.takePressed(line));
    EXPECT_TRUE(button.takeReleased(line));
    EXPECT_FALSE(button.takePressed(line));
    EXPECT_FALSE(button.takeReleased(line));
}

TEST_F(Button, ALineThatIsLowAtStartIsPressedAfterFourPolls)
{
    poll("LLLL");
    EXPECT_TRUE(button.takePressed(line));
}

TEST_F(Button, EdgesOfOtherLinesAreLatchedOnTheirOwn)
{
    for (int i = 0; i < 4; ++i) {
        pollLevels(0x7FFFFFFE);
    }
    EXPECT_FALSE(button.takePressed(line));
    EXPECT_FALSE(button.isHeld(line));
    EXPECT_TRUE(button.takePressed(0));
    EXPECT_TRUE(button.isHeld(0));
    EXPECT_TRUE(button.takePressed(31));
    EXPECT_FALSE(button.takePressed(31));
}

TEST_F(Button, TakingALinesEdgeLeavesThoseOfTheOthers)
{
    for (int i = 0; i < 4; ++i) {
        pollLevels(0);
    }
    EXPECT_TRUE(button.takePressed(line));
    EXPECT_TRUE(button.takePressed(5));
    EXPECT_TRUE(button.takePressed(7));
    for (int i = 0; i < 4; ++i) {
        pollLevels(0xFFFFFFFF);
    }
    EXPECT_TRUE(button.takeReleased(line));
    EXPECT_TRUE(button.takeReleased(5));
    EXPECT_TRUE(button.takeReleased(7));
}

TEST_F(Button, InitForgetsTheStateAndAllEdges)
{
    poll("LLLLHHHHLLLL");
    button.init();
    EXPECT_FALSE(button.isHeld(line));
    EXPECT_FALSE(button.takePressed(line));
    EXPECT_FALSE(button.takeReleased(line));
    poll("HHHHHHHH");
    EXPECT_FALSE(button.takeReleased(line));
}

TEST_F(Button, InitDoesNotTouchTheCounters)
{
    poll("LLL");
    button.init();
    poll("L");
    EXPECT_TRUE(button.takePressed(line));
}

TEST_F(Button, AllButtonsShareTheCounters)
{
    poll("LLL");
    ButtonInput other;
    other.init();
    other.poll();
    EXPECT_TRUE(other.takePressed(line));
    EXPECT_FALSE(button.isHeld(line));
}

TEST_F(Button, EveryLineFollowsACountOfDisagreeingPolls)
{
    std::array<int, 32> disagreeing{};
    std::uint32_t held = 0;
    std::mt19937 random(1);
    std::uint32_t levels = 0xFFFFFFFF;
    for (int i = 0; i < 20000; ++i) {
        levels ^= static_cast<std::uint32_t>(random() & random() & random()); // an eighth of the lines changes
        pollLevels(levels);
        std::uint32_t pressed = 0;
        std::uint32_t released = 0;
        for (std::size_t n = 0; n < 32; ++n) {
            const std::uint32_t mask = 1U << n;
            const bool disagrees = ((levels & mask) == 0) != ((held & mask) != 0);
            disagreeing[n] = disagrees ? disagreeing[n] + 1 : 0;
            if (disagreeing[n] == 4) {
                disagreeing[n] = 0;
                ((held & mask) == 0 ? pressed : released) |= mask;
                held ^= mask;
            }
        }
        for (int n = 0; n < 32; ++n) {
            ASSERT_EQ(button.isHeld(n), ((held >> n) & 1U) != 0) << "line " << n << ", poll " << i;
            ASSERT_EQ(button.takePressed(n), ((pressed >> n) & 1U) != 0) << "line " << n << ", poll " << i;
            ASSERT_EQ(button.takeReleased(n), ((released >> n) & 1U) != 0) << "line " << n << ", poll " << i;
        }
    }
}

} // namespace
