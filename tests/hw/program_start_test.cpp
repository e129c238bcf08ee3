// The debounce counters at the start of the program. They live as long as the program, so this is a program of its own.
#include "hw/button_input.h"

#include "tests/support/system_calls.h"

#include <gtest/gtest.h>

namespace {

TEST(ButtonAtProgramStart, ALineThatIsLowFromTheFirstPollIsPressedAtTheFourth)
{
    constexpr int line = 6;
    SystemCalls calls;
    calls.setLevel(line, false);
    ButtonInput button;
    int polls = 0;
    while (!button.isHeld(line) && polls < 9) {
        button.poll();
        ++polls;
    }
    EXPECT_EQ(polls, 4);
}

} // namespace
