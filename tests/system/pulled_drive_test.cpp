// The drive is pulled at every line that the scripts print, in updates and factory resets with the reference scripts.
#include "sim/device/simulated_device.h"
#include "sim/run/device_files.h"
#include "tests/support/process_census.h"
#include "tests/system/golden_screen.h"
#include "tests/system/screen_painter.h"
#include "updater/screen_texts.h"

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

/// Those of the decryption, which reads the drive.
constexpr int decryptLines = 6;

constexpr int never = 0;

/// What the owner chooses, and all lines from the drive to its end.
struct Job {
    const char* name;
    int turn; ///< of the knob in the menu
    int lines;
    sim::Outcome outcome;
};

// 4 lines of the formatting, which keeps the presets, and 20 of the installation; or 2 and, with new presets, 23.
constexpr Job update = {"Update", -1, decryptLines + 4 + 20, sim::Outcome::Updated};
constexpr Job factoryReset = {"FactoryReset", 1, decryptLines + 2 + 23, sim::Outcome::Reset};

void PrintTo(const Job& job, std::ostream* stream)
{
    *stream << job.name;
}

/// A device with the reference scripts, which wait at their beginning and at each of their progress lines.
class HeldScripts : public testing::Test {
protected:
    HeldScripts()
    {
        std::ofstream(root / "usr/sbin/common.sh", std::ios::app)
            << "wait_to_go_on() { read -r _ <\"$DEVICE_ROOT/go\"; }\n"
               "show() { printf 'SHOW: %s\\n' \"$1\"; wait_to_go_on; }\n"
               "wait_to_go_on\n";
        // Open for both, so that neither side waits for the other to open it.
        if (mkfifo((root / "go").c_str(), 0600) != 0 || (go = open((root / "go").c_str(), O_RDWR | O_CLOEXEC)) < 0) {
            throw std::runtime_error("cannot hold the scripts");
        }
    }
    ~HeldScripts() override { close(go); }

    void findDrive()
    {
        device.plug(drive);
        device.runTo(501);
    }
    /// Lets the running script, and the one that follows it at once, print line after line.
    void followScripts(int pulledLine);
    bool awaitLine();
    void letGoOn() const;
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
        letGoOn();
        while (awaitLine()) {
            if (++linesPrinted == pulledLine) {
                device.unplug();
            }
            letGoOn();
        }
    }
    device.run(40); // until all that changed is on the screen
}

/// False when the script has ended instead; the next one may run by then.
bool HeldScripts::awaitLine()
{
    const std::string before = device.standardOutput();
    device.awaitScriptOutput(1);
    device.run(1);
    return device.isScriptRunning() && device.standardOutput() == before;
}

void HeldScripts::letGoOn() const
{
    if (write(go, "\n", 1) != 1) {
        throw std::runtime_error("cannot let a script go on");
    }
}

void HeldScripts::choose(const Job& job)
{
    for (const int step : {job.turn, 1}) { // to what is chosen, to "Yes"
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

TEST_P(WholeJob, PrintsAsManyLinesAsArePulledAt)
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

INSTANTIATE_TEST_SUITE_P(All, WholeJob, testing::Values(update, factoryReset), testing::PrintToStringParamName());

class PulledWhileReading : public HeldScripts, public testing::WithParamInterface<int> {};

TEST_P(PulledWhileReading, IsReportedAndTheMemoryIsLeftAlone)
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

INSTANTIATE_TEST_SUITE_P(Line, PulledWhileReading, testing::Range(1, decryptLines + 1));

struct LaterPull {
    Job job;
    int line;
};

void PrintTo(const LaterPull& pull, std::ostream* stream)
{
    *stream << pull.job.name << ", line " << pull.line;
}

class PulledAfterwards : public HeldScripts, public testing::WithParamInterface<LaterPull> {};

TEST_P(PulledAfterwards, IsOfNoConsequence)
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

INSTANTIATE_TEST_SUITE_P(Line, PulledAfterwards, testing::ValuesIn(allLaterPulls()), [](const auto& pull) {
    return std::string(pull.param.job.name) + std::to_string(pull.param.line);
});

} // namespace
