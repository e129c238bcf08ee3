// Everything that a script can do wrong, in every state that runs one.
#include "tests/support/process_census.h"
#include "tests/system/modelled_device.h"

#include <cstdint>
#include <filesystem>
#include <fstream>
#include <gmock/gmock.h>
#include <iostream>
#include <string>
#include <tuple>

namespace fs = std::filesystem;

namespace {

using Place = FlowModel::Place;

/// A state that runs a script. What the owner has chosen makes no difference before the menu.
struct Job {
    const char* name;
    Place place;
    bool isReset;
};

constexpr Job jobs[] = {
    {"Preparing", Place::Preparing, false},          {"FormattingForUpdate", Place::Formatting, false},
    {"FormattingForReset", Place::Formatting, true}, {"InstallingForUpdate", Place::Installing, false},
    {"InstallingForReset", Place::Installing, true},
};

void PrintTo(const Job& job, std::ostream* stream)
{
    *stream << job.name;
}

class FaultMatrix;

enum class File { IsThere, IsMissing, IsNotExecutable };

struct Fault {
    const char* name;
    /// How the updater takes the script's end.
    int status;
    /// What the script does once it is ordered to. It can wait for further orders.
    const char* body;
    /// Looks at what comes before the script's end, and gives those orders.
    void (FaultMatrix::*watch)() = nullptr;
    File file = File::IsThere;
};

void PrintTo(const Fault& fault, std::ostream* stream)
{
    *stream << fault.name;
}

/// Every script of the matrix begins so: it writes down how it was called and who it is, and does
/// nothing without an order.
constexpr const char* opening = R"(name=${0##*/}
order() { read -r _ < "$DEVICE_ROOT/orders.$name"; }
# A shell that runs a command either waits for it or becomes it.
die() {
    ulimit -c 0
    case $(cat "/proc/$PPID/comm") in *sh) kill -s "$1" "$PPID" ;; esac
    kill -s "$1" $$
}
echo "$*" >> "$DEVICE_ROOT/calls.$name"
echo $$ > "$DEVICE_ROOT/pid"
order
echo 'SHOW: at work'
order
)";

class FaultMatrix : public testing::TestWithParam<std::tuple<Job, Fault>> {
public:
    // What is watched, each for one fault.

    void hangsForAnHour();
    void floods();
    void printsNoLineEnd();
    void printsZeroBytes();
    void worksOnWithoutOutput();
    void leavesAChild();

protected:
    void TearDown() override { EXPECT_TRUE(device.isHealthy()); }

    [[nodiscard]] const Job& job() const { return std::get<Job>(GetParam()); }
    [[nodiscard]] const Fault& fault() const { return std::get<Fault>(GetParam()); }
    [[nodiscard]] std::string scriptName() const;
    [[nodiscard]] bool isFaulty(Place place) const { return job().place == place; }

    void placeFaultyScript();
    void goToWork();
    void expectScreen(const std::string& when) { EXPECT_TRUE(walker.isAsExpected(when)) << when; }
    void beginToWork();
    void order();
    void expectProgress(const std::string& progress);
    [[nodiscard]] pid_t scriptProcess() const { return std::stoi(device.readFile("pid")); }
    [[nodiscard]] ProcessCensus census() { return takeCensus(device->processId()); }

    void expectOutcome();
    void expectLines();
    void expectCalls();
    void expectNoTraceOfTheScript();
    bool endsSoon(pid_t process);
    void expectNextInputIsHandled();

    ModelledDevice walker{"1.0", "2.0"};
    TestDevice& device = walker.device;
    FlowModel& model = walker.model;
    /// Without a script.
    ProcessCensus before;
};

// From the start to the fault.

std::string FaultMatrix::scriptName() const
{
    return isFaulty(Place::Preparing) ? "decrypt.sh" : isFaulty(Place::Formatting) ? "format.sh" : "install.sh";
}

void FaultMatrix::placeFaultyScript()
{
    const fs::path script = device.root() / "usr/sbin" / scriptName();
    if (fault().file == File::IsMissing) {
        fs::remove(script);
        return;
    }
    device.replaceScript(scriptName(), std::string(opening) + fault().body);
    if (fault().file == File::IsNotExecutable) {
        fs::permissions(script, fs::perms::owner_read | fs::perms::owner_write);
    }
}

/// To the moment at which the faulty script has been started.
void FaultMatrix::goToWork()
{
    device.switchOn();
    before = census();
    while (model.place() != job().place) {
        walker.advance(job().isReset);
    }
}

void FaultMatrix::beginToWork()
{
    order();
    device->awaitScriptOutput(static_cast<int>(std::string("SHOW: at work\n").size()));
    expectProgress("at work");
    order();
}

void FaultMatrix::order()
{
    std::ofstream(device.root() / ("orders." + scriptName())) << "go on\n";
}

void FaultMatrix::expectProgress(const std::string& progress)
{
    model.told(progress);
    walker.comeToRest();
    expectScreen("progress");
}

// The faults that take their time.

void FaultMatrix::hangsForAnHour()
{
    constexpr std::uint64_t hour = 3'600'000;
    const std::uint64_t start = device->iteration();
    const std::uint64_t frames = device->frameCount();
    for (int minutes = 0; minutes < 60; minutes += 6) {
        device->run(hour / 10);
        expectScreen("hanging");
    }
    EXPECT_EQ(device->frameCount() - frames, wheelStepsShown(start, start + hour));
    walker.turn(true);
    walker.click();
    expectScreen("deaf");
    EXPECT_EQ(census().children, 1U);
    order();
}

void FaultMatrix::floods()
{
    while (!fs::exists(device.root() / "flooded")) {
        device->run(1);
    }
    device->run(1); // what is left in the pipe
    expectProgress("at work");
    order();
    device->awaitScriptOutput(static_cast<int>(std::string("SHOW: dry\n").size()));
    expectProgress("dry");
    order();
}

void FaultMatrix::printsNoLineEnd()
{
    device->awaitScriptOutput(static_cast<int>(std::string("SHOW: never").size()));
    expectProgress("at work");
    order();
}

void FaultMatrix::printsZeroBytes()
{
    const struct {
        int bytes;
        const char* progress;
    } prints[] = {{10, "at work"}, {2, "ac"}, {12, "ac"}, {9, "on"}};
    for (const auto& print : prints) {
        device->awaitScriptOutput(print.bytes);
        expectProgress(print.progress);
        order();
    }
}

void FaultMatrix::worksOnWithoutOutput()
{
    walker.awaitScriptEnd(fault().status);
    device->run(1);
    EXPECT_EQ(fs::file_size(device.root() / "worked"), 1'000'000U) << "the updater did not wait for the script's end";
}

void FaultMatrix::leavesAChild()
{
    while (census().zombies == 0) {
        device->run(1);
    }
    for (int i = 0; i < 5; ++i) {
        device->run(1000);
        EXPECT_TRUE(device->isScriptRunning());
        expectScreen("child");
    }
    EXPECT_EQ(census().children, 1U);
    order();
}

// What has become of it all.

void FaultMatrix::expectOutcome()
{
    walker.comeToRest();
    expectScreen("outcome");
    EXPECT_EQ(device->isScriptRunning(), model.isScriptRunning());
    expectLines();
    expectCalls();
    expectNoTraceOfTheScript();
}

void FaultMatrix::expectLines()
{
    const bool hasInstalled = isFaulty(Place::Installing) || model.place() == Place::Installing;
    EXPECT_EQ(device->standardOutput(), std::string("Starting updater...\n") +
                                            (hasInstalled ? "Started install.sh\n" : "") +
                                            (model.place() == Place::Failed ? "A command failed...\n" : "") +
                                            (model.place() == Place::Done ? "Everything done" : ""));
    const std::string complaint = fault().file == File::IsMissing         ? "not found"
                                  : fault().file == File::IsNotExecutable ? "Permission denied"
                                                                          : "";
    EXPECT_THAT(device->standardError(), testing::HasSubstr(complaint));
    EXPECT_EQ(device->standardError().empty(), complaint.empty());
}

void FaultMatrix::expectCalls()
{
    if (model.place() == Place::Installing) { // the next script, which has to get as far as writing it down
        device.install.print(*device, "noise");
    }
    const bool isFormatted = job().place >= Place::Formatting;
    const bool isInstalled = isFaulty(Place::Installing) || model.place() == Place::Installing;
    const auto calls = [this](Place place, const std::string& arguments, bool wasReached) {
        return wasReached && (!isFaulty(place) || fault().file == File::IsThere) ? arguments : "";
    };
    EXPECT_EQ(device.decrypt.calls(), calls(Place::Preparing, "/dev/sda1\n", true));
    EXPECT_EQ(device.format.calls(), calls(Place::Formatting, job().isReset ? "1\n" : "0\n", isFormatted));
    EXPECT_EQ(device.install.calls(), calls(Place::Installing, "\n", isInstalled));
}

void FaultMatrix::expectNoTraceOfTheScript()
{
    const std::size_t running = model.isScriptRunning() ? 1 : 0;
    const ProcessCensus now = census();
    EXPECT_EQ(now.children, running);
    EXPECT_EQ(now.zombies, 0U);
    EXPECT_EQ(now.descriptors, before.descriptors + running);
    EXPECT_EQ(now.threads, before.threads);
    if (fault().file == File::IsThere) {
        EXPECT_TRUE(endsSoon(scriptProcess()));
    }
}

/// A script that took its shell with it is nobody's child, and may need a moment yet.
bool FaultMatrix::endsSoon(pid_t process)
{
    for (int i = 0; i < 10000 && isRunning(process); ++i) {
        device->run(1);
    }
    return !isRunning(process);
}

void FaultMatrix::expectNextInputIsHandled()
{
    const std::uint64_t frames = device->frameCount();
    const std::string calls = device.decrypt.calls();
    walker.turn(true);
    walker.comeToRest();
    expectScreen("turned");
    walker.click();
    walker.comeToRest();
    expectScreen("clicked");
    if (model.place() == Place::Installing) {
        device.install.exit(*device, 0);
        walker.awaitScriptEnd(0);
        walker.comeToRest();
        expectScreen("done");
        EXPECT_TRUE(device->standardOutput().ends_with("Started install.sh\nEverything done"));
    } else if (model.place() == Place::Dialog) {
        EXPECT_TRUE(model.isReset());
    } else { // nothing leads out of the others, not even another drive
        device->unplug();
        device->run(600);
        device.writeFile("dev/sda", "");
        device->run(600);
        expectScreen("final");
        EXPECT_EQ(device->frameCount(), frames);
        EXPECT_EQ(device.decrypt.calls(), calls);
    }
}

// The matrix.

constexpr Fault faults[] = {
    {"ExitsWith1", 1, "exit 1"},
    {"ExitsWith2", 2, "exit 2"},
    {"ExitsWith3", 3, "exit 3"},
    {"ExitsWith4", 4, "exit 4"},
    {"ExitsWith126", 126, "exit 126"},
    {"ExitsWith127", 127, "exit 127"},
    {"ExitsWith255", 255, "exit 255"},
    {"IsKilled", 0, "die KILL"},
    {"Crashes", 0, "die SEGV"},
    {"HangsForAnHour", 0, "order; exit 0", &FaultMatrix::hangsForAnHour},
    {"FloodsWith64MB", 1,
     "yes 'As many lines as it takes, and none that is to be shown: aaaaah' | head -c 64000000\n"
     "touch \"$DEVICE_ROOT/flooded\"\n"
     "order; echo; echo 'SHOW: dry'; order; exit 1",
     &FaultMatrix::floods},
    {"PrintsNoLineEnd", 0, "printf 'SHOW: never'; order; exit 0", &FaultMatrix::printsNoLineEnd},
    {"PrintsZeroBytes", 3,
     "printf 'SHOW: a\\0b\\n'; order; printf 'c\\n'; order; printf '\\0SHOW: lost\\n'; order; echo 'SHOW: on'; order\n"
     "exit 3",
     &FaultMatrix::printsZeroBytes},
    {"ClosesItsOutputAndWorksOn", 1, "exec >&-; head -c 1000000 /dev/zero > \"$DEVICE_ROOT/worked\"; exit 1",
     &FaultMatrix::worksOnWithoutOutput},
    {"LeavesAChildThatHoldsThePipe", 2, "(order; echo 'SHOW: late') & exit 2", &FaultMatrix::leavesAChild},
    {"IsMissing", 127, "", nullptr, File::IsMissing},
    {"IsNotExecutable", 126, "", nullptr, File::IsNotExecutable},
};

TEST_P(FaultMatrix, EndsAsItShould)
{
    placeFaultyScript();
    goToWork();
    if (fault().file == File::IsThere) {
        beginToWork();
    }
    if (fault().watch != nullptr) {
        (this->*fault().watch)();
    }
    if (model.place() == job().place) {
        walker.awaitScriptEnd(fault().status);
    }
    expectOutcome();
    expectNextInputIsHandled();
}

INSTANTIATE_TEST_SUITE_P(Script, FaultMatrix, testing::Combine(testing::ValuesIn(jobs), testing::ValuesIn(faults)),
                         [](const auto& test) {
                             return std::string(std::get<Job>(test.param).name) + std::get<Fault>(test.param).name;
                         });

TEST(FaultMatrixTable, HasACellForEveryFaultInEveryState)
{
    int cells = 0;
    const auto& program = *testing::UnitTest::GetInstance();
    for (int i = 0; i < program.total_test_suite_count(); ++i) {
        const testing::TestSuite& suite = *program.GetTestSuite(i);
        cells += suite.name() == std::string("Script/FaultMatrix") ? suite.total_test_count() : 0;
    }
    std::cout << cells << " cells: " << std::size(faults) << " faults in each of " << std::size(jobs) << " states\n";
    EXPECT_EQ(static_cast<std::size_t>(cells), std::size(faults) * std::size(jobs));
}

} // namespace
