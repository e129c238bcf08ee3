// Updates, a factory reset and power cuts with the example scripts, a FAT drive and a partition of the card.
#include "tests/board/board_test.h"

#include <fstream>
#include <memory>
#include <stdexcept>
#include <unistd.h>

namespace {

using boardTest::chooseAndConfirm;
using boardTest::containsNewFirmware;
using boardTest::hasNoViolations;
using boardTest::screensFrom;

namespace fs = std::filesystem;

using Versions = std::vector<std::string>;

std::vector<Scene> scenesOf(bool factoryReset, const Versions& oldVersions = {scenes::preparedVersion})
{
    return {scenes::waiting(),
            scenes::preparing(),
            scenes::menu(),
            factoryReset ? scenes::factoryResetSelected() : scenes::updateSelected(),
            scenes::question(factoryReset, false, oldVersions),
            scenes::question(factoryReset, true, oldVersions),
            scenes::working(factoryReset),
            scenes::done()};
}

/// The number of bytes that had been written to the card when the work began, and when it ended.
struct WorkSpan {
    std::uint64_t begin = 0;
    std::uint64_t end = 0;
};

fs::path spanFile()
{
    return fs::path(RUNS_DIR) / "work_span";
}

void startWithDrive(Board& board)
{
    board.startUpdater();
    board.waitForScene(scenes::waiting());
    board.plug("drive.img");
}

std::uint64_t bytesToCard(Board& board)
{
    return board.withBus([](const Bus& bus) { return bus.cardBytes(); });
}

WorkSpan work(Board& board, bool factoryReset, const Versions& oldVersions = {scenes::preparedVersion})
{
    WorkSpan span;
    chooseAndConfirm(board, factoryReset, oldVersions);
    span.begin = bytesToCard(board);
    board.waitForScene(scenes::done());
    span.end = bytesToCard(board);
    return span;
}

struct JobCase {
    const char* name;
    bool factoryReset;
};

class Job : public testing::TestWithParam<JobCase> {};

TEST_P(Job, ShowsEverySceneAndInstallsTheNewFirmware)
{
    const bool factoryReset = GetParam().factoryReset;
    Board board({GetParam().name});
    startWithDrive(board);
    const WorkSpan span = work(board, factoryReset);
    EXPECT_TRUE(showsInOrder(screensFrom(board), scenesOf(factoryReset)));
    EXPECT_TRUE(hasNoViolations(board));
    board.waitForLine("Starting updater...");
    board.waitForLine("Started install.sh");
    board.cutPower();
    EXPECT_TRUE(containsNewFirmware(board.card(), !factoryReset));
    if (!factoryReset) {
        std::ofstream(spanFile()) << span.begin << ' ' << span.end << '\n';
    }
}

INSTANTIATE_TEST_SUITE_P(All, Job, testing::Values(JobCase{"Update", false}, JobCase{"FactoryReset", true}),
                         [](const auto& job) { return job.param.name; });

/// The parameter selects a tenth of the work, 0 to 9; the power is cut in the middle of that tenth. Work is measured in
/// bytes written to the card. The tests share boots: the board that completes the interrupted update also starts the
/// next test's update, on a card with the prepared content.
class PowerCut : public testing::TestWithParam<int> {
protected:
    static void TearDownTestSuite()
    {
        board.reset();
        fs::remove(card());
    }
    void TearDown() override
    {
        if (HasFailure()) {
            board.reset(); // the next test boots another board
            fs::copy_file(card(), fs::path(RUNS_DIR) / name() / "card.img", fs::copy_options::overwrite_existing);
        }
    }

    [[nodiscard]] static std::string name() { return "PowerCut" + std::to_string(GetParam()); }

    /// Boots with the card and the drive.
    static void boot(const std::string& boardName)
    {
        board.reset(); // the boards use the same card
        board = std::make_unique<Board>(Board::Setup{boardName, card()});
        board->plug("drive.img");
    }
    static void restoreCard()
    {
        fs::copy_file(fs::path(STAGE_DIR) / "card.img", card(), fs::copy_options::overwrite_existing);
    }
    static void cutPower();

    static std::unique_ptr<Board> board;

private:
    static fs::path card() { return fs::path(RUNS_DIR) / ("power_cut." + std::to_string(getpid()) + ".img"); }
    static bool cutPowerAt(std::uint64_t cut, WorkSpan& span);
};

std::unique_ptr<Board> PowerCut::board;

/// Cuts the power after the updater has written `cut` bytes to the card. If the work ends earlier, sets `span.end` to
/// the number of bytes written by then, and returns false.
bool PowerCut::cutPowerAt(std::uint64_t cut, WorkSpan& span)
{
    const Scene done = scenes::done();
    const std::uint64_t before = bytesToCard(*board);
    board->startUpdater();
    chooseAndConfirm(*board, false);
    board->waitFor("the time of the power cut", [&](const Bus& bus) {
        span.end = bus.cardBytes() - before;
        return span.end >= cut || done.has(bus.screens().back());
    });
    if (span.end < cut) {
        return false;
    }
    board->cutPower();
    return true;
}

/// Starts an update of the prepared card, and cuts the power in the middle of the tenth. The kernel also writes
/// periodically, so a fast run writes fewer bytes than a slow one. If the work ends before the cut, the next attempt
/// uses the span of that run.
void PowerCut::cutPower()
{
    WorkSpan span;
    if (!(std::ifstream(spanFile()) >> span.begin >> span.end) || span.begin >= span.end) {
        throw std::runtime_error("no valid work_span file: run the test board.update first");
    }
    for (;;) {
        restoreCard();
        if (!board) {
            boot(name() + ".before");
        }
        if (cutPowerAt(span.begin + (span.end - span.begin) * (2 * static_cast<unsigned>(GetParam()) + 1) / 20, span)) {
            return;
        }
        board->stopUpdater();
    }
}

TEST_P(PowerCut, NextUpdateSucceedsAndKeepsThePresets)
{
    cutPower();
    boot(name());
    board->startUpdater();
    const Versions oldVersions = {scenes::preparedVersion,
                                  scenes::newVersion}; // depends on the progress of the first update
    work(*board, false, oldVersions);
    EXPECT_TRUE(showsInOrder(screensFrom(*board), scenesOf(false, oldVersions)));
    EXPECT_TRUE(hasNoViolations(*board));
    EXPECT_TRUE(containsNewFirmware(board->card(), true));
    board->stopUpdater();
}

INSTANTIATE_TEST_SUITE_P(Early, PowerCut, testing::Range(0, 5));
INSTANTIATE_TEST_SUITE_P(Late, PowerCut, testing::Range(5, 10));

} // namespace
