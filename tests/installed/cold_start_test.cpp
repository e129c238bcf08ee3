// The start of the updater when the device is switched on.
#include "tests/installed/debian_board.h"
#include "tests/system/golden_screen.h"

#include <chrono>
#include <iostream>
#include <memory>

namespace {

/// The tests share one boot. The packages were installed while systemd was not running.
class ColdStart : public testing::Test {
protected:
    static void SetUpTestSuite()
    {
        const auto switchedOn = std::chrono::steady_clock::now();
        board = std::make_unique<DebianBoard>(
            "ColdStart", "installed.img",
            DebianBoard::Options{.kernelOptions = "systemd.wants=tonecrate-updater.service", .observesBoot = true});
        board->waitFor("the first screen", boardTest::hasScreen);
        std::cout << "first frame "
                  << std::chrono::duration<double>(std::chrono::steady_clock::now() - switchedOn).count()
                  << " s after power-on\n";
        board->waitForLine("BOARD ready");
        std::cout << board->query("systemd-analyze; systemd-analyze critical-chain tonecrate-updater.service; "
                                  "systemd-analyze blame | head");
    }
    static void TearDownTestSuite() { board.reset(); }

    static std::unique_ptr<DebianBoard> board;
};

std::unique_ptr<DebianBoard> ColdStart::board;

TEST_F(ColdStart, ShowsTheWaitingScreenFirst)
{
    EXPECT_TRUE(matchesGolden(board->withBus([](const Bus& bus) { return bus.screens().front(); }), "waiting"));
    EXPECT_TRUE(boardTest::hasNoViolations(*board));
}

TEST_F(ColdStart, LightsTheLedsAlthoughTheI2cDriverIsLoadedDuringTheBoot)
{
    EXPECT_THAT(board->withBus([](const Bus& bus) { return bus.ledOutputs(); }), testing::Contains(255).Times(6));
}

TEST_F(ColdStart, LeavesNoFailedUnits)
{
    EXPECT_EQ(board->query("systemctl --failed --no-legend"), "");
}

} // namespace
