// Tests the debounce counters at program start. The counters are static, so this test needs its own program.
#include "hw/button_input.h"

#include "tests/support/system_calls.h"

#include <gtest/gtest.h>

namespace {

TEST(ButtonAtProgramStart, ALineThatIsLowFromTheStartIsHeldAfterFourPolls)
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
