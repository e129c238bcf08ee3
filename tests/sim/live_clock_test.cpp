// Tests for the clock of live views.
#include "sim/session/live_clock.h"

#include <gtest/gtest.h>

namespace {

using namespace std::chrono_literals;
using sim::LiveClock;

constexpr LiveClock::TimePoint start{};

/// The number of iterations that are due before `end` if the caller polls once per `interval`.
std::uint64_t iterationsUntil(LiveClock& clock, LiveClock::TimePoint end, std::chrono::microseconds interval)
{
    std::uint64_t count = 0;
    for (LiveClock::TimePoint now = start; now < end; now += interval) {
        count += clock.takeDue(now);
    }
    return count;
}

TEST(LiveClock, SpeedIsTheNumberOfIterationsPerMillisecond)
{
    for (const int speed : {1, 4, 16}) {
        for (const auto interval : {100us, 700us, 1100us}) {
            LiveClock clock(start);
            clock.setSpeed(speed, start);
            const auto expected = static_cast<double>(1000 * speed);
            EXPECT_NEAR(static_cast<double>(iterationsUntil(clock, start + 1s, interval)), expected, 2.0 * speed);
        }
    }
}

TEST(LiveClock, AnIterationIsDueEveryMillisecond)
{
    LiveClock clock(start);
    EXPECT_EQ(clock.takeDue(start), 1U);
    EXPECT_EQ(clock.takeDue(start + 999us), 0U);
    EXPECT_EQ(clock.untilDue(start + 999us), 1us);
    EXPECT_EQ(clock.takeDue(start + 1ms), 1U);
    EXPECT_EQ(clock.untilDue(start + 5ms), 0us);
    EXPECT_EQ(clock.takeDue(start + 5ms), 4U);
}

TEST(LiveClock, MakesUpForAShortDelayInSeveralBatches)
{
    LiveClock clock(start);
    EXPECT_EQ(clock.takeDue(start + 49ms), LiveClock::longestBatch);
    EXPECT_EQ(clock.takeDue(start + 49ms), LiveClock::longestBatch);
    EXPECT_EQ(clock.takeDue(start + 49ms), 10U);
}

TEST(LiveClock, SkipsTheIterationsMissedInALongDelay)
{
    LiveClock clock(start);
    EXPECT_EQ(clock.takeDue(start + 1min), 1U);
    EXPECT_EQ(clock.takeDue(start + 1min), 0U);
}

TEST(LiveClock, AtFullSpeedTakeDueReturnsTheLongestBatch)
{
    LiveClock clock(start);
    clock.setSpeed(LiveClock::fullSpeed, start);
    EXPECT_EQ(clock.takeDue(start), LiveClock::longestBatch);
    EXPECT_EQ(clock.takeDue(start), LiveClock::longestBatch);
    EXPECT_EQ(clock.untilDue(start), 0us);
}

TEST(LiveClock, StopsDuringAPause)
{
    LiveClock clock(start);
    clock.pause();
    EXPECT_FALSE(clock.isRunning());
    EXPECT_EQ(clock.takeDue(start + 50ms), 0U);
    EXPECT_EQ(clock.untilDue(start + 50ms), 100ms);
    clock.resume(start + 60ms);
    EXPECT_TRUE(clock.isRunning());
    EXPECT_EQ(clock.takeDue(start + 60ms), 1U);
}

} // namespace
