// From the program's start to its first frame.
#include "tests/board/board_test.h"
#include "tests/board/expected_events.h"
#include "tests/system/golden_screen.h"

#include <chrono>
#include <iostream>
#include <memory>

namespace {

using boardTest::eventsOf;
using testing::ElementsAre;

/// The tests share one boot; each test checks one aspect.
class StartUp : public testing::Test {
protected:
    static void SetUpTestSuite()
    {
        using Clock = std::chrono::steady_clock;
        const auto switchedOn = Clock::now();
        board = std::make_unique<Board>(Board::Setup{"StartUp"});
        const auto ready = Clock::now();
        board->startUpdater();
        board->waitFor("the first screen", boardTest::hasScreen);
        std::cout << "booted in " << std::chrono::duration<double>(ready - switchedOn).count() << " s, first frame "
                  << std::chrono::duration<double>(Clock::now() - ready).count() << " s after the program's start\n";
    }
    static void TearDownTestSuite() { board.reset(); }

    static std::unique_ptr<Board> board;
};

std::unique_ptr<Board> StartUp::board;

TEST_F(StartUp, PrintsOnlyTheStartingLine)
{
    EXPECT_THAT(board->lines(), ElementsAre("Starting updater..."));
}

TEST_F(StartUp, SendsTheExpectedSetUpToLinesLedsAndDisplay)
{
    EXPECT_EQ(firstDifference(eventsOf(*board), Events{"line 5 output"} + expected::ledSetUp() +
                                                    expected::displaySetUp() + Events{"command 5C", "frame"}),
              "");
}

TEST_F(StartUp, ChangesOnlyLines5And7And25)
{
    for (const std::string& event : eventsOf(*board)) {
        EXPECT_TRUE(!event.starts_with("line ") || event.starts_with("line 5 ") || event.starts_with("line 7 ") ||
                    event.starts_with("line 25 "))
            << event;
        EXPECT_FALSE(event.starts_with("GPIO register")) << event;
    }
}

TEST_F(StartUp, UsesSpiMode3AtNoMoreThan12500Kilohertz)
{
    const auto [modes, dividers] =
        board->withBus([](const Bus& bus) { return std::pair(bus.spiModes(), bus.clockDividers()); });
    EXPECT_THAT(modes, ElementsAre(3));
    // The emulated core clock is 562.5 MHz; 46 is the smallest even divider that gives at most 12.5 MHz.
    EXPECT_THAT(dividers, ElementsAre(46));
}

TEST_F(StartUp, LeavesTheWholeLedBarLit)
{
    std::string expected = "0x01";
    for (int reg = 0x01; reg <= 0x25; ++reg) {
        expected += reg < 0x0D ? " 0x00" : reg <= 0x12 ? " 0xff" : reg == 0x13 ? " 0x00" : " 0x10";
    }
    EXPECT_THAT(board->run("i2ctransfer -y 22 w1@0x6c 0 r38"), ElementsAre(expected, "BOARD exit status 0"));
}

TEST_F(StartUp, ShowsTheWaitingScreenFirst)
{
    EXPECT_TRUE(matchesGolden(board->withBus([](const Bus& bus) { return bus.screens().front(); }), "waiting"));
}

TEST_F(StartUp, CausesNoProtocolViolations)
{
    EXPECT_TRUE(boardTest::hasNoViolations(*board));
}

} // namespace
