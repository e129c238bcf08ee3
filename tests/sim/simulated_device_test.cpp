// Tests of the device as a whole, on which a program of the tests' own runs.
#include "sim/device/program_file.h"
#include "sim/device/simulated_device.h"

#include "tests/support/scratch_folder.h"

#include <chrono>
#include <csignal>
#include <elf.h>
#include <fcntl.h>
#include <fstream>
#include <functional>
#include <gmock/gmock.h>
#include <linux/input.h>
#include <memory>
#include <optional>
#include <ostream>
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
using sim::Time;
using testing::AllOf;
using testing::Contains;
using testing::Each;
using testing::ElementsAre;
using testing::EndsWith;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;
using testing::Optional;
using testing::Property;
using testing::Throws;

namespace fs = std::filesystem;

constexpr auto patience = 20s;

bool becomesTrue(const std::function<bool()>& condition)
{
    const auto end = std::chrono::steady_clock::now() + patience;
    while (!condition()) {
        if (std::chrono::steady_clock::now() > end) {
            return false;
        }
        std::this_thread::sleep_for(1ms);
    }
    return true;
}

/// Ended, though perhaps nobody has asked how yet.
bool hasEnded(pid_t pid)
{
    std::ifstream file("/proc/" + std::to_string(pid) + "/stat");
    const std::string status{std::istreambuf_iterator<char>(file), {}};
    const std::size_t name = status.rfind(')');
    return name == std::string::npos || status.at(name + 2) == 'Z';
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
    [[nodiscard]] std::vector<std::string> output() const
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

TEST_F(Device, StandsAtTheEndOfItsFirstIteration)
{
    start("say before;iterate 1;say after");
    EXPECT_EQ(device->iteration(), 1U);
    EXPECT_THAT(output(), ElementsAre("before"));
}

TEST_F(Device, CountsOnlySleepsOfAMillisecondAsIterations)
{
    start("sleep 20000;sleep 999;iterate 1;sleep 1001;say slept");
    EXPECT_EQ(device->iteration(), 1U);
    device->run(1);
    EXPECT_EQ(device->iteration(), 2U);
    EXPECT_THAT(output(), ElementsAre("slept"));
    EXPECT_THAT(device->traffic(), ElementsAre("0 wait 20000", "20000 wait 999", "21999 wait 1001"));
}

TEST_F(Device, RunsExactlyAsManyIterationsAsItIsTold)
{
    start("iterate 501;say done");
    device->run(0);
    EXPECT_EQ(device->iteration(), 1U);
    device->run(499);
    device->run(1);
    EXPECT_EQ(device->iteration(), 501U);
    EXPECT_THAT(output(), IsEmpty());
    device->run(1);
    EXPECT_EQ(device->iteration(), 502U);
    EXPECT_THAT(output(), ElementsAre("done"));
}

TEST_F(Device, RunsToTheEndOfAnIteration)
{
    start("iterate 501;say done");
    device->runTo(501);
    device->runTo(501);
    EXPECT_EQ(device->iteration(), 501U);
    EXPECT_THAT(output(), IsEmpty());
    device->runTo(502);
    EXPECT_THAT(output(), ElementsAre("done"));
    EXPECT_THROW(device->runTo(501), std::logic_error);
}

TEST_F(Device, RunsThroughAnHourInSeconds)
{
    start("");
    device->runTo(3'600'000);
    EXPECT_EQ(device->iteration(), 3'600'000U);
}

// Frames.

TEST_F(Device, IsBlankBeforeAFrame)
{
    start("display");
    EXPECT_EQ(device->frameCount(), 0U);
    EXPECT_THAT(device->screen(), Each(0));
}

TEST_F(Device, ShowsAFrameThatTheMainThreadHasSent)
{
    start("display;fill 170;frame");
    EXPECT_EQ(device->frameCount(), 1U);
    EXPECT_THAT(device->screen(), Each(2));
    EXPECT_THAT(device->violations(), IsEmpty());
}

TEST_F(Device, ShowsAFrameOfAnotherThreadInTheIterationInWhichItEnds)
{
    const struct {
        std::chrono::microseconds frameTime;
        std::uint64_t lastWithout;
    } cases[] = {
        // Sent when iteration 11 began; the command byte in front takes its time too.
        {60ms, 11 + 60},
        {0ms, 11 + 6}, // 6.55 ms at the bus speed
        {999us, 11},
        {1000us, 11 + 1},
    };
    for (const auto& [frameTime, lastWithout] : cases) {
        device.reset();
        setup.frameTime = frameTime;
        start("display;fill 255;iterate 10;thread-frame");
        device->runTo(lastWithout);
        EXPECT_EQ(device->frameCount(), 0U) << frameTime.count();
        EXPECT_THAT(device->screen(), Each(0));
        device->run(1);
        EXPECT_EQ(device->frameCount(), 1U) << frameTime.count();
        EXPECT_THAT(device->screen(), Each(3));
        EXPECT_THAT(device->violations(), IsEmpty());
    }
}

TEST_F(Device, SendsFramesOfAWriterThatWaitsForThem)
{
    for (const std::string post : {"post", "post all"}) {
        device.reset();
        start("display;writer;iterate 10;fill 85;" + post + ";iterate 10;fill 170;" + post);
        device->runTo(11 + 6);
        EXPECT_EQ(device->frameCount(), 0U);
        device->runTo(11 + 7);
        EXPECT_EQ(device->frameCount(), 1U);
        EXPECT_THAT(device->screen(), Each(1));
        device->runTo(21 + 6);
        EXPECT_EQ(device->frameCount(), 1U);
        device->runTo(21 + 7);
        EXPECT_EQ(device->frameCount(), 2U);
        EXPECT_THAT(device->screen(), Each(2));
        EXPECT_THAT(device->violations(), IsEmpty());
    }
}

TEST_F(Device, ReportsFramesThatOverlap)
{
    setup.frameTime = 60ms;
    start("display;thread-frame;iterate 20;thread-frame");
    device->runTo(30);
    EXPECT_THAT(device->violations(), AllOf(Contains("a transfer began while another was under way"),
                                            Contains("the data/command line changed during a transfer")));
}

TEST_F(Device, ReportsProtocolViolations)
{
    start("display;write 255");
    EXPECT_THAT(device->violations(), ElementsAre("unknown command: 0xFF on page 1"));
}

// The owner's hands.

TEST_F(Device, PassesTurnsOnOneRecordAnIteration)
{
    start("encoder");
    device->turn(-2);
    device->queueEncoderEvent(EV_KEY, KEY_A, 7);
    device->run(4);
    EXPECT_THAT(output(), ElementsAre("2: event 2 0 -2", "3: event 0 0 0", "4: event 1 30 7"));
}

TEST_F(Device, PullsTheButtonsLineDownWhileItIsPressed)
{
    start("gpio");
    device->press();
    device->run(5);
    device->release();
    device->run(5);
    EXPECT_THAT(output(), ElementsAre("low at 2", "high at 7"));
}

TEST_F(Device, ClicksLongEnoughForTheDebouncing)
{
    start("gpio");
    device->click();
    EXPECT_EQ(device->iteration(), 121U);
    EXPECT_THAT(output(), ElementsAre("low at 2", "high at 62"));
}

TEST_F(Device, ShowsTheProgramADriveWhileItIsPlugged)
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
    EXPECT_THAT(output(), ElementsAre("/dev/sda 2", "/dev/sda 0", "the drive", "", "/dev/sda 2"));
}

TEST_F(Device, AnswersForTheFixedPathsAndNoOthers)
{
    addFile("tmp/fw/version.txt", "1.2.3");
    addFile("etc/hostname", "not seen");
    addFile("usr/sbin/tool", "not seen");
    folder.write("elsewhere", "elsewhere");
    start("file /tmp/fw/version.txt;file /tmp/fw/none;stat /usr/sbin/tool;file " + (folder / "elsewhere").string());
    EXPECT_THAT(output(), ElementsAre("1.2.3", "nothing", "/usr/sbin/tool 2", "elsewhere"));
}

// Injected faults.

TEST_F(Device, HasItsInjectedFaultsFromTheFirstInstruction)
{
    setup.injectedFaults = {sim::fault::absentMemory};
    start("gpio");
    EXPECT_THAT(output(), ElementsAre("no memory 13"));
    device.reset();
    setup.injectedFaults = {sim::fault::mappingFails};
    start("gpio");
    EXPECT_THAT(output(), ElementsAre("no mapping 1"));
}

TEST_F(Device, GetsAndLosesInjectedFaultsWhileItRuns)
{
    start("display;iterate 1;write 166;write 175;iterate 1;write 166");
    device->setInjectedFault(sim::fault::failingDisplay, true);
    device->run(1);
    EXPECT_THAT(output(), ElementsAre("write failed 5", "write failed 5"));
    device->setInjectedFault(sim::fault::failingDisplay, false);
    device->run(1);
    EXPECT_EQ(output().size(), 2U);
}

TEST_F(Device, ForbidsTheDriveButNothingElse)
{
    setup.injectedFaults = {sim::fault::forbiddenDrive};
    start("stat /dev/sda;stat /dev/sda1;stat /dev/null");
    EXPECT_THAT(output(), ElementsAre("/dev/sda 13", "/dev/sda1 13", "/dev/null 0"));
}

TEST_F(Device, StartsNoScriptsWithoutProcesses)
{
    addScript("install.sh", "echo never\n");
    setup.injectedFaults = {sim::fault::noProcesses};
    start("script /usr/sbin/install.sh");
    EXPECT_THAT(output(), ElementsAre("no script 11"));
    EXPECT_FALSE(device->isScriptRunning());
}

// Scripts.

TEST_F(Device, HoldsTimeStillUntilAScriptHasWrittenOrEnded)
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
    EXPECT_THAT(output(), ElementsAre("first"));
    EXPECT_TRUE(device->isScriptRunning());

    addFile("go", "");
    device->awaitScriptEnd();
    EXPECT_EQ(device->iteration(), 110U);
    device->run(1);
    EXPECT_THAT(output(), ElementsAre("first", "second"));
    device->run(1);
    EXPECT_THAT(output(), ElementsAre("first", "second", "script ended with 3"));
    EXPECT_FALSE(device->isScriptRunning());
    EXPECT_THAT(device->traffic(), ElementsAre("9000 run /usr/sbin/install.sh a b"));
}

TEST_F(Device, DoesNotWaitForAScriptThatDoesNotRun)
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
    EXPECT_THAT(output(), ElementsAre("little", "script ended with 0"));
}

TEST_F(Device, GivesAScriptItsArgumentsAndItsFolder)
{
    addScript("format.sh", "echo \"$# $1 $2 $DEVICE_ROOT $0\"\n");
    start("script /usr/sbin/format.sh /dev/sda1 'two words'");
    device->awaitScriptEnd();
    device->run(1);
    EXPECT_THAT(output(), ElementsAre("2 /dev/sda1 two words " + setup.root.string() + " " +
                                      (setup.root / "usr/sbin/format.sh").string()));
}

/// The descriptor on which ls reads the descriptors: the lowest that is free.
constexpr const char* ofTheListing = "3";

TEST_F(Device, HidesItselfFromItsScripts)
{
    addScript("format.sh", "echo \"${LD_PRELOAD-none} ${SIM_SOCKET-none}\"\n"
                           "ls /proc/self/fd\n");
    start("script /usr/sbin/format.sh;environment LD_PRELOAD;environment SIM_SOCKET;environment SIM_LIBRARY");
    device->awaitScriptEnd();
    device->run(2);
    EXPECT_THAT(output(), ElementsAre("unset", "unset", "unset", "none none", "0", "1", "2", ofTheListing,
                                      "script ended with 0"));
}

TEST_F(Device, LeavesItsDescriptorsToScriptsUnlessTheyAreToBeClosed)
{
    addScript("format.sh", "find /proc/self/fd -type l -lname /dev/null -printf '%f\\n'\n");
    start("encoder;script /usr/sbin/format.sh");
    device->awaitScriptEnd();
    device->run(2);
    EXPECT_THAT(output(), ElementsAre("0", "3", "script ended with 0"));
}

TEST_F(Device, ClosesTheFilesOfItsController)
{
    const int held = open("/dev/null", O_RDONLY);
    ASSERT_GT(held, 2);
    addScript("format.sh", "ls /proc/self/fd\n");
    start("script /usr/sbin/format.sh");
    device->awaitScriptEnd();
    device->run(2);
    EXPECT_THAT(output(), ElementsAre("0", "1", "2", ofTheListing, "script ended with 0"));
    close(held);
}

TEST_F(Device, RunsOtherCommandsAsTheyAre)
{
    start("script echo plain");
    EXPECT_FALSE(device->isScriptRunning());
    EXPECT_TRUE(becomesTrue([this] {
        device->run(1);
        return device->standardOutput() == "plain\nscript ended with 0\n";
    }));
}

TEST_F(Device, EndsItsScriptsWhenItIsSwitchedOff)
{
    addScript("install.sh", "echo $$\nexec sleep 1000\n");
    start("script /usr/sbin/install.sh");
    device->awaitScriptOutput(2);
    device->run(1);
    const pid_t script = std::stoi(device->standardOutput());
    EXPECT_FALSE(hasEnded(script));
    device.reset();
    EXPECT_TRUE(becomesTrue([script] { return hasEnded(script); }));
}

// The program's surroundings and its end.

TEST_F(Device, KeepsWhatTheProgramWrites)
{
    start("say to the one;complain to the other");
    EXPECT_EQ(device->standardOutput(), "to the one\n");
    EXPECT_EQ(device->standardError(), "to the other\n");
}

TEST_F(Device, AddsToTheEnvironmentOfTheProgramAndItsScripts)
{
    setup.environment.emplace_back("COLOUR=deep blue");
    addScript("format.sh", "echo \"$COLOUR\"\n");
    start("environment COLOUR;script /usr/sbin/format.sh");
    device->awaitScriptEnd();
    device->run(1);
    EXPECT_THAT(output(), ElementsAre("deep blue", "deep blue"));
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

TEST_P(DeviceEnd, IsToldToWhoeverGoesOn)
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

TEST_P(DeviceEnd, DoesNotPreventTheDeviceFromBeingBuilt)
{
    start(std::string("complain last words;") + GetParam().command);
    EXPECT_EQ(SimulatedDevice::describe(device->waitForEnd()), GetParam().description);
    EXPECT_THAT(device->standardError(), HasSubstr("last words\n"));
    EXPECT_THROW((void)device->iteration(), DeviceEnded);
}

INSTANTIATE_TEST_SUITE_P(, DeviceEnd,
                         testing::Values(EndCase{"ByACrash", "crash", "signal 11"},
                                         EndCase{"ByAbort", "abort", "signal 6"},
                                         EndCase{"ByAnException", "throw", "signal 6"},
                                         EndCase{"ByAnExit", "exit 7", "exit status 7"},
                                         EndCase{"ByAGoodExit", "exit 0", "exit status 0"}),
                         [](const auto& tested) { return std::string(tested.param.name); });

TEST_F(Device, SaysWhichExceptionEndedTheProgram)
{
    start("throw");
    device->waitForEnd();
    EXPECT_THAT(device->standardError(), AllOf(HasSubstr("std::runtime_error"), HasSubstr("as told")));
}

TEST_F(Device, NamesTheFileItCannotBeBuiltWithout)
{
    const auto failsNaming = [](const std::string& text) {
        return Throws<std::runtime_error>(Property(&std::runtime_error::what, HasSubstr(text)));
    };
    DeviceSetup without = setup;
    without.updater = folder / "no-updater";
    EXPECT_THAT([&] { SimulatedDevice{without}; }, failsNaming("no-updater"));
    without = setup;
    without.preload = folder / "no-preload.so";
    EXPECT_THAT([&] { SimulatedDevice{without}; }, failsNaming("no-preload.so"));
}

TEST_F(Device, MayLieAnywhere)
{
    const fs::path odd = folder / "a blank, a: colon";
    fs::create_directories(odd);
    fs::copy_file(PROBE_PROGRAM, odd / "program");
    fs::copy_file(PRELOAD_LIBRARY, odd / "preload.so");
    setup.updater = odd / "program";
    setup.preload = odd / "preload.so";
    start("display;iterate 1");
    EXPECT_EQ(device->iteration(), 1U);
}

TEST_F(Device, IsNotBuiltWhenItsUpdaterIsNoProgram)
{
    folder.write("updater", "not executable");
    setup.updater = folder / "updater";
    EXPECT_THROW(SimulatedDevice{setup}, std::runtime_error);
}

class DeviceWithoutController : public Device, public testing::WithParamInterface<Time> {};

TEST_P(DeviceWithoutController, EndsItsProgram)
{
    setup.time = GetParam();
    setup.environment.emplace_back("PROBE=pid");
    const pid_t controller = fork();
    if (controller == 0) {
        const auto held = std::make_unique<SimulatedDevice>(setup);
        becomesTrue([&] { return held->standardOutput().ends_with("\n"); });
        _exit(0);
    }
    int status = 0;
    ASSERT_EQ(waitpid(controller, &status, 0), controller);
    ASSERT_EQ(status, 0);
    const std::string output = folder.read("device/updater.out");
    ASSERT_THAT(output, testing::StartsWith("pid "));
    const pid_t program = std::stoi(output.substr(4));
    EXPECT_TRUE(becomesTrue([program] { return hasEnded(program); }));
}

INSTANTIATE_TEST_SUITE_P(, DeviceWithoutController, testing::Values(Time::Real, Time::Virtual), [](const auto& tested) {
    return tested.param == Time::Real ? "InRealTime" : "InVirtualTime";
});

TEST_F(Device, IsOneOfSeveral)
{
    start("iterate 5;say first");
    DeviceSetup otherSetup = setup;
    otherSetup.root = folder / "other";
    otherSetup.environment.back() = "PROBE=iterate 5;say second";
    SimulatedDevice other(otherSetup);
    other.run(10);
    EXPECT_EQ(device->iteration(), 1U);
    device->run(10);
    EXPECT_EQ(device->standardOutput(), "first\n");
    EXPECT_EQ(other.standardOutput(), "second\n");
}

// Folders with names that need care.

class DeviceInAnOddFolder : public Device {
protected:
    DeviceInAnOddFolder() : Device("My Devices/it's \"$HOME\"; no. 1") {}
};

TEST_F(DeviceInAnOddFolder, WorksLikeAnyOther)
{
    addScript("format.sh", "echo \"$1 in $DEVICE_ROOT\"\n");
    addFile("tmp/fw/version.txt", "1.2.3");
    start("file /tmp/fw/version.txt;script /usr/sbin/format.sh 1");
    device->awaitScriptEnd();
    device->run(2);
    EXPECT_THAT(output(), ElementsAre("1.2.3", "1 in " + setup.root.string(), "script ended with 0"));
}

// Other kinds of time.

TEST_F(Device, RunsByItselfInRealTime)
{
    setup.time = Time::Real;
    start("display;fill 255;thread-frame");
    EXPECT_TRUE(becomesTrue([this] { return device->iteration() > 20; }));
    EXPECT_TRUE(becomesTrue([this] { return device->frameCount() == 1; }));
    EXPECT_THAT(device->screen(), Each(3));
    EXPECT_THAT(device->violations(), IsEmpty());
}

TEST_F(Device, CanBeLeftToRunInRealTimeToo)
{
    setup.time = Time::Real;
    start("gpio");
    const std::uint64_t before = device->iteration();
    device->run(20);
    EXPECT_GE(device->iteration(), before + 20);
    device->click();
    EXPECT_THAT(output(), ElementsAre(testing::StartsWith("low at "), testing::StartsWith("high at ")));
}

TEST_F(Device, EndsInRealTimeToo)
{
    setup.time = Time::Real;
    start("iterate 5;exit 4");
    EXPECT_EQ(SimulatedDevice::describe(device->waitForEnd()), "exit status 4");
    EXPECT_THROW((void)device->iteration(), DeviceEnded);
}

TEST_F(Device, KeepsPaceWithAScriptThatRuns)
{
    addScript("install.sh", "exec sleep 1000\n");
    setup.time = Time::VirtualPaced;
    start("script /usr/sbin/install.sh");
    const auto before = std::chrono::steady_clock::now();
    device->run(50);
    EXPECT_GE(std::chrono::steady_clock::now() - before, 40ms);
    EXPECT_EQ(device->iteration(), 51U);
}

// What must not run on the real hardware.

class UnsafeDevice : public Device {
protected:
    /// Fails to be built, saying so, and the program has not begun.
    void expectRefusal(const std::string& reason)
    {
        setup.environment = {"PROBE=say begun"};
        EXPECT_THAT([&] { SimulatedDevice{setup}; },
                    Throws<std::runtime_error>(Property(&std::runtime_error::what, HasSubstr(reason))));
        const fs::path output = setup.root / "updater.out";
        EXPECT_TRUE(!fs::exists(output) || fs::file_size(output) == 0);
    }
    /// A copy of the program that asks for no loader, as if it were static.
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

TEST_F(UnsafeDevice, IsRefusedWithoutALibraryThatCanBeLoaded)
{
    folder.write("preload.so", "no library");
    setup.preload = folder / "preload.so";
    expectRefusal("cannot load " + setup.preload.string());
    setup.preload = folder.path();
    expectRefusal("cannot load " + setup.preload.string());
}

TEST_F(UnsafeDevice, IsRefusedWithALibraryThatSimulatesNothing)
{
    std::ifstream maps("/proc/self/maps");
    for (std::string line; std::getline(maps, line);) {
        if (line.find("/libm.so") != std::string::npos) {
            setup.preload = line.substr(line.find('/'));
        }
    }
    expectRefusal("not the simulated hardware: " + setup.preload.string());
}

TEST_F(UnsafeDevice, IsRefusedWithAProgramThatLoadsNoLibraries)
{
    folder.write("script", "#!/bin/sh\necho begun\n");
    fs::permissions(folder / "script", fs::perms::owner_all);
    for (const fs::path& program : {folder / "script", staticProgram(), fs::path(PRELOAD_LIBRARY)}) {
        setup.updater = program;
        expectRefusal("not a program that loads the simulated hardware: " + program.string());
    }
}

TEST_F(UnsafeDevice, IsRefusedWithAProgramThatRunsAsSomebodyElse)
{
    fs::copy_file(PROBE_PROGRAM, folder / "program");
    fs::permissions(folder / "program", fs::perms::owner_all | fs::perms::set_uid);
    setup.updater = folder / "program";
    expectRefusal("not a program that loads the simulated hardware");
}

TEST_F(UnsafeDevice, TellsWhyTheProgramCannotBeRun)
{
    fs::copy_file(PROBE_PROGRAM, folder / "program");
    fs::permissions(folder / "program", fs::perms::owner_read);
    setup.updater = folder / "program";
    expectRefusal("exit status 127; cannot run " + setup.updater.string() + ": Permission denied");
}

TEST_F(UnsafeDevice, IsNotLedAstrayByItsEnvironment)
{
    setup.environment = {"PROBE=display;iterate 1", "LD_PRELOAD=", "SIM_SOCKET=0"};
    EXPECT_EQ(SimulatedDevice(setup).iteration(), 1U);
}

TEST(ProgramFile, NamesTheLoaderOfADynamicProgramOnly)
{
    const ScratchFolder folder;
    folder.write("script", "#!/bin/sh\n");
    folder.write("empty", "");
    folder.write("short", ELFMAG);
    EXPECT_THAT(sim::interpreterOf(PROBE_PROGRAM), HasSubstr("/ld"));
    for (const fs::path& other : {folder / "script", folder / "empty", folder / "short", folder / "missing",
                                  folder.path(), fs::path(PRELOAD_LIBRARY)}) {
        EXPECT_EQ(sim::interpreterOf(other), "") << other;
    }
}

TEST_F(Device, RefusesInjectedFaultsItDoesNotKnowAndLeavesNothingRunning)
{
    setup.injectedFaults = {"bad luck"};
    EXPECT_THAT([&] { start("pid"); }, Throws<std::runtime_error>(Property(&std::runtime_error::what,
                                                                           std::string("unknown fault: bad luck"))));
    EXPECT_EQ(waitpid(-1, nullptr, WNOHANG), -1) << "a child is left";
}

TEST_F(Device, KnowsEveryTroubleThatHasAName)
{
    start("");
    for (const std::string_view name : sim::fault::all) {
        EXPECT_NO_THROW(device->setInjectedFault(std::string(name), true));
        EXPECT_NO_THROW(device->setInjectedFault(std::string(name), false));
    }
}

TEST_F(Device, CanStopWaitingForAnAnswer)
{
    setup.whileWaiting = [] { throw std::logic_error("enough"); };
    addScript("install.sh", "exec sleep 1000\n");
    start("script /usr/sbin/install.sh");
    EXPECT_THROW(device->awaitScriptEnd(), std::logic_error);
}

TEST_F(Device, ExplainsSignals)
{
    EXPECT_EQ(SimulatedDevice::explain(SIGSEGV), "signal 11 (Segmentation fault)");
    EXPECT_EQ(SimulatedDevice::explain(1 << 8), "exit status 1");
}

/// A shell, which can close the library's socket behind its back.
TEST_F(Device, EndsAProgramThatLivesOnWithoutItsSocket)
{
    folder.write("profile", "for file in /proc/$$/fd/*; do\n"
                            "  fd=${file##*/}\n"
                            "  [ \"$fd\" -le 2 ] || eval \"exec $fd>&-\"\n"
                            "done\n"
                            "echo closed\n"
                            "while :; do sleep 0.01; done\n");
    setup.updater = "/bin/bash";
    setup.time = Time::Real;
    setup.timeout = 500ms;
    setup.environment = {"BASH_ENV=" + (folder / "profile").string()};
    device.emplace(setup);
    ASSERT_TRUE(becomesTrue([this] { return device->standardOutput() == "closed\n"; })) << device->standardError();
    EXPECT_THROW((void)device->iteration(), DeviceEnded);
    EXPECT_EQ(SimulatedDevice::describe(device->waitForEnd()), "signal 9");
}

} // namespace
