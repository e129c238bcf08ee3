// Runs each kind of faulty script in each state of the updater that runs a script.
#include "tests/support/process_census.h"
#include "tests/system/modelled_device.h"

#include <filesystem>
#include <fstream>
#include <ostream>

namespace fs = std::filesystem;

namespace {

using Place = FlowModel::Place;

/// A state that runs a script. `isReset` is unused before the menu.
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

class FaultMatrix;

enum class File { Present, Missing, NotExecutable };

struct Fault {
    const char* name;
    /// The exit status that the updater reads; 0 after a signal.
    int status;
    /// The script's commands after `opening`. They can call `await` again.
    const char* body;
    /// Checks the device while the script runs, and releases the script from each further `await`.
    void (FaultMatrix::*watch)() = nullptr;
    File file = File::Present;
};

/// The beginning of every faulty script. It records its arguments and process ID, waits for the test, prints a progress
/// line, and waits for the test again.
constexpr const char* opening = R"(name=${0##*/}
await() { read -r _ < "$DEVICE_ROOT/commands.$name"; }
# The shell that popen() starts either waits for this script or has been replaced by it.
die() {
    ulimit -c 0
    case $(cat "/proc/$PPID/comm") in *sh) kill -s "$1" "$PPID" ;; esac
    kill -s "$1" $$
}
echo "$*" >> "$DEVICE_ROOT/calls.$name"
echo $$ > "$DEVICE_ROOT/pid"
await
echo 'SHOW: at work'
await
)";

struct Cell {
    Job job;
    Fault fault;
    /// The duration of a hang, in iterations.
    std::uint64_t hangTime;
};

void PrintTo(const Cell& cell, std::ostream* stream)
{
    *stream << cell.job.name << cell.fault.name;
}

class FaultMatrix : public testing::TestWithParam<Cell> {
public:
    // The `watch` operations of the faults.

    void hangs();
    void floods();
    void printsNoNewline();
    void printsZeroBytes();
    void continuesWithoutOutput();
    void leavesAChild();

protected:
    void TearDown() override { EXPECT_TRUE(device.isHealthy()); }

    [[nodiscard]] const Job& job() const { return GetParam().job; }
    [[nodiscard]] const Fault& fault() const { return GetParam().fault; }
    [[nodiscard]] std::string scriptName() const;
    [[nodiscard]] bool isFaulty(Place place) const { return job().place == place; }

    void placeFaultyScript();
    void startFaultyScript();
    void expectScreen(const std::string& when) { EXPECT_TRUE(walker.isAsExpected(when)) << when; }
    void showFirstProgress();
    void releaseScript();
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
    /// The census before the first script.
    ProcessCensus before;
};

// Up to the fault.

std::string FaultMatrix::scriptName() const
{
    return isFaulty(Place::Preparing) ? "decrypt.sh" : isFaulty(Place::Formatting) ? "format.sh" : "install.sh";
}

void FaultMatrix::placeFaultyScript()
{
    const fs::path script = device.root() / "usr/sbin" / scriptName();
    if (fault().file == File::Missing) {
        fs::remove(script);
        return;
    }
    device.replaceScript(scriptName(), std::string(opening) + fault().body);
    if (fault().file == File::NotExecutable) {
        fs::permissions(script, fs::perms::owner_read | fs::perms::owner_write);
    }
}

/// Runs until the updater has started the faulty script.
void FaultMatrix::startFaultyScript()
{
    device.switchOn();
    before = census();
    while (model.place() != job().place) {
        walker.advance(job().isReset);
    }
}

void FaultMatrix::showFirstProgress()
{
    releaseScript();
    device->awaitScriptOutput(static_cast<int>(std::string("SHOW: at work\n").size()));
    expectProgress("at work");
    releaseScript();
}

void FaultMatrix::releaseScript()
{
    std::ofstream(device.root() / ("commands." + scriptName())) << "continue\n";
}

void FaultMatrix::expectProgress(const std::string& progress)
{
    model.progressPrinted(progress);
    walker.settle();
    expectScreen("progress");
}

// Faults that the test watches.

void FaultMatrix::hangs()
{
    const std::uint64_t start = device->iteration();
    const std::uint64_t frames = device->frameCount();
    for (int part = 0; part < 10; ++part) {
        device->run(GetParam().hangTime / 10);
        expectScreen("hanging");
    }
    EXPECT_EQ(device->frameCount() - frames, wheelStepsShown(start, start + GetParam().hangTime));
    walker.turn(true);
    walker.click();
    expectScreen("ignored_input");
    EXPECT_EQ(census().children, 1U);
    releaseScript();
}

void FaultMatrix::floods()
{
    while (!fs::exists(device.root() / "flooded")) {
        device->run(1);
    }
    device->run(1); // reads the rest of the pipe
    expectProgress("at work");
    releaseScript();
    device->awaitScriptOutput(static_cast<int>(std::string("SHOW: dry\n").size()));
    expectProgress("dry");
    releaseScript();
}

void FaultMatrix::printsNoNewline()
{
    device->awaitScriptOutput(static_cast<int>(std::string("SHOW: never").size()));
    expectProgress("at work");
    releaseScript();
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
        releaseScript();
    }
}

void FaultMatrix::continuesWithoutOutput()
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
    releaseScript();
}

// The outcome.

void FaultMatrix::expectOutcome()
{
    walker.settle();
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
    const std::string shellError = fault().file == File::Missing         ? "not found"
                                   : fault().file == File::NotExecutable ? "Permission denied"
                                                                         : "";
    EXPECT_NE(device->standardError().find(shellError), std::string::npos) << device->standardError();
    EXPECT_EQ(device->standardError().empty(), shellError.empty());
}

void FaultMatrix::expectCalls()
{
    if (model.place() == Place::Installing) { // waits until install.sh has recorded its call
        device.install.print(*device, "noise");
    }
    const bool isFormatted = job().place >= Place::Formatting;
    const bool isInstalled = isFaulty(Place::Installing) || model.place() == Place::Installing;
    const auto calls = [this](Place place, const std::string& arguments, bool wasReached) {
        return wasReached && (!isFaulty(place) || fault().file == File::Present) ? arguments : "";
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
    if (fault().file == File::Present) {
        EXPECT_TRUE(endsSoon(scriptProcess()));
    }
}

/// The updater waits only for the shell that popen() starts. A script that kills this shell may run a little longer.
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
    walker.settle();
    expectScreen("turned");
    walker.click();
    walker.settle();
    expectScreen("clicked");
    if (model.place() == Place::Installing) {
        device.install.exit(*device, 0);
        walker.awaitScriptEnd(0);
        walker.settle();
        expectScreen("done");
        EXPECT_TRUE(device->standardOutput().ends_with("Started install.sh\nEverything done"));
    } else if (model.place() == Place::Dialog) {
        EXPECT_TRUE(model.isReset());
    } else { // a failure is final, even when another drive appears
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
    {"Hangs", 0, "await; exit 0", &FaultMatrix::hangs},
    {"FloodsWith64MB", 1,
     "yes 'A line that is not progress, repeated until 64 MB are printed.' | head -c 64000000\n"
     "touch \"$DEVICE_ROOT/flooded\"\n"
     "await; echo; echo 'SHOW: dry'; await; exit 1",
     &FaultMatrix::floods},
    {"PrintsNoNewline", 0, "printf 'SHOW: never'; await; exit 0", &FaultMatrix::printsNoNewline},
    {"PrintsZeroBytes", 3,
     "printf 'SHOW: a\\0b\\n'; await; printf 'c\\n'; await; printf '\\0SHOW: lost\\n'; await; echo 'SHOW: on'; await\n"
     "exit 3",
     &FaultMatrix::printsZeroBytes},
    {"ClosesItsOutputAndContinues", 1, "exec >&-; head -c 1000000 /dev/zero > \"$DEVICE_ROOT/worked\"; exit 1",
     &FaultMatrix::continuesWithoutOutput},
    {"LeavesAChildWithAnOpenPipe", 2, "(await; echo 'SHOW: late') & exit 2", &FaultMatrix::leavesAChild},
    {"IsMissing", 127, "", nullptr, File::Missing},
    {"IsNotExecutable", 126, "", nullptr, File::NotExecutable},
};

TEST_P(FaultMatrix, EndsInTheExpectedState)
{
    placeFaultyScript();
    startFaultyScript();
    if (fault().file == File::Present) {
        showFirstProgress();
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

constexpr std::uint64_t minute = 60'000;
constexpr std::uint64_t hour = 60 * minute;

std::vector<Cell> allCells()
{
    std::vector<Cell> cells;
    for (const Job& job : jobs) {
        for (const Fault& fault : faults) {
            cells.push_back({job, fault, hour});
        }
    }
    return cells;
}

/// Every fault in one state, and several faults in every state.
std::vector<Cell> someCells()
{
    std::vector<Cell> cells;
    for (std::size_t i = 0; i < std::size(faults); ++i) {
        cells.push_back({jobs[i % std::size(jobs)], faults[i], minute});
    }
    return cells;
}

constexpr auto nameOfCell = [](const auto& test) { return std::string(test.param.job.name) + test.param.fault.name; };

INSTANTIATE_TEST_SUITE_P(Short, FaultMatrix, testing::ValuesIn(someCells()), nameOfCell);
INSTANTIATE_TEST_SUITE_P(Long, FaultMatrix, testing::ValuesIn(allCells()), nameOfCell);

} // namespace
