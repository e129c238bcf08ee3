// Tests for the log of a scenario.
#include "sim/run/scenario_log.h"

#include <gtest/gtest.h>
#include <memory>
#include <sstream>

namespace {

using sim::ScenarioLog;
using sim::Screen;

std::unique_ptr<Screen> emptyScreen()
{
    auto screen = std::make_unique<Screen>();
    screen->fill(0);
    return screen;
}

void setPixel(Screen& screen, int x, int y)
{
    screen[static_cast<std::size_t>(y * sim::screenWidth + x)] = 3;
}

/// A log and its output.
struct PrintedLog {
    std::ostringstream stream;
    ScenarioLog log{stream};

    /// The output since the last call.
    std::string printed()
    {
        std::string text = stream.str();
        stream.str("");
        return text;
    }
};

TEST(ScenarioLog, PrintsEventsWithTheDeviceTimeInSeconds)
{
    PrintedLog test;
    test.log.printEvent(12345, "something happens");
    EXPECT_EQ(test.printed(), "  12.345 s  something happens\n");
}

TEST(ScenarioLog, OmitsTrailingBlanksAndTrailingEmptyRows)
{
    PrintedLog test;
    const auto screen = emptyScreen();
    setPixel(*screen, 0, 4);
    setPixel(*screen, 5, 4);
    test.log.printScreen(500, *screen, "");
    EXPECT_EQ(test.printed(), "   0.500 s  screen:\n\n\n\u2801 \u2808\n\n");
}

TEST(ScenarioLog, PrintsTheNameOfAKnownScreen)
{
    PrintedLog test;
    const auto screen = emptyScreen();
    setPixel(*screen, 0, 0);
    test.log.printScreen(500, *screen, "menu");
    EXPECT_EQ(test.printed(), "   0.500 s  screen \"menu\":\n\n\u2801\n\n");
}

TEST(ScenarioLog, MarksAnEmptyScreen)
{
    PrintedLog test;
    test.log.printScreen(1, *emptyScreen(), "");
    EXPECT_EQ(test.printed(), "   0.001 s  screen:\n(empty)\n");
}

TEST(ScenarioLog, PrintsNothingForAnUnchangedScreen)
{
    PrintedLog test;
    const auto screen = emptyScreen();
    test.log.printScreen(1, *screen, "");
    (void)test.printed();
    test.log.printScreen(2, *screen, "");
    EXPECT_EQ(test.printed(), "");
}

TEST(ScenarioLog, PrintsNothingIfOnlyTheBusyIndicatorChanges)
{
    PrintedLog test;
    const auto screen = emptyScreen();
    test.log.printScreen(1, *screen, "");
    (void)test.printed();
    for (const auto& [x, y] : {std::pair{102, 104}, {153, 104}, {102, 154}, {153, 154}}) {
        setPixel(*screen, x, y);
    }
    test.log.printScreen(2, *screen, "waiting");
    EXPECT_EQ(test.printed(), "");
}

TEST(ScenarioLog, PrintsChangesNextToTheBusyIndicator)
{
    for (const auto& [x, y] : {std::pair{101, 120}, {154, 120}, {120, 103}, {120, 155}}) {
        PrintedLog test;
        const auto screen = emptyScreen();
        test.log.printScreen(1, *screen, "");
        (void)test.printed();
        setPixel(*screen, x, y);
        test.log.printScreen(2, *screen, "");
        EXPECT_NE(test.printed(), "") << x << ", " << y;
    }
}

TEST(ScenarioLog, PrintsOnlyTheChangedRowsOfASmallChange)
{
    PrintedLog test;
    const auto screen = emptyScreen();
    setPixel(*screen, 0, 0);
    test.log.printScreen(1, *screen, "");
    (void)test.printed();
    setPixel(*screen, 2, 81);
    test.log.printScreen(2, *screen, "");
    EXPECT_EQ(test.printed(), "   0.002 s  screen:\n\n \u2802\n\n");
}

TEST(ScenarioLog, ThrowsWhenTheStreamFails)
{
    PrintedLog test;
    test.stream.setstate(std::ios::badbit);
    EXPECT_THROW(test.log.printEvent(1, "a word"), std::runtime_error);
}

} // namespace
