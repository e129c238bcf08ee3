#include "sim/panel/pace.h"

#include <gtest/gtest.h>

namespace sim {

using namespace std::chrono_literals;

TEST(Pace, CountsOneLateIterationPerGapOfTwoMillisecondsOrLonger)
{
    const Pace::TimePoint start{};
    Pace pace;
    pace.add(1, start);
    pace.add(1, start + 1999us);
    pace.add(3, start + 3999us);
    EXPECT_EQ(pace.iterations(), 4U);
    EXPECT_EQ(pace.late(), 1U);
}

TEST(Pace, TheFirstCallOfAddAfterAnInterruptionCountsNothing)
{
    const Pace::TimePoint start{};
    Pace pace;
    pace.add(1, start);
    pace.interrupt();
    pace.add(1, start + 1h);
    EXPECT_EQ(pace.iterations(), 0U);
    EXPECT_EQ(pace.late(), 0U);
}

} // namespace sim
