// Updates, a factory reset and power cuts with the example scripts, a FAT drive and a partition of the card.
#include "tests/board/board_test.h"

#include <fstream>
#include <memory>
#include <stdexcept>

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

WorkSpan work(Board& board, bool factoryReset, const Versions& oldVersions = {scenes::preparedVersion})
{
    WorkSpan span;
    chooseAndConfirm(board, factoryReset, oldVersions);
    const auto bytes = [&board] { return board.withBus([](const Bus& bus) { return bus.cardBytes(); }); };
    span.begin = bytes();
    board.waitForScene(scenes::done());
    span.end = bytes();
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
/// bytes written to the card.
class PowerCut : public testing::TestWithParam<int> {};

/// Cuts the power after `cut` bytes have been written to the card, or at the end of the work. Sets `span.end` to the
/// number of bytes written by then. Returns false if that number is less than `cut`.
bool cutPowerAt(std::uint64_t cut, Board& board, WorkSpan& span)
{
    const Scene done = scenes::done();
    startWithDrive(board);
    chooseAndConfirm(board, false);
    board.waitFor("the time of the power cut", [&](const Bus& bus) {
        span.end = bus.cardBytes();
        return span.end >= cut || done.has(bus.screens().back());
    });
    board.cutPower();
    return span.end >= cut;
}

/// Returns a board whose power was cut in the middle of `tenth`. The kernel also writes periodically, so a fast run
/// writes fewer bytes than a slow one. If the work ends before the cut, the next attempt uses the span of that run.
std::unique_ptr<Board> boardCutIn(int tenth)
{
    WorkSpan span;
    if (!(std::ifstream(spanFile()) >> span.begin >> span.end) || span.begin >= span.end) {
        throw std::runtime_error("no valid work_span file: run the test board.update first");
    }
    for (;;) {
        const std::uint64_t cut = span.begin + (span.end - span.begin) * (2 * static_cast<unsigned>(tenth) + 1) / 20;
        auto board = std::make_unique<Board>(Board::Setup{"PowerCut" + std::to_string(tenth)});
        if (cutPowerAt(cut, *board, span)) {
            return board;
        }
    }
}

TEST_P(PowerCut, NextUpdateSucceedsAndKeepsThePresets)
{
    const std::unique_ptr<Board> board = boardCutIn(GetParam());

    Board again({"PowerCut" + std::to_string(GetParam()) + ".again", board->card()});
    startWithDrive(again);
    const Versions oldVersions = {scenes::preparedVersion,
                                  scenes::newVersion}; // depends on the progress of the first update
    work(again, false, oldVersions);
    EXPECT_TRUE(showsInOrder(screensFrom(again), scenesOf(false, oldVersions)));
    EXPECT_TRUE(hasNoViolations(again));
    again.cutPower();
    EXPECT_TRUE(containsNewFirmware(board->card(), true));
}

INSTANTIATE_TEST_SUITE_P(Tenth, PowerCut, testing::Range(0, 10));

} // namespace
