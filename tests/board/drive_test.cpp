// Drives without a valid update, unusual drives, and fast turns in the menu.
#include "tests/board/board_test.h"
#include "updater/screen_texts.h"

#include <memory>

namespace {

using boardTest::hasNoViolations;
using boardTest::isUnchanged;
using boardTest::screensFrom;

/// The tests share one boot; each test restarts the program. No test modifies the card.
class Drive : public testing::Test {
protected:
    static void SetUpTestSuite() { boot(); }
    static void TearDownTestSuite() { board.reset(); }

    static void boot()
    {
        board.reset(); // ends the previous emulator
        board = std::make_unique<Board>(Board::Setup{"Drive"});
    }
    void SetUp() override { startUpdater(); }
    void startUpdater()
    {
        firstScreen = screensFrom(*board).size();
        board->startUpdater();
        board->waitForScene(scenes::waiting());
    }
    void TearDown() override
    {
        EXPECT_TRUE(hasNoViolations(*board));
        board->stopUpdater();
        EXPECT_TRUE(isUnchanged(board->card()));
    }

    void expectFailure(const std::string& message) const
    {
        const Scene end = scenes::failed(message);
        board->waitForScene(end);
        EXPECT_TRUE(showsInOrder(screensFrom(*board, firstScreen), {scenes::waiting(), scenes::preparing(), end}));
        board->waitForLine("A command failed...");
    }

    std::size_t firstScreen = 0;
    static std::unique_ptr<Board> board;
};

std::unique_ptr<Board> Drive::board;

TEST_F(Drive, ReportsAMissingFirmwareFile)
{
    board->plug("drive_without_firmware.img");
    expectFailure(texts::firmwareNotFound);
    board->pull();
}

TEST_F(Drive, ReportsACorruptFirmwareFile)
{
    board->plug("drive_with_corrupt_firmware.img");
    expectFailure(texts::firmwareCorrupt);
    board->pull();
}

/// A bug in QEMU 10.0.2 can abort the emulator when a device is removed during a USB transfer. If that happens, the
/// test boots again and repeats the attempt.
TEST_F(Drive, ReportsADrivePulledDuringARead)
{
    constexpr int attempts = 5;
    for (int attempt = 1;; ++attempt) {
        try {
            board->plug("drive.img");
            board->waitForScene(scenes::preparing());
            board->pull();
            expectFailure(texts::driveFailed);
            return;
        } catch (const std::runtime_error&) {
            if (attempt == attempts || !board->hasEmulatorReported("usb_ep_get: Assertion")) {
                throw;
            }
            boot();
            startUpdater();
        }
    }
}

TEST_F(Drive, AcceptsADriveWithoutAPartitionTable)
{
    board->plug("drive_without_table.img");
    board->waitForScene(scenes::menu());
    EXPECT_TRUE(
        showsInOrder(screensFrom(*board, firstScreen), {scenes::waiting(), scenes::preparing(), scenes::menu()}));
    board->pull();
}

/// On the emulated board, sending a frame takes longer than the interval between two redraws.
TEST_F(Drive, ShowsTheLatestSelectionAfterFastTurns)
{
    board->plug("drive.img");
    board->waitForScene(scenes::menu());
    const std::size_t menuScreens = screensFrom(*board).size();
    // The first detent selects the upper of the two entries; an even number of further detents returns to it. A turn
    // is at most 32 detents, because the kernel queues at most 64 records, two per detent.
    for (const int detents : {21, -20, 20, -20, 20}) {
        board->turn(detents);
        board->waitForPolls(40); // 400 iterations, enough to send all frames
    }
    const std::vector<sim::Screen> screens = screensFrom(*board, menuScreens);
    ASSERT_FALSE(screens.empty());
    EXPECT_TRUE(scenes::factoryResetSelected().has(screens.back()));
    for (const sim::Screen& screen : screens) {
        EXPECT_TRUE(scenes::factoryResetSelected().has(screen) || scenes::updateSelected().has(screen));
    }
    board->pull();
}

/// The kernel creates /dev/sda before /dev/sda1, so the program may pass /dev/sda to decrypt.sh.
TEST_F(Drive, AcceptsADriveFoundBeforeItsPartition)
{
    board->stopUpdater();
    board->plug("drive.img");
    const std::vector<std::string> output =
        board->run("until [ -b /dev/sda1 ]; do usleep 1000; done; decrypt.sh /dev/sda");
    EXPECT_EQ(output.back(), "BOARD exit status 0");
    board->pull();
}

} // namespace
