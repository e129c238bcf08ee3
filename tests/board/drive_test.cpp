// Drives that hold no update, or hold it otherwise than expected.
#include "tests/board/board_test.h"
#include "updater/screen_texts.h"

#include <memory>

namespace {

using boardTest::isUntouched;
using boardTest::isWellBehaved;
using boardTest::screensFrom;

/// One boot for all of these tests, with the program started anew in each. The card is never written on.
class Drive : public testing::Test {
protected:
    static void SetUpTestSuite() { board = std::make_unique<Board>(Board::Setup{"Drive"}); }
    static void TearDownTestSuite() { board.reset(); }

    void SetUp() override
    {
        firstScreen = screensFrom(*board).size();
        board->startUpdater();
        board->waitForScene(scenes::waiting());
    }
    void TearDown() override
    {
        EXPECT_TRUE(isWellBehaved(*board));
        board->stopUpdater();
        EXPECT_TRUE(isUntouched(board->card()));
    }

    void expectFailure(const std::string& message) const
    {
        const Scene end = scenes::failed(message);
        board->waitForScene(end);
        EXPECT_TRUE(tellsStory(screensFrom(*board, firstScreen), {scenes::waiting(), scenes::preparing(), end}));
        board->waitForLine("A command failed...");
    }

    std::size_t firstScreen = 0;
    static std::unique_ptr<Board> board;
};

std::unique_ptr<Board> Drive::board;

TEST_F(Drive, WithoutTheFirmwareFileIsTold)
{
    board->plug("drive_without_firmware.img");
    expectFailure(texts::firmwareNotFound);
    board->pull();
}

TEST_F(Drive, WithACorruptFirmwareFileIsTold)
{
    board->plug("drive_with_corrupt_firmware.img");
    expectFailure(texts::firmwareCorrupt);
    board->pull();
}

TEST_F(Drive, PulledWhileItIsReadIsTold)
{
    board->plug("drive.img");
    board->waitForScene(scenes::preparing());
    board->pull();
    expectFailure(texts::driveFailed);
}

TEST_F(Drive, WithoutAPartitionTableIsAsGood)
{
    board->plug("drive_without_table.img");
    board->waitForScene(scenes::menu());
    EXPECT_TRUE(tellsStory(screensFrom(*board, firstScreen), {scenes::waiting(), scenes::preparing(), scenes::menu()}));
    board->pull();
}

/// A frame takes longer here than the program waits for the next one.
TEST_F(Drive, BringsAMenuWhoseNewestPictureComesLastHoweverFastTheKnobTurns)
{
    board->plug("drive.img");
    board->waitForScene(scenes::menu());
    const std::size_t menuScreens = screensFrom(*board).size();
    // Of two entries, the first detent leads to the upper one, an even number from there back to it. The kernel keeps
    // no more than 64 records, two for each detent.
    for (const int detents : {21, -20, 20, -20, 20}) {
        board->turn(detents);
        board->waitForPolls(40); // 400 iterations, long enough for the frames of all of them
    }
    const std::vector<sim::Screen> screens = screensFrom(*board, menuScreens);
    ASSERT_FALSE(screens.empty());
    EXPECT_TRUE(scenes::factoryResetSelected().has(screens.back()));
    for (const sim::Screen& screen : screens) {
        EXPECT_TRUE(scenes::factoryResetSelected().has(screen) || scenes::updateSelected().has(screen));
    }
    board->pull();
}

/// The kernel makes the drive's own device first: the program may find that before there is the partition's.
TEST_F(Drive, FoundBeforeItsPartitionIsAsGood)
{
    board->stopUpdater();
    board->plug("drive.img");
    const std::vector<std::string> told =
        board->run("until [ -b /dev/sda1 ]; do usleep 1000; done; decrypt.sh /dev/sda");
    EXPECT_EQ(told.back(), "BOARD ran it with 0");
    board->pull();
}

} // namespace
