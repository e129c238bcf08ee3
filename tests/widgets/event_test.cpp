// Tests of what travels through the widget tree.
#include "widgets/event_data.h"
#include "widgets/input_event.h"

#include <gtest/gtest.h>
#include <utility>

namespace {

TEST(EventData, HoldsNothingUntilItIsFilled)
{
    const EventData data;
    EXPECT_EQ(data.text, "");
    EXPECT_EQ(data.intValue, 0);
    EXPECT_EQ(data.floatValue, 0);
    EXPECT_EQ(data.longValue, 0);
    EXPECT_FALSE(data.flag);
}

TEST(InputEvents, HaveNumbersOfWhich3IsUnused)
{
    const std::pair<InputEvent, std::uint32_t> numbers[] = {{InputEvent::RotateLeft, 0},
                                                            {InputEvent::RotateRight, 1},
                                                            {InputEvent::Press, 2},
                                                            {InputEvent::Release, 4},
                                                            {InputEvent::LongPress, 5}};
    for (const auto& [event, number] : numbers) {
        EXPECT_EQ(static_cast<std::uint32_t>(event), number);
    }
}

} // namespace
