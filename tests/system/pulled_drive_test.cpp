// The drive is pulled while the simulator's scripts run, at each progress line of an update and of a factory reset.
#include "sim/device/simulated_device.h"
#include "sim/run/device_files.h"
#include "tests/support/process_census.h"
#include "tests/system/golden_screen.h"
#include "tests/system/screen_painter.h"
#include "updater/screen_texts.h"
#include "updater/timing.h"

#include <fcntl.h>
#include <filesystem>
#include <fstream>
#include <gtest/gtest.h>
#include <ostream>
#include <stdexcept>
#include <string>
#include <sys/stat.h>
#include <unistd.h>
#include <vector>

namespace fs = std::filesystem;

namespace {

/// The number of progress lines that decrypt.sh prints. Only decrypt.sh reads the drive.
constexpr int decryptLines = 7;

constexpr int never = 0;

/// An operation and the number of progress lines that all its scripts print.
struct Job {
    const char* name;
    int turn; ///< selects the operation in the menu
    int lines;
    sim::Outcome outcome;
};

// While formatting, an update prints 7 lines, because it keeps the presets; a factory reset prints 3. While installing,
// both print 5 lines and one line per file.
constexpr int installLines = 5 + 18;
constexpr Job update = {"Update", -1, decryptLines + 7 + installLines, sim::Outcome::Updated};
constexpr Job factoryReset = {"FactoryReset", 1, decryptLines + 3 + installLines, sim::Outcome::Reset};

void PrintTo(const Job& job, std::ostream* stream)
{
    *stream << job.name;
}

/// A device whose scripts wait at their start and after each progress line.
class HeldScripts : public testing::Test {
protected:
    HeldScripts()
    {
        std::ofstream(root / "usr/lib/tonecrate/images.sh", std::ios::app)
            << "wait_for_test() { read -r _ <\"$DEVICE_ROOT/go\"; }\n"
               "show() { printf 'SHOW: %s\\n' \"$1\"; wait_for_test; }\n"
               "wait_for_test\n";
        // Opened for reading and writing, so that neither this open() nor the scripts' redirections block.
        if (mkfifo((root / "go").c_str(), 0600) != 0 || (go = open((root / "go").c_str(), O_RDWR | O_CLOEXEC)) < 0) {
            throw std::runtime_error("cannot create the FIFO for the scripts");
        }
    }
    ~HeldScripts() override { close(go); }

    void findDrive()
    {
        device.plug(drive);
        device.runTo(usbCheckPeriod);
    }
    /// Releases the scripts line by line until none is running. Pulls the drive at line `pulledLine`, counted over all
    /// scripts.
    void followScripts(int pulledLine);
    bool awaitLine();
    void release() const;
    void choose(const Job& job);
    void expectNothingIsLeft();

    sim::DeviceFiles deviceFiles{SCRIPTS_DIR, FIRMWARE_DIR};
    const fs::path root = deviceFiles.makeDevice();
    const fs::path drive = deviceFiles.makeDrive(sim::DriveKind::Firmware);
    sim::SimulatedDevice device{{.updater = UPDATER, .preload = PRELOAD, .root = root}};
    const ProcessCensus atRest = takeCensus(device.processId());
    int go = -1;
    int linesPrinted = 0;
};

void HeldScripts::followScripts(int pulledLine)
{
    while (device.isScriptRunning()) {
        release();
        while (awaitLine()) {
            if (++linesPrinted == pulledLine) {
                device.unplug();
            }
            release();
        }
    }
    device.run(40); // until the display shows every change
}

/// Waits for the next progress line. Returns false if the script has ended instead; the next script may be running.
bool HeldScripts::awaitLine()
{
    const std::string before = device.standardOutput();
    device.awaitScriptOutput(1);
    device.run(1);
    return device.isScriptRunning() && device.standardOutput() == before;
}

void HeldScripts::release() const
{
    if (write(go, "\n", 1) != 1) {
        throw std::runtime_error("cannot release a script");
    }
}

void HeldScripts::choose(const Job& job)
{
    for (const int step : {job.turn, 1}) { // selects the operation, then "Yes"
        device.turn(step);
        device.run(40);
        device.click();
    }
}

void HeldScripts::expectNothingIsLeft()
{
    const ProcessCensus after = takeCensus(device.processId());
    EXPECT_EQ(after.descriptors, atRest.descriptors);
    EXPECT_EQ(after.threads, atRest.threads);
    EXPECT_EQ(after.children, 0U);
    for (const auto& file : fs::directory_iterator(root / "tmp")) {
        EXPECT_EQ(file.path().filename(), "fw");
    }
    EXPECT_EQ(device.waitStatus(), std::nullopt);
    EXPECT_TRUE(device.violations().empty());
}

class WholeJob : public HeldScripts, public testing::WithParamInterface<Job> {};

TEST_P(WholeJob, PrintsTheExpectedNumberOfLines)
{
    const Job& job = GetParam();
    findDrive();
    followScripts(never);
    EXPECT_EQ(linesPrinted, decryptLines);
    choose(job);
    followScripts(never);
    EXPECT_EQ(linesPrinted, job.lines);
    EXPECT_TRUE(sameScreen(device.screen(), ScreenPainter().message(texts::done).screen(), "done"));
    deviceFiles.verify(root, job.outcome);
    expectNothingIsLeft();
}

INSTANTIATE_TEST_SUITE_P(Long, WholeJob, testing::Values(update, factoryReset), testing::PrintToStringParamName());

class PulledWhileReading : public HeldScripts, public testing::WithParamInterface<int> {};

TEST_P(PulledWhileReading, ReportsTheFailureAndLeavesTheMemoryUnchanged)
{
    findDrive();
    const std::string memory = sim::memoryContent(root);
    followScripts(GetParam());
    device.run(600);
    EXPECT_TRUE(sameScreen(device.screen(), ScreenPainter().message(texts::driveFailed).screen(), "failed"));
    EXPECT_EQ(device.standardOutput(), "Starting updater...\nA command failed...\n");
    EXPECT_TRUE(sim::memoryContent(root) == memory);
    expectNothingIsLeft();
}

INSTANTIATE_TEST_SUITE_P(Short, PulledWhileReading, testing::Values(1, decryptLines));
INSTANTIATE_TEST_SUITE_P(Long, PulledWhileReading, testing::Range(2, decryptLines));

struct LaterPull {
    Job job;
    int line;
};

void PrintTo(const LaterPull& pull, std::ostream* stream)
{
    *stream << pull.job.name << ", line " << pull.line;
}

class PulledAfterwards : public HeldScripts, public testing::WithParamInterface<LaterPull> {};

TEST_P(PulledAfterwards, CompletesTheOperation)
{
    const auto& [job, line] = GetParam();
    findDrive();
    followScripts(never);
    choose(job);
    followScripts(line);
    EXPECT_FALSE(device.hasDrive());
    EXPECT_TRUE(sameScreen(device.screen(), ScreenPainter().message(texts::done).screen(), "done"));
    EXPECT_EQ(device.standardOutput(), "Starting updater...\nStarted install.sh\nEverything done");
    deviceFiles.verify(root, job.outcome);
    expectNothingIsLeft();
}

std::vector<LaterPull> allLaterPulls()
{
    std::vector<LaterPull> pulls;
    for (const Job& job : {update, factoryReset}) {
        for (int line = decryptLines + 1; line <= job.lines; ++line) {
            pulls.push_back({job, line});
        }
    }
    return pulls;
}

constexpr auto nameOfPull = [](const auto& pull) {
    return std::string(pull.param.job.name) + std::to_string(pull.param.line);
};

INSTANTIATE_TEST_SUITE_P(Short, PulledAfterwards, testing::Values(LaterPull{update, decryptLines + 1}), nameOfPull);
INSTANTIATE_TEST_SUITE_P(Long, PulledAfterwards, testing::ValuesIn(allLaterPulls()), nameOfPull);

} // namespace
