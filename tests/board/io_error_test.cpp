// Updates while the memory, its backup or the drive has I/O errors, which the device mapper simulates.
#include "tests/board/board_test.h"

#include <memory>
#include <numeric>
#include <set>
#include <stdexcept>

namespace {

using testing::Contains;

/// The number of writes to each device that the instantiation `All` tests. In one test, the tested write and all later
/// writes fail; in another, only writes to the sectors of the tested write fail.
constexpr int pointsOfMemory = 20;
constexpr int pointsOfBackup = 8;

/// The tests of an instantiation share one boot. With the parameter n, they test every nth of the writes.
class IoErrors : public testing::TestWithParam<int> {
protected:
    static void SetUpTestSuite()
    {
        Board::Setup setup{.name = "IoErrors", .card = std::filesystem::path(STAGE_DIR) / "card.img"};
        setup.discardsChanges = true;
        board = std::make_unique<Board>(setup);
        board->plug("drive.img");
        const auto lines = board->run("until [ -b /dev/sda1 ]; do sleep 0.1; done; io_errors.sh prepare");
        if (!isSuccess(lines)) {
            throw std::runtime_error("cannot prepare the test: " + textOf(lines));
        }
    }
    static void TearDownTestSuite() { board.reset(); }

    static bool isSuccess(const std::vector<std::string>& lines) { return lines.back() == "BOARD exit status 0"; }
    static std::string textOf(const std::vector<std::string>& lines)
    {
        return std::accumulate(lines.begin(), lines.end(), std::string(),
                               [](const std::string& text, const std::string& line) { return text + line + "\n"; });
    }

    /// Runs a command of io_errors.sh. Returns the script that failed because of the errors, or "none"; empty for the
    /// command `drive`.
    static std::string outcomeOf(const std::string& command)
    {
        const auto lines = board->run("io_errors.sh " + command);
        EXPECT_TRUE(isSuccess(lines)) << command << ":\n" << textOf(lines);
        const std::string prefix = "OUTCOME ";
        const auto found =
            std::find_if(lines.begin(), lines.end(), [&](const std::string& line) { return line.starts_with(prefix); });
        return found == lines.end() ? "" : found->substr(prefix.size());
    }
    static std::set<std::string> outcomesAtPoints(const std::string& command, int count)
    {
        std::set<std::string> outcomes;
        for (int point = GetParam() / 2; point < count; point += GetParam()) {
            outcomes.insert(outcomeOf(command + " " + std::to_string(point) + " " + std::to_string(count)));
        }
        return outcomes;
    }

    static std::unique_ptr<Board> board;
};

std::unique_ptr<Board> IoErrors::board;

TEST_P(IoErrors, MemoryThatStopsAcceptingWritesLosesNoPresets)
{
    const auto outcomes = outcomesAtPoints("moment memory", pointsOfMemory);
    EXPECT_THAT(outcomes, Contains("format.sh"));
    EXPECT_THAT(outcomes, Contains("install.sh"));
}

TEST_P(IoErrors, MemoryWithDefectiveSectorsLosesNoPresets)
{
    const auto outcomes = outcomesAtPoints("place memory", pointsOfMemory);
    EXPECT_THAT(outcomes, Contains("format.sh"));
    EXPECT_THAT(outcomes, Contains("install.sh"));
}

TEST_P(IoErrors, BackupThatStopsAcceptingWritesLosesNoPresets)
{
    EXPECT_THAT(outcomesAtPoints("moment backup", pointsOfBackup), Contains("format.sh"));
}

TEST_P(IoErrors, BackupWithDefectiveSectorsLosesNoPresets)
{
    EXPECT_THAT(outcomesAtPoints("place backup", pointsOfBackup), Contains("format.sh"));
}

struct UnreadableFile {
    std::string device;
    std::string path;
    /// The beginning of the progress line after which the file cannot be read.
    std::string line;
    std::string failingScript;
};

const UnreadableFile unreadableFiles[] = {
    {"memory", "presets", "Checking the memory", "format.sh"},
    {"memory", "presets/night-bus.s16", "Checking the memory", "format.sh"},
    {"memory", "version.txt", "Checking the memory", "format.sh"},
    {"backup", "new/presets/night-bus.s16", "Checking the saved presets", "format.sh"},
    {"backup", "complete/presets/night-bus.s16", "Restoring the presets", "format.sh"},
    {"memory", "presets/night-bus.s16", "Checking the presets", "format.sh"},
    {"memory", "firmware/engine/engine.bin", "Checking the files", "install.sh"},
    {"memory", "presets/night-bus.s16", "Checking the files", "install.sh"},
};

TEST_P(IoErrors, UnreadableFilesMakeTheUpdateFailAndLoseNoPresets)
{
    for (const UnreadableFile& file : unreadableFiles) {
        const std::string command = "unreadable " + file.device + " " + file.path + " '" + file.line + "'";
        EXPECT_EQ(outcomeOf(command), file.failingScript) << command;
    }
}

/// The kernel skips unreadable sectors of a folder on a FAT drive, so decrypt.sh does not find the firmware: status 2.
TEST_P(IoErrors, UnreadableDrivesAreNotReportedAsCorruptFirmware)
{
    for (const char* part : {"boot_sector 1", "table 1", "folder 2", "header 1", "payload 1"}) {
        outcomeOf(std::string("drive ") + part);
    }
}

INSTANTIATE_TEST_SUITE_P(Sample, IoErrors, testing::Values(4));
INSTANTIATE_TEST_SUITE_P(All, IoErrors, testing::Values(1));

} // namespace
