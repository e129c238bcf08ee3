// Updates, factory resets and power cuts with the example scripts, on a FAT drive and the SD card's partitions.
#include "tests/board/board_test.h"

#include <memory>
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

void work(Board& board, bool factoryReset, const Versions& oldVersions = {scenes::preparedVersion})
{
    chooseAndConfirm(board, factoryReset, oldVersions);
    board.waitForScene(scenes::done());
}

struct JobCase {
    const char* name;
    bool factoryReset;
    /// See Board::Setup.
    const char* processors;
};

class Job : public testing::TestWithParam<JobCase> {};

TEST_P(Job, ShowsEverySceneAndInstallsTheNewFirmware)
{
    const bool factoryReset = GetParam().factoryReset;
    Board board({.name = GetParam().name, .processors = GetParam().processors});
    board.startUpdater();
    board.waitForScene(scenes::waiting());
    board.plug("drive.img");
    work(board, factoryReset);
    EXPECT_TRUE(showsInOrder(screensFrom(board), scenesOf(factoryReset)));
    EXPECT_TRUE(hasNoViolations(board));
    board.waitForLine("Starting updater...");
    board.waitForLine("Started install.sh");
    board.cutPower();
    EXPECT_TRUE(containsNewFirmware(board.card(), !factoryReset));
}

INSTANTIATE_TEST_SUITE_P(All, Job,
                         testing::Values(JobCase{"Update", false, "isolcpus=1-3"}, JobCase{"FactoryReset", true, ""}),
                         [](const auto& job) { return job.param.name; });

/// A moment of an update: a script has shown the progress line `line`, and since then the board has written at least
/// `bytes` bytes to the card.
struct Moment {
    std::string line;
    std::uint64_t bytes = 0;
    /// decrypt.sh shows the line, so nothing is chosen in the menu.
    bool isBeforeMenu = false;
};

struct CutCase {
    const char* name;
    /// The moments of the power cuts. Each cut interrupts the update that follows the previous cut.
    std::vector<Moment> cuts;
    /// The installed versions that the last update may find.
    Versions oldVersions;
    /// The last power cut leaves the memory incomplete and the backup complete.
    bool needsBackup = false;
};

const Versions oldVersion = {scenes::preparedVersion};
const Versions newVersion = {scenes::newVersion};
const Versions eitherVersion = {scenes::preparedVersion, scenes::newVersion};

/// The tests share boots: the board that completes the interrupted update also starts the next test's update, on a
/// card with the prepared content.
class PowerCut : public testing::TestWithParam<CutCase> {
protected:
    static void SetUpTestSuite() { fs::create_directories(RUNS_DIR); }
    static void TearDownTestSuite()
    {
        board.reset();
        fs::remove(card());
    }
    void TearDown() override
    {
        if (HasFailure()) {
            board.reset(); // the next test boots another board
            fs::copy_file(card(), runFolder() / "card.img", fs::copy_options::overwrite_existing);
        }
    }

    static void restoreCard()
    {
        fs::copy_file(fs::path(STAGE_DIR) / "card.img", card(), fs::copy_options::overwrite_existing);
    }
    static void boot();
    static void cutPowerAt(const Moment& moment);

    static std::unique_ptr<Board> board;

private:
    static std::string boardName() { return std::string("PowerCut") + GetParam().name; }
    static fs::path runFolder() { return fs::path(RUNS_DIR) / boardName(); }
    static fs::path card() { return fs::path(RUNS_DIR) / ("power_cut." + std::to_string(getpid()) + ".img"); }
};

std::unique_ptr<Board> PowerCut::board;

/// Boots with the card and the drive. The scripts also write their progress lines to the console, because the display
/// shows a line only after the script has continued.
void PowerCut::boot()
{
    board.reset(); // the boards use the same card
    board = std::make_unique<Board>(Board::Setup{.name = boardName(), .card = card()});
    board->run("echo 'show() { echo \"SHOW: $1\"; echo \"$1\" >/dev/console; }' >>/etc/tonecrate/updater.conf");
    board->plug("drive.img");
}

void PowerCut::cutPowerAt(const Moment& moment)
{
    const auto bytesToCard = [] { return board->withBus([](const Bus& bus) { return bus.cardBytes(); }); };
    board->startUpdater();
    if (!moment.isBeforeMenu) {
        chooseAndConfirm(*board, false, eitherVersion);
    }
    board->waitForLine(moment.line);
    const std::uint64_t end = bytesToCard() + moment.bytes;
    board->waitFor("the writes to the card", [=](const Bus& bus) { return bus.cardBytes() >= end; });
    board->cutPower();
}

TEST_P(PowerCut, NextUpdateSucceedsAndKeepsThePresets)
{
    restoreCard();
    if (!board) {
        boot();
    }
    for (const Moment& moment : GetParam().cuts) {
        cutPowerAt(moment);
        boot();
    }
    board->startUpdater();
    work(*board, false, GetParam().oldVersions);
    EXPECT_TRUE(showsInOrder(screensFrom(*board), scenesOf(false, GetParam().oldVersions)));
    EXPECT_TRUE(hasNoViolations(*board));
    EXPECT_TRUE(containsNewFirmware(board->card(), true));
    if (GetParam().needsBackup) {
        EXPECT_THAT(board->lines(), testing::Contains("Continuing with saved presets... 30%"));
    }
    board->stopUpdater();
}

const CutCase cutsOfFormatting[] = {
    {"DecryptingThenSaving",
     {{.line = "Unpacking... 15%", .isBeforeMenu = true}, {.line = "Saving the presets... 15%", .bytes = 64 << 10}},
     oldVersion},
    {"Formatting", {{"Formatting... 45%"}}, oldVersion},
    {"Restoring", {{"Restoring the presets... 75%", 64 << 10}}, oldVersion, true},
};
const CutCase cutsOfInstalling[] = {
    {"Installing", {{"Installing... 40%"}}, oldVersion, true},
    {"Verifying", {{"Checking the files... 80%"}}, oldVersion, true},
    {"WritingTheVersionThenEnding", {{"Writing the version... 95%"}, {"Installed 100%"}}, newVersion},
};

std::string nameOf(const testing::TestParamInfo<CutCase>& info)
{
    return info.param.name;
}

INSTANTIATE_TEST_SUITE_P(Formatting, PowerCut, testing::ValuesIn(cutsOfFormatting), nameOf);
INSTANTIATE_TEST_SUITE_P(Installing, PowerCut, testing::ValuesIn(cutsOfInstalling), nameOf);

} // namespace
