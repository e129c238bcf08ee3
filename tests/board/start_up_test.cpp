// The overlay's pins, and the program's start-up to its first screens.
#include "tests/board/board_test.h"
#include "tests/board/expected_events.h"
#include "tests/system/golden_screen.h"
#include "tests/wires/decoded_recording.h"

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
        board = std::make_unique<Board>(Board::Setup{.name = "StartUp", .processors = "", .tree = "wired.dtb"});
        const auto ready = Clock::now();
        pins = board->readPins();
        board->startUpdater();
        board->waitFor("the first screen", boardTest::hasScreen);
        const auto seconds = [&](Clock::time_point time) {
            return std::chrono::duration<double>(time - switchedOn).count();
        };
        std::cout << "drivers loaded " << seconds(ready) << " s after power-on, first frame " << seconds(Clock::now())
                  << " s after power-on\n";
    }
    static void TearDownTestSuite() { board.reset(); }

    static std::unique_ptr<Board> board;
    /// The functions and pull resistors of the lines before the updater starts.
    static Pins pins;
};

std::unique_ptr<Board> StartUp::board;
Pins StartUp::pins;

TEST_F(StartUp, OverlayRoutesEveryLine)
{
    struct Route {
        unsigned line;
        std::string_view function;
    };
    for (const auto [line, function] :
         {Route{2, "alternate 0"}, Route{3, "alternate 0"}, Route{6, "input"}, Route{7, "output"}, Route{8, "output"},
          Route{9, "alternate 0"}, Route{10, "alternate 0"}, Route{11, "alternate 0"}, Route{23, "input"},
          Route{24, "input"}, Route{25, "output"}}) {
        EXPECT_EQ(pins.function(line), function) << "line " << line;
    }
    for (const unsigned line : {2U, 3U, 6U, 23U, 24U}) {
        EXPECT_EQ(pins.pull(line), "up") << "line " << line;
    }
    for (const unsigned line : {7U, 25U}) {
        EXPECT_EQ(pins.pull(line), "none") << "line " << line;
    }
}

TEST_F(StartUp, PrintsOnlyTheStartingLine)
{
    EXPECT_THAT(board->linesOfUpdater(), ElementsAre("Starting updater..."));
}

TEST_F(StartUp, StartsWithTheExpectedEvents)
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

TEST_F(StartUp, RecordedWiresDecodeToTheObservedScreens)
{
    constexpr std::size_t frames = 3;
    board->waitFor("three frames", [](const Bus& bus) { return bus.screens().size() >= frames; });
    std::vector<DecodedScreen> expected;
    for (const sim::Screen& screen : board->withBus([](const Bus& bus) { return bus.screens(); })) {
        if (expected.size() < frames) {
            addDistinct(expected, {}, screen);
        }
    }
    const DecodedRecording decoded(board->recordedWires());
    ASSERT_GE(decoded.screens().size(), expected.size());
    for (std::size_t i = 0; i < expected.size(); ++i) {
        EXPECT_TRUE(decoded.screens()[i].screen == expected[i].screen) << "screen " << i;
    }
    EXPECT_THAT(decoded.violations(), ElementsAre());
    EXPECT_EQ(decoded.bringUps(), 1U);
}

TEST_F(StartUp, CausesNoProtocolViolations)
{
    EXPECT_TRUE(boardTest::hasNoViolations(*board));
}

} // namespace
