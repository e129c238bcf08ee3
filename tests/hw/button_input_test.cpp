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
        pollLevels(allHigh); // resets the counters, which all instances share
        button.init();
    }

    void pollLevels(std::uint32_t levels)
    {
        calls.gpio[13] = levels;
        button.poll();
    }

    /// Polls once per character, with line 6 low for 'L' and high for 'H', and all other lines high.
    void poll(const std::string& levels)
    {
        for (const char level : levels) {
            pollLevels(level == 'L' ? ~(1U << line) : allHigh);
        }
    }

    static constexpr std::uint32_t allHigh = 0xFFFFFFFF;
    SystemCalls calls;
    ButtonInput button;
};

TEST_F(Button, StartsReleasedWithoutEdges)
{
    EXPECT_FALSE(button.isHeld(line));
    EXPECT_FALSE(button.takePressed(line));
    EXPECT_FALSE(button.takeReleased(line));
}

TEST_F(Button, ThreeLowPollsLatchNoPress)
{
    for (int i = 0; i < 5; ++i) {
        poll("LLLH");
        EXPECT_FALSE(button.isHeld(line));
        EXPECT_FALSE(button.takePressed(line));
    }
}

TEST_F(Button, TheFourthLowPollLatchesOnePress)
{
    poll("LLL");
    EXPECT_FALSE(button.isHeld(line));
    EXPECT_FALSE(button.takePressed(line));
    poll("L");
    EXPECT_TRUE(button.takePressed(line));
    for (int i = 0; i < 20; ++i) {
        EXPECT_FALSE(button.takePressed(line));
        EXPECT_TRUE(button.isHeld(line));
        poll("L");
    }
    poll("HHHHLLLL");
    EXPECT_TRUE(button.takePressed(line));
}

TEST_F(Button, TheFourthHighPollLatchesOneRelease)
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

TEST_F(Button, APollThatMatchesTheStateRestartsTheCount)
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

TEST_F(Button, EdgesRemainLatchedUntilTaken)
{
    poll("LLLLHHHHHHHHHH");
    EXPECT_TRUE(button.takePressed(line));
    EXPECT_TRUE(button.takeReleased(line));
    EXPECT_FALSE(button.takePressed(line));
    EXPECT_FALSE(button.takeReleased(line));
}

TEST_F(Button, TakingAnEdgeDoesNotAffectOtherLines)
{
    for (const std::uint32_t levels : {0U, 0U, 0U, 0U, allHigh, allHigh, allHigh, allHigh}) {
        pollLevels(levels);
    }
    for (const int other : {line, 0, 5, 7, 31}) {
        EXPECT_TRUE(button.takePressed(other)) << other;
        EXPECT_TRUE(button.takeReleased(other)) << other;
    }
}

TEST_F(Button, InitClearsStateAndEdgesButNotTheCounters)
{
    poll("LLLLHHHHLLLL");
    button.init();
    EXPECT_FALSE(button.isHeld(line));
    EXPECT_FALSE(button.takePressed(line));
    EXPECT_FALSE(button.takeReleased(line));
    poll("HHHHHHHH");
    EXPECT_FALSE(button.takeReleased(line));
    poll("LLL");
    button.init();
    poll("L");
    EXPECT_TRUE(button.takePressed(line));
}

TEST_F(Button, AllInstancesShareTheCounters)
{
    poll("LLL");
    ButtonInput other;
    other.init();
    other.poll();
    EXPECT_TRUE(other.takePressed(line));
    EXPECT_FALSE(button.isHeld(line));
}

TEST_F(Button, EveryLineIsDebouncedIndependently)
{
    std::array<int, 32> disagreeing{};
    std::uint32_t held = 0;
    std::mt19937 random(1);
    std::uint32_t levels = 0xFFFFFFFF;
    for (int i = 0; i < 20000; ++i) {
        levels ^= static_cast<std::uint32_t>(random() & random() & random()); // on average, one line in eight changes
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
