// The first process of the recovery image: late and missing devices, and missing settings.
#include "tests/board/board_test.h"
#include "tests/system/golden_screen.h"

namespace {

using testing::Each;
using testing::IsEmpty;

const std::string encoderWait = "recovery: waiting for /dev/input/event0, at most 10 s";

TEST(RecoveryImage, WaitsForALateEncoder)
{
    Board board({.name = "LateEncoder", .kernelOptions = Board::Setup().kernelOptions + " board.encoder=4"});
    board.startUpdater();
    board.waitForLine(encoderWait);
    board.waitForLine("Starting updater...");
    board.waitFor("the first screen", boardTest::hasScreen);
    EXPECT_THAT(board.lines(), IsEmpty());
}

/// Boots the image without the tests' own files.
TEST(RecoveryImage, StartsTheUpdaterWithoutSettingsAndDevices)
{
    Board board({.name = "RecoveryImageAlone",
                 .initramfs = std::filesystem::path(STAGE_DIR) / "recovery.cpio.gz",
                 .observesBoot = true});
    board.waitForLine("recovery: /etc/tonecrate/updater.conf is missing: every update fails");
    board.waitForLine(encoderWait);
    board.waitForLine("recovery: /dev/input/event0 is missing");
    board.waitForLine("recovery: /dev/i2c-22 is missing");
    board.waitForLine("Starting updater...");
    board.waitForLine("Error opening rotary event device");
    board.waitFor("the first screen", boardTest::hasScreen);
    EXPECT_TRUE(matchesGolden(board.withBus([](const Bus& bus) { return bus.screens().front(); }), "waiting"));
    EXPECT_THAT(board.withBus([](const Bus& bus) { return bus.ledOutputs(); }), Each(0));
}

} // namespace
