// Tests for the whole device, which runs the probe program instead of the updater.
#include "sim/device/program_file.h"
#include "sim/device/simulated_device.h"

#include "tests/sim/comparisons.h"
#include "tests/support/process_census.h"
#include "tests/support/scratch_folder.h"

#include <algorithm>
#include <chrono>
#include <csignal>
#include <elf.h>
#include <fcntl.h>
#include <fstream>
#include <functional>
#include <linux/input.h>
#include <memory>
#include <optional>
#include <sstream>
#include <string>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>

namespace {

using namespace std::chrono_literals;
using sim::DeviceEnded;
using sim::DeviceSetup;
using sim::SimulatedDevice;

namespace fs = std::filesystem;

constexpr auto timeout = 20s;

bool becomesTrue(const std::function<bool()>& condition)
{
    const auto end = std::chrono::steady_clock::now() + timeout;
    while (!condition()) {
        if (std::chrono::steady_clock::now() > end) {
            return false;
        }
        std::this_thread::sleep_for(1ms);
    }
    return true;
}

class Device : public testing::Test {
protected:
    explicit Device(const std::string& name = "device")
    {
        setup.updater = PROBE_PROGRAM;
        setup.preload = PRELOAD_LIBRARY;
        setup.root = folder / name;
    }

    SimulatedDevice& start(const std::string& commands)
    {
        setup.environment.push_back("PROBE=" + commands);
        device.emplace(setup);
        return *device;
    }
    void addScript(const std::string& name, const std::string& body) const
    {
        const fs::path path = setup.root / "usr/sbin" / name;
        fs::create_directories(path.parent_path());
        std::ofstream(path) << "#!/bin/sh\n" << body;
        fs::permissions(path, fs::perms::owner_all);
    }
    void addFile(const std::string& name, const std::string& contents) const
    {
        fs::create_directories((setup.root / name).parent_path());
        std::ofstream(setup.root / name) << contents;
    }
    [[nodiscard]] std::vector<std::string> output()
    {
        std::vector<std::string> lines;
        std::istringstream text(device->standardOutput());
        for (std::string line; std::getline(text, line);) {
            lines.push_back(line);
        }
        return lines;
    }

    ScratchFolder folder;
    DeviceSetup setup;
    std::optional<SimulatedDevice> device;
};

// Iterations.

TEST_F(Device, StopsAtTheEndOfTheFirstIteration)
{
    start("print before;iterate 1;print after");
    EXPECT_EQ(device->iteration(), 1U);
    EXPECT_EQ(output(), (Lines{"before"}));
}

TEST_F(Device, CountsOnlySleepsOf1000MicrosecondsAsIterations)
{
    start("sleep 20000;sleep 999;iterate 1;sleep 1001;print slept");
    EXPECT_EQ(device->iteration(), 1U);
    device->run(1);
    EXPECT_EQ(device->iteration(), 2U);
    EXPECT_EQ(output(), (Lines{"slept"}));
    EXPECT_EQ(device->traffic(), (Lines{"0 wait 20000", "20000 wait 999", "21999 wait 1001"}));
}

TEST_F(Device, RunsExactlyTheRequestedNumberOfIterations)
{
    start("iterate 501;print done");
    device->run(0);
    EXPECT_EQ(device->iteration(), 1U);
    device->run(499);
    device->run(1);
    EXPECT_EQ(device->iteration(), 501U);
    EXPECT_EQ(output(), Lines{});
    device->run(1);
    EXPECT_EQ(device->iteration(), 502U);
    EXPECT_EQ(output(), (Lines{"done"}));
}

TEST_F(Device, RunsToTheEndOfTheRequestedIteration)
{
    start("iterate 501;print done");
    device->runTo(501);
    device->runTo(501);
    EXPECT_EQ(device->iteration(), 501U);
    EXPECT_EQ(output(), Lines{});
    device->runTo(502);
    EXPECT_EQ(output(), (Lines{"done"}));
    EXPECT_THROW(device->runTo(501), std::logic_error);
}

TEST_F(Device, RunsThroughAnHourOfDeviceTime)
{
    start("");
    device->runTo(3'600'000);
    EXPECT_EQ(device->iteration(), 3'600'000U);
}

// Frames.

TEST_F(Device, IsBlankBeforeTheFirstFrame)
{
    start("display");
    EXPECT_EQ(device->frameCount(), 0U);
    EXPECT_TRUE(isFilledWith(device->screen(), 0));
}

TEST_F(Device, ShowsAFrameSentByTheMainThread)
{
    start("display;fill 170;frame");
    EXPECT_EQ(device->frameCount(), 1U);
    EXPECT_TRUE(isFilledWith(device->screen(), 2));
    EXPECT_EQ(device->violations(), Lines{});
}

TEST_F(Device, ShowsAFrameSentByAnotherThreadInTheIterationInWhichTheTransferEnds)
{
    const struct {
        std::chrono::microseconds frameTime;
        std::uint64_t lastWithout;
    } cases[] = {
        // The frame is sent at the start of iteration 11, after a command byte, whose transfer also takes time.
        {60ms, 11 + 60},
        {0ms, 11 + 6}, // 6.55 ms at the bus speed
        {998us, 11},
        {999us, 11 + 1}, // the pause between the two transfers takes another microsecond
    };
    for (const auto& [frameTime, lastWithout] : cases) {
        device.reset();
        setup.frameTime = frameTime;
        start("display;fill 255;iterate 10;thread-frame");
        device->runTo(lastWithout);
        EXPECT_EQ(device->frameCount(), 0U) << frameTime.count();
        EXPECT_TRUE(isFilledWith(device->screen(), 0));
        device->run(1);
        EXPECT_EQ(device->frameCount(), 1U) << frameTime.count();
        EXPECT_TRUE(isFilledWith(device->screen(), 3));
        EXPECT_EQ(device->violations(), Lines{});
    }
}

TEST_F(Device, ShowsFramesPostedToAWaitingThread)
{
    for (const std::string post : {"post", "post all"}) {
        device.reset();
        start("display;writer;iterate 10;fill 85;" + post + ";iterate 10;fill 170;" + post);
        device->runTo(11 + 6);
        EXPECT_EQ(device->frameCount(), 0U);
        device->runTo(11 + 7);
        EXPECT_EQ(device->frameCount(), 1U);
        EXPECT_TRUE(isFilledWith(device->screen(), 1));
        device->runTo(21 + 6);
        EXPECT_EQ(device->frameCount(), 1U);
        device->runTo(21 + 7);
        EXPECT_EQ(device->frameCount(), 2U);
        EXPECT_TRUE(isFilledWith(device->screen(), 2));
        EXPECT_EQ(device->violations(), Lines{});
    }
}

/// The bus carries out one transfer after another, but the second thread does not wait before it changes the
/// data/command line.
TEST_F(Device, ReportsFramesSentAtTheSameTime)
{
    setup.frameTime = 60ms;
    start("display;thread-frame;iterate 20;thread-frame");
    device->runTo(30);
    EXPECT_EQ(device->violations(), (Lines{"the data/command line changed during a transfer"}));
}

TEST_F(Device, ReportsProtocolViolations)
{
    start("display;write 255");
    EXPECT_EQ(device->violations(), (Lines{"unknown command: 0xFF on page 1"}));
}

// Input.

TEST_F(Device, DeliversOneEncoderRecordPerRead)
{
    start("encoder");
    device->turn(-2);
    device->queueEncoderEvent(EV_KEY, KEY_A, 7);
    device->run(4);
    EXPECT_EQ(output(), (Lines{"2: event 2 0 -2", "3: event 0 0 0", "4: event 1 30 7"}));
}

TEST_F(Device, PullsTheButtonLineLowWhileTheButtonIsPressed)
{
    start("gpio");
    device->press();
    device->run(5);
    device->release();
    device->run(5);
    EXPECT_EQ(output(), (Lines{"low at 2", "high at 7"}));
}

TEST_F(Device, AClickPressesTheButtonFor60Iterations)
{
    start("gpio");
    device->click();
    EXPECT_EQ(device->iteration(), 121U);
    EXPECT_EQ(output(), (Lines{"low at 2", "high at 62"}));
}

TEST_F(Device, HasADriveWhileOneIsPluggedIn)
{
    start("stat /dev/sda;iterate 1;stat /dev/sda;file /dev/sda;iterate 1;stat /dev/sda");
    folder.write("image", "the drive\n");
    EXPECT_FALSE(device->hasDrive());
    device->plug(folder / "image");
    EXPECT_TRUE(device->hasDrive());
    device->run(1);
    device->unplug();
    device->run(1);
    EXPECT_FALSE(device->hasDrive());
    EXPECT_EQ(output(), (Lines{"/dev/sda 2", "/dev/sda 0", "the drive", "", "/dev/sda 2"}));
}

TEST_F(Device, RedirectsOnlySimulatedPaths)
{
    addFile("tmp/fw/version.txt", "1.2.3");
    addFile("etc/hostname", "wrongly redirected");
    addFile("usr/sbin/tool", "wrongly redirected");
    folder.write("elsewhere", "elsewhere");
    start("file /tmp/fw/version.txt;file /tmp/fw/none;stat /usr/sbin/tool;file " + (folder / "elsewhere").string());
    EXPECT_EQ(output(), (Lines{"1.2.3", "nothing", "/usr/sbin/tool 2", "elsewhere"}));
}

// Injected faults.

TEST_F(Device, InjectsFaultsBeforeTheProgramStarts)
{
    setup.injectedFaults = {sim::fault::absentMemory};
    start("gpio");
    EXPECT_EQ(output(), (Lines{"no memory 13"}));
    device.reset();
    setup.injectedFaults = {sim::fault::mappingFails};
    start("gpio");
    EXPECT_EQ(output(), (Lines{"no mapping 1"}));
}

TEST_F(Device, InjectsAndRemovesFaultsWhileTheProgramRuns)
{
    start("display;iterate 1;write 166;write 175;iterate 1;write 166");
    device->setInjectedFault(sim::fault::failingDisplay, true);
    device->run(1);
    EXPECT_EQ(output(), (Lines{"write failed 5", "write failed 5"}));
    device->setInjectedFault(sim::fault::failingDisplay, false);
    device->run(1);
    EXPECT_EQ(output().size(), 2U);
}

TEST_F(Device, ForbiddenDriveFaultAffectsOnlyTheDrive)
{
    setup.injectedFaults = {sim::fault::forbiddenDrive};
    start("stat /dev/sda;stat /dev/sda1;stat /dev/null");
    EXPECT_EQ(output(), (Lines{"/dev/sda 13", "/dev/sda1 13", "/dev/null 0"}));
}

TEST_F(Device, NoProcessesFaultPreventsScriptsFromStarting)
{
    addScript("install.sh", "echo never\n");
    setup.injectedFaults = {sim::fault::noProcesses};
    start("script /usr/sbin/install.sh");
    EXPECT_EQ(output(), (Lines{"no script 11"}));
    EXPECT_FALSE(device->isScriptRunning());
}

// Scripts.

TEST_F(Device, ClockStopsWhileWaitingForAScript)
{
    addScript("install.sh", "sleep 0.1\n"
                            "echo first\n"
                            "until [ -e \"$DEVICE_ROOT/go\" ]; do sleep 0.01; done\n"
                            "echo second\n"
                            "exit 3\n");
    start("iterate 9;script /usr/sbin/install.sh a b");
    EXPECT_FALSE(device->isScriptRunning());
    device->run(9);
    EXPECT_TRUE(device->isScriptRunning());
    device->awaitScriptOutput(6);
    EXPECT_EQ(device->iteration(), 10U);
    device->run(100);
    EXPECT_EQ(output(), (Lines{"first"}));
    EXPECT_TRUE(device->isScriptRunning());

    addFile("go", "");
    device->awaitScriptEnd();
    EXPECT_EQ(device->iteration(), 110U);
    device->run(1);
    EXPECT_EQ(output(), (Lines{"first", "second"}));
    device->run(1);
    EXPECT_EQ(output(), (Lines{"first", "second", "script ended with 3"}));
    EXPECT_FALSE(device->isScriptRunning());
    EXPECT_EQ(device->traffic(), (Lines{"9000 run /usr/sbin/install.sh a b"}));
}

TEST_F(Device, DoesNotWaitWithoutAScript)
{
    start("");
    device->awaitScriptEnd();
    device->awaitScriptOutput(1000);
    EXPECT_EQ(device->iteration(), 1U);
}

TEST_F(Device, StopsWaitingForOutputWhenTheScriptEnds)
{
    addScript("install.sh", "echo little\n");
    start("script /usr/sbin/install.sh");
    device->awaitScriptOutput(1000);
    device->run(2);
    EXPECT_EQ(output(), (Lines{"little", "script ended with 0"}));
}

TEST_F(Device, PassesArgumentsAndTheRootToAScript)
{
    addScript("format.sh", "echo \"$# $1 $2 $DEVICE_ROOT $0\"\n");
    start("script /usr/sbin/format.sh /dev/sda1 'two words'");
    device->awaitScriptEnd();
    device->run(1);
    EXPECT_EQ(output(), (Lines{"2 /dev/sda1 two words " + setup.root.string() + " " +
                               (setup.root / "usr/sbin/format.sh").string()}));
}

/// The descriptor on which `ls` opens the folder that it lists: the lowest that it has not inherited.
constexpr const char* descriptorOfLs = "3";

TEST_F(Device, HidesItsVariablesAndDescriptorsFromScripts)
{
    addScript("format.sh", "echo \"${LD_PRELOAD-none} ${SIM_SOCKET-none}\"\n"
                           "ls /proc/self/fd\n");
    start("script /usr/sbin/format.sh;environment LD_PRELOAD;environment SIM_SOCKET;environment SIM_LIBRARY");
    device->awaitScriptEnd();
    device->run(2);
    EXPECT_EQ(output(),
              (Lines{"unset", "unset", "unset", "none none", "0", "1", "2", descriptorOfLs, "script ended with 0"}));
}

TEST_F(Device, LetsScriptsInheritDescriptorsWithoutCloseOnExec)
{
    addScript("format.sh", "find /proc/self/fd -type l -lname /dev/null -printf '%f\\n'\n");
    start("encoder;script /usr/sbin/format.sh");
    device->awaitScriptEnd();
    device->run(2);
    EXPECT_EQ(output(), (Lines{"0", "3", "script ended with 0"}));
}

TEST_F(Device, DoesNotInheritTheControllersFiles)
{
    const int inheritable = open("/dev/null", O_RDONLY);
    ASSERT_GT(inheritable, 2);
    addScript("format.sh", "ls /proc/self/fd\n");
    start("script /usr/sbin/format.sh");
    device->awaitScriptEnd();
    device->run(2);
    EXPECT_EQ(output(), (Lines{"0", "1", "2", descriptorOfLs, "script ended with 0"}));
    close(inheritable);
}

TEST_F(Device, RunsCommandsThatAreNotScriptsUnchanged)
{
    start("script echo plain");
    EXPECT_FALSE(device->isScriptRunning());
    EXPECT_TRUE(becomesTrue([this] {
        device->run(1);
        return device->standardOutput() == "plain\nscript ended with 0\n";
    }));
}

TEST_F(Device, KillsItsScriptsWhenItIsSwitchedOff)
{
    addScript("install.sh", "echo $$\nexec sleep 1000\n");
    start("script /usr/sbin/install.sh");
    device->awaitScriptOutput(2);
    device->run(1);
    const pid_t script = std::stoi(device->standardOutput());
    EXPECT_TRUE(isRunning(script));
    device.reset();
    EXPECT_TRUE(becomesTrue([script] { return !isRunning(script); }));
}

// Scripts whose output is paced in iterations. A probe program that starts a script before its first iteration reads
// the script's output from iteration 2 on, and prints what it reads.

class PacedScript : public Device {
protected:
    PacedScript()
    {
        setup.scriptPace = 100;
        fs::create_directories(setup.root);
    }

    /// Runs install.sh until it has ended, or until iteration 2000. Returns the program's output in pieces "N: TEXT":
    /// the program prints TEXT in iteration N + 1.
    Lines readings(const std::string& body)
    {
        device.reset();
        addScript("install.sh", body);
        start("script /usr/sbin/install.sh");
        Lines result;
        std::size_t seen = 0;
        while (device->isScriptRunning() && device->iteration() < 2000) {
            device->run(1);
            const std::string text = device->standardOutput();
            if (text.size() > seen) {
                result.push_back(std::to_string(device->iteration() - 1) + ": " + text.substr(seen));
                seen = text.size();
            }
        }
        return result;
    }
};

TEST_F(PacedScript, PassesEachLineAFixedNumberOfIterationsAfterThePreviousOne)
{
    const struct {
        const char* description;
        const char* body;
        Lines expected;
    } cases[] = {
        {"fast", "echo one\necho two\nexit 3\n", {"100: one\n", "200: two\n", "300: script ended with 3\n"}},
        {"slow",
         "sleep 0.1\necho one\nsleep 0.2\necho two\nsleep 0.1\nexit 3\n",
         {"100: one\n", "200: two\n", "300: script ended with 3\n"}},
        {"a line in two writes", "printf on\nsleep 0.1\necho e\n", {"100: one\n", "200: script ended with 0\n"}},
        {"a partial last line", "printf 'one\\ntwo'\n", {"100: one\n", "200: two", "300: script ended with 0\n"}},
        {"an empty line", "echo\n", {"100: \n", "200: script ended with 0\n"}},
        {"no output", "exit 4\n", {"100: script ended with 4\n"}},
        {"closed output", "echo one\nexec >&-\nsleep 0.2\nexit 5\n", {"100: one\n", "200: script ended with 5\n"}},
    };
    for (const auto& [description, body, expected] : cases) {
        EXPECT_EQ(readings(body), expected) << description;
    }
}

/// The exit status of a killed script depends on the shell that runs it.
TEST_F(PacedScript, AKilledScriptHasTheSameStatusAsWithoutPacing)
{
    const std::string body = "echo one\nkill -9 $$\n";
    const std::string paced = readings(body).back();
    setup.scriptPace = 0;
    addScript("install.sh", body);
    start("script /usr/sbin/install.sh");
    device->awaitScriptEnd();
    device->run(2);
    EXPECT_EQ(paced, "200: " + output().back() + "\n");
}

TEST_F(PacedScript, PassesALongLineCompletely)
{
    const Lines pieces = readings("head -c 5000 /dev/zero | tr '\\0' x\necho\n");
    std::string text;
    for (const std::string& piece : pieces) {
        text += piece.substr(piece.find(' ') + 1);
    }
    EXPECT_EQ(text, std::string(5000, 'x') + "\nscript ended with 0\n");
}

TEST_F(PacedScript, AWaitingScriptContinuesOnlyWhenItsLineHasBeenPassedOn)
{
    addScript("install.sh", "for step in 1 2 3; do\n"
                            "  echo $step >>\"$DEVICE_ROOT/done\"\n"
                            "  echo $step\n"
                            "  read -r _ <\"$DEVICE_ROOT/script-steps\"\n"
                            "done\n");
    start("script /usr/sbin/install.sh");
    const struct {
        std::uint64_t iteration;
        const char* done;
    } cases[] = {{1, "1\n"}, {99, "1\n"}, {100, "1\n2\n"}, {199, "1\n2\n"}, {200, "1\n2\n3\n"}};
    for (const auto& [iteration, done] : cases) {
        device->runTo(iteration);
        device->awaitScriptStep();
        std::this_thread::sleep_for(5ms); // time for a premature step
        EXPECT_EQ(folder.read("device/done"), done) << iteration;
    }
    device->runTo(401);
    EXPECT_FALSE(device->isScriptRunning());
}

TEST_F(PacedScript, DoesNotWaitForAStepWithoutAScript)
{
    start("");
    device->awaitScriptStep();
    EXPECT_EQ(device->iteration(), 1U);
}

TEST_F(PacedScript, HidesItsDescriptorsFromScripts)
{
    const Lines lines = readings("ls /proc/self/fd | tr '\\n' ' '\necho\n");
    EXPECT_EQ(lines.front(), std::string("100: 0 1 2 ") + descriptorOfLs + " \n");
}

TEST_F(PacedScript, NamesTheRunningScript)
{
    addScript("format.sh", "echo one\n");
    start("iterate 5;script /usr/sbin/format.sh 1");
    EXPECT_EQ(device->runningScript(), "");
    device->runTo(10);
    EXPECT_EQ(device->runningScript(), "format.sh 1");
    device->runTo(300);
    EXPECT_EQ(device->runningScript(), "");
}

TEST_F(PacedScript, ProgramEndsWithItsControllerWhileTheClockIsStopped)
{
    addScript("install.sh", "exec sleep 1000\n");
    setup.environment.emplace_back("PROBE=pid;script /usr/sbin/install.sh");
    const pid_t controller = fork();
    if (controller == 0) {
        int calls = 0;
        setup.whileWaiting = [&calls] {
            if (++calls == 2) {
                _exit(0);
            }
        };
        SimulatedDevice(setup).run(200);
        _exit(1);
    }
    int status = 0;
    ASSERT_EQ(waitpid(controller, &status, 0), controller);
    EXPECT_EQ(status, 0);
    const pid_t program = std::stoi(folder.read("device/updater.out").substr(4));
    EXPECT_TRUE(becomesTrue([program] { return !isRunning(program); }));
    kill(-program, SIGKILL); // the script, which is in the program's process group
}

// The environment of the program, and its end.

TEST_F(Device, RecordsTheOutputOfTheProgram)
{
    start("print to the one;print-error to the other");
    EXPECT_EQ(device->standardOutput(), "to the one\n");
    EXPECT_EQ(device->standardError(), "to the other\n");
}

TEST_F(Device, AddsVariablesToTheEnvironmentOfTheProgramAndItsScripts)
{
    setup.environment.emplace_back("COLOUR=deep blue");
    addScript("format.sh", "echo \"$COLOUR\"\n");
    start("environment COLOUR;script /usr/sbin/format.sh");
    device->awaitScriptEnd();
    device->run(1);
    EXPECT_EQ(output(), (Lines{"deep blue", "deep blue"}));
}

struct EndCase {
    const char* name;
    const char* command;
    const char* description;
};

void PrintTo(const EndCase& tested, std::ostream* stream)
{
    *stream << tested.name;
}

class DeviceEnd : public Device, public testing::WithParamInterface<EndCase> {};

TEST_P(DeviceEnd, NextRequestReportsTheEnd)
{
    start(std::string("iterate 5;") + GetParam().command);
    device->runTo(5);
    EXPECT_EQ(device->waitStatus(), std::nullopt);
    EXPECT_THROW(device->run(1), DeviceEnded);
    ASSERT_TRUE(device->waitStatus());
    EXPECT_EQ(SimulatedDevice::describe(*device->waitStatus()), GetParam().description);
    EXPECT_EQ(device->waitForEnd(), device->waitStatus());
    EXPECT_THROW((void)device->screen(), DeviceEnded);
}

TEST_P(DeviceEnd, NextRequestReportsAnEndBeforeTheFirstIteration)
{
    start(std::string("print-error last words;") + GetParam().command);
    EXPECT_EQ(SimulatedDevice::describe(device->waitForEnd()), GetParam().description);
    EXPECT_TRUE(contains(device->standardError(), "last words\n"));
    EXPECT_THROW((void)device->iteration(), DeviceEnded);
}

INSTANTIATE_TEST_SUITE_P(, DeviceEnd,
                         testing::Values(EndCase{"Crash", "crash", "signal 11"}, EndCase{"Abort", "abort", "signal 6"},
                                         EndCase{"Exception", "throw", "signal 6"},
                                         EndCase{"ExitWith7", "exit 7", "exit status 7"},
                                         EndCase{"ExitWith0", "exit 0", "exit status 0"}),
                         [](const auto& tested) { return std::string(tested.param.name); });

TEST_F(Device, RecordsTheExceptionThatEndedTheProgram)
{
    start("throw");
    device->waitForEnd();
    EXPECT_TRUE(contains(device->standardError(), "std::runtime_error"));
    EXPECT_TRUE(contains(device->standardError(), "as requested"));
}

TEST_F(Device, NamesTheMissingFile)
{
    DeviceSetup without = setup;
    without.updater = folder / "no-updater";
    EXPECT_TRUE(contains(thrownMessage([&] { SimulatedDevice{without}; }), "no-updater"));
    without = setup;
    without.preload = folder / "no-preload.so";
    EXPECT_TRUE(contains(thrownMessage([&] { SimulatedDevice{without}; }), "no-preload.so"));
}

TEST_F(Device, AcceptsPathsWithBlanksAndColons)
{
    const fs::path special = folder / "a blank, a: colon";
    fs::create_directories(special);
    fs::copy_file(PROBE_PROGRAM, special / "program");
    fs::copy_file(PRELOAD_LIBRARY, special / "preload.so");
    setup.updater = special / "program";
    setup.preload = special / "preload.so";
    start("display;iterate 1");
    EXPECT_EQ(device->iteration(), 1U);
}

TEST_F(Device, RejectsAnUpdaterThatIsNotExecutable)
{
    folder.write("updater", "not executable");
    setup.updater = folder / "updater";
    EXPECT_THROW(SimulatedDevice{setup}, std::runtime_error);
}

TEST_F(Device, ProgramEndsWithItsController)
{
    setup.environment.emplace_back("PROBE=pid");
    const pid_t controller = fork();
    if (controller == 0) {
        const auto controlled = std::make_unique<SimulatedDevice>(setup);
        becomesTrue([&] { return controlled->standardOutput().ends_with("\n"); });
        _exit(0);
    }
    int status = 0;
    ASSERT_EQ(waitpid(controller, &status, 0), controller);
    ASSERT_EQ(status, 0);
    const std::string output = folder.read("device/updater.out");
    ASSERT_TRUE(output.starts_with("pid ")) << output;
    const pid_t program = std::stoi(output.substr(4));
    EXPECT_TRUE(becomesTrue([program] { return !isRunning(program); }));
}

TEST_F(Device, IsIndependentOfOtherDevices)
{
    start("iterate 5;print first");
    DeviceSetup otherSetup = setup;
    otherSetup.root = folder / "other";
    otherSetup.environment.back() = "PROBE=iterate 5;print second";
    SimulatedDevice other(otherSetup);
    other.run(10);
    EXPECT_EQ(device->iteration(), 1U);
    device->run(10);
    EXPECT_EQ(device->standardOutput(), "first\n");
    EXPECT_EQ(other.standardOutput(), "second\n");
}

/// The path of the device's folder contains characters that a shell interprets.
class DeviceInSpecialFolder : public Device {
protected:
    DeviceInSpecialFolder() : Device("My Devices/it's \"$HOME\"; no. 1") {}
};

TEST_F(DeviceInSpecialFolder, QuotesThePathForTheShell)
{
    addScript("format.sh", "echo \"$1 in $DEVICE_ROOT\"\n");
    addFile("tmp/fw/version.txt", "1.2.3");
    start("file /tmp/fw/version.txt;script /usr/sbin/format.sh 1");
    device->awaitScriptEnd();
    device->run(2);
    EXPECT_EQ(output(), (Lines{"1.2.3", "1 in " + setup.root.string(), "script ended with 0"}));
}

// Programs and libraries that must be rejected, because the program would otherwise use the real hardware.

class StartCheck : public Device {
protected:
    /// Expects the start to fail with a message that contains `reason`, before the program runs.
    void expectRejection(const std::string& reason)
    {
        setup.environment = {"PROBE=print started"};
        const std::string message = thrownMessage([&] { SimulatedDevice{setup}; });
        EXPECT_TRUE(contains(message, reason)) << message;
        const fs::path output = setup.root / "updater.out";
        EXPECT_TRUE(!fs::exists(output) || fs::file_size(output) == 0);
    }
    /// A copy of the probe program that names no loader, like a static executable.
    [[nodiscard]] fs::path staticProgram() const
    {
        fs::copy_file(PROBE_PROGRAM, folder / "static");
        std::fstream file(folder / "static", std::ios::in | std::ios::out | std::ios::binary);
        Elf64_Ehdr header{};
        file.read(reinterpret_cast<char*>(&header), sizeof header);
        for (unsigned i = 0; i < header.e_phnum; ++i) {
            const auto offset = static_cast<std::streamoff>(header.e_phoff + i * sizeof(Elf64_Phdr));
            Elf64_Phdr part{};
            file.seekg(offset).read(reinterpret_cast<char*>(&part), sizeof part);
            part.p_type = part.p_type == PT_INTERP ? PT_NULL : part.p_type;
            file.seekp(offset).write(reinterpret_cast<const char*>(&part), sizeof part);
        }
        return folder / "static";
    }
};

TEST_F(StartCheck, RejectsALibraryThatCannotBeLoaded)
{
    folder.write("preload.so", "no library");
    setup.preload = folder / "preload.so";
    expectRejection("cannot load " + setup.preload.string());
    setup.preload = folder.path();
    expectRejection("cannot load " + setup.preload.string());
}

TEST_F(StartCheck, RejectsALibraryThatIsNotTheSimulatedHardware)
{
    std::ifstream maps("/proc/self/maps");
    for (std::string line; std::getline(maps, line);) {
        if (line.find("/libm.so") != std::string::npos) {
            setup.preload = line.substr(line.find('/'));
        }
    }
    expectRejection("not the simulated hardware: " + setup.preload.string());
}

TEST_F(StartCheck, RejectsFilesThatAreNotDynamicallyLinkedPrograms)
{
    folder.write("script", "#!/bin/sh\necho started\n");
    fs::permissions(folder / "script", fs::perms::owner_all);
    for (const fs::path& program : {folder / "script", staticProgram(), fs::path(PRELOAD_LIBRARY)}) {
        setup.updater = program;
        expectRejection("cannot preload the simulated hardware into " + program.string());
    }
}

TEST_F(StartCheck, RejectsASetUserIdProgram)
{
    fs::copy_file(PROBE_PROGRAM, folder / "program");
    fs::permissions(folder / "program", fs::perms::owner_all | fs::perms::set_uid);
    setup.updater = folder / "program";
    expectRejection("cannot preload the simulated hardware into ");
}

TEST_F(StartCheck, ReportsWhyTheProgramCannotBeRun)
{
    fs::copy_file(PROBE_PROGRAM, folder / "program");
    fs::permissions(folder / "program", fs::perms::owner_read);
    setup.updater = folder / "program";
    expectRejection("exit status 127; cannot run " + setup.updater.string() + ": Permission denied");
}

TEST_F(StartCheck, OverridesPreloadVariablesInTheEnvironment)
{
    setup.environment = {"PROBE=display;iterate 1", "LD_PRELOAD=", "SIM_SOCKET=0"};
    EXPECT_EQ(SimulatedDevice(setup).iteration(), 1U);
}

TEST(ProgramFile, ReadsTheLoaderOfDynamicProgramsOnly)
{
    const ScratchFolder folder;
    folder.write("script", "#!/bin/sh\n");
    folder.write("empty", "");
    folder.write("short", ELFMAG);
    EXPECT_TRUE(contains(sim::interpreterOf(PROBE_PROGRAM), "/ld"));
    for (const fs::path& other : {folder / "script", folder / "empty", folder / "short", folder / "missing",
                                  folder.path(), fs::path(PRELOAD_LIBRARY)}) {
        EXPECT_EQ(sim::interpreterOf(other), "") << other;
    }
}

// Other behaviour.

TEST_F(Device, RejectsUnknownFaultsAndLeavesNoProcess)
{
    setup.injectedFaults = {"no such fault"};
    EXPECT_EQ(thrownMessage([&] { start("pid"); }), "unknown fault: no such fault");
    EXPECT_EQ(waitpid(-1, nullptr, WNOHANG), -1) << "a child process remains";
}

TEST_F(Device, AcceptsEveryNamedFault)
{
    start("");
    for (const std::string_view name : sim::fault::all) {
        EXPECT_NO_THROW(device->setInjectedFault(std::string(name), true));
        EXPECT_NO_THROW(device->setInjectedFault(std::string(name), false));
    }
}

TEST_F(Device, StopsWaitingWhenTheCallbackThrows)
{
    bool isStarted = false; // on a busy machine, the start calls the callback too
    setup.whileWaiting = [&] {
        if (isStarted) {
            throw std::logic_error("enough");
        }
    };
    addScript("install.sh", "exec sleep 1000\n");
    start("script /usr/sbin/install.sh");
    isStarted = true;
    EXPECT_THROW(device->awaitScriptEnd(), std::logic_error);
}

TEST_F(Device, ExplainsSignalsByNumberAndName)
{
    EXPECT_EQ(SimulatedDevice::explain(SIGSEGV), "signal 11 (Segmentation fault)");
    EXPECT_EQ(SimulatedDevice::explain(1 << 8), "exit status 1");
}

/// The program is a shell, because a shell can close the descriptor of the library's socket.
TEST_F(Device, KillsAProgramThatClosesItsSocketButContinues)
{
    folder.write("profile", "for file in /proc/$$/fd/*; do\n"
                            "  fd=${file##*/}\n"
                            "  [ \"$fd\" -le 2 ] || eval \"exec $fd>&-\"\n"
                            "done\n"
                            "echo closed\n"
                            "while :; do sleep 0.01; done\n");
    setup.updater = "/bin/bash";
    setup.endTimeout = 10ms;
    setup.environment = {"BASH_ENV=" + (folder / "profile").string()};
    device.emplace(setup);
    ASSERT_TRUE(becomesTrue([this] { return device->standardOutput() == "closed\n"; })) << device->standardError();
    EXPECT_THROW((void)device->iteration(), DeviceEnded);
    EXPECT_EQ(SimulatedDevice::describe(device->waitForEnd()), "signal 9");
}

} // namespace
