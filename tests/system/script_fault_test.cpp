// Runs the cells of the fault matrix whose scripts do not do what the updater expects.
#include "tests/support/process_census.h"
#include "tests/system/fault_tables.h"
#include "tests/system/modelled_device.h"

#include <filesystem>
#include <fstream>
#include <ostream>

namespace fs = std::filesystem;

namespace {

using Place = FlowModel::Place;

Place placeOf(const matrix::ScriptRun& run)
{
    return run.stage == matrix::Stage::Decrypting   ? Place::Preparing
           : run.stage == matrix::Stage::Formatting ? Place::Formatting
                                                    : Place::Installing;
}

class ScriptFaults;

enum class File { Present, Missing, NotExecutable };

/// What the faulty script does.
struct Behaviour {
    std::string_view fault;
    /// The script's commands after `opening`. They can call its functions `await` and `die`.
    const char* body;
    /// Checks the device while the script runs, and releases the script from each further `await`.
    void (ScriptFaults::*watch)() = nullptr;
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
    const matrix::ScriptRun* run;
    const matrix::ScriptFault* fault;
    /// The duration of a hang, in iterations.
    std::uint64_t hangTime;
};

void PrintTo(const Cell& cell, std::ostream* stream)
{
    *stream << cell.run->name << cell.fault->name;
}

class ScriptFaults : public testing::TestWithParam<Cell> {
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

    [[nodiscard]] Place faultyPlace() const { return placeOf(*GetParam().run); }
    [[nodiscard]] bool isReset() const { return GetParam().run->operation == matrix::Operation::Reset; }
    [[nodiscard]] int status() const { return GetParam().fault->status; }
    [[nodiscard]] const Behaviour& behaviour() const;
    [[nodiscard]] std::string scriptName() const;
    [[nodiscard]] bool isFaulty(Place place) const { return faultyPlace() == place; }

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

constexpr Behaviour behaviours[] = {
    {"ExitsWith1", "exit 1"},
    {"ExitsWith2", "exit 2"},
    {"ExitsWith3", "exit 3"},
    {"ExitsWith4", "exit 4"},
    {"ExitsWith126", "exit 126"},
    {"ExitsWith127", "exit 127"},
    {"ExitsWith255", "exit 255"},
    {"IsKilled", "die KILL"},
    {"Crashes", "die SEGV"},
    {"Hangs", "await; exit 0", &ScriptFaults::hangs},
    {"FloodsWith64MB",
     "yes 'A line that is not progress, repeated until 64 MB are printed.' | head -c 64000000\n"
     "touch \"$DEVICE_ROOT/flooded\"\n"
     "await; echo; echo 'SHOW: dry'; await; exit 1",
     &ScriptFaults::floods},
    {"PrintsNoNewline", "printf 'SHOW: never'; await; exit 0", &ScriptFaults::printsNoNewline},
    {"PrintsZeroBytes",
     "printf 'SHOW: a\\0b\\n'; await; printf 'c\\n'; await; printf '\\0SHOW: lost\\n'; await; echo 'SHOW: on'; await\n"
     "exit 3",
     &ScriptFaults::printsZeroBytes},
    {"ClosesItsOutputAndContinues", "exec >&-; head -c 1000000 /dev/zero > \"$DEVICE_ROOT/worked\"; exit 1",
     &ScriptFaults::continuesWithoutOutput},
    {"LeavesAChildWithAnOpenPipe", "(await; echo 'SHOW: late') & exit 2", &ScriptFaults::leavesAChild},
    {"IsMissing", "", nullptr, File::Missing},
    {"IsNotExecutable", "", nullptr, File::NotExecutable},
};

const Behaviour& ScriptFaults::behaviour() const
{
    return *std::find_if(std::begin(behaviours), std::end(behaviours),
                         [](const Behaviour& known) { return known.fault == GetParam().fault->name; });
}

// Up to the fault.

std::string ScriptFaults::scriptName() const
{
    return isFaulty(Place::Preparing) ? "decrypt.sh" : isFaulty(Place::Formatting) ? "format.sh" : "install.sh";
}

void ScriptFaults::placeFaultyScript()
{
    const fs::path script = device.root() / "usr/sbin" / scriptName();
    if (behaviour().file == File::Missing) {
        fs::remove(script);
        return;
    }
    device.replaceScript(scriptName(), std::string(opening) + behaviour().body);
    if (behaviour().file == File::NotExecutable) {
        fs::permissions(script, fs::perms::owner_read | fs::perms::owner_write);
    }
}

/// Runs until the updater has started the faulty script.
void ScriptFaults::startFaultyScript()
{
    device.switchOn();
    before = census();
    while (model.place() != faultyPlace()) {
        walker.advance(isReset());
    }
}

void ScriptFaults::showFirstProgress()
{
    releaseScript();
    device->awaitScriptOutput(static_cast<int>(std::string("SHOW: at work\n").size()));
    expectProgress("at work");
    releaseScript();
}

void ScriptFaults::releaseScript()
{
    std::ofstream(device.root() / ("commands." + scriptName())) << "continue\n";
}

void ScriptFaults::expectProgress(const std::string& progress)
{
    model.progressPrinted(progress);
    walker.settle();
    expectScreen("progress");
}

// Faults that the test watches.

void ScriptFaults::hangs()
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

void ScriptFaults::floods()
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

void ScriptFaults::printsNoNewline()
{
    device->awaitScriptOutput(static_cast<int>(std::string("SHOW: never").size()));
    expectProgress("at work");
    releaseScript();
}

void ScriptFaults::printsZeroBytes()
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

void ScriptFaults::continuesWithoutOutput()
{
    walker.awaitScriptEnd(status());
    device->run(1);
    EXPECT_EQ(fs::file_size(device.root() / "worked"), 1'000'000U) << "the updater did not wait for the script's end";
}

void ScriptFaults::leavesAChild()
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

void ScriptFaults::expectOutcome()
{
    walker.settle();
    expectScreen("outcome");
    EXPECT_EQ(device->isScriptRunning(), model.isScriptRunning());
    expectLines();
    expectCalls();
    expectNoTraceOfTheScript();
}

void ScriptFaults::expectLines()
{
    const bool hasInstalled = isFaulty(Place::Installing) || model.place() == Place::Installing;
    EXPECT_EQ(device->standardOutput(), std::string("Starting updater...\n") +
                                            (hasInstalled ? "Started install.sh\n" : "") +
                                            (model.place() == Place::Failed ? "A command failed...\n" : "") +
                                            (model.place() == Place::Done ? "Everything done" : ""));
    const std::string shellError = behaviour().file == File::Missing         ? "not found"
                                   : behaviour().file == File::NotExecutable ? "Permission denied"
                                                                             : "";
    EXPECT_NE(device->standardError().find(shellError), std::string::npos) << device->standardError();
    EXPECT_EQ(device->standardError().empty(), shellError.empty());
}

void ScriptFaults::expectCalls()
{
    if (model.place() == Place::Installing) { // waits until install.sh has recorded its call
        device.install.print(*device, "noise");
    }
    const bool isFormatted = faultyPlace() >= Place::Formatting;
    const bool isInstalled = isFaulty(Place::Installing) || model.place() == Place::Installing;
    const auto calls = [this](Place place, const std::string& arguments, bool wasReached) {
        return wasReached && (!isFaulty(place) || behaviour().file == File::Present) ? arguments : "";
    };
    EXPECT_EQ(device.decrypt.calls(), calls(Place::Preparing, "/dev/sda1\n", true));
    EXPECT_EQ(device.format.calls(), calls(Place::Formatting, isReset() ? "1\n" : "0\n", isFormatted));
    EXPECT_EQ(device.install.calls(), calls(Place::Installing, "\n", isInstalled));
}

void ScriptFaults::expectNoTraceOfTheScript()
{
    const std::size_t running = model.isScriptRunning() ? 1 : 0;
    const ProcessCensus now = census();
    EXPECT_EQ(now.children, running);
    EXPECT_EQ(now.zombies, 0U);
    EXPECT_EQ(now.descriptors, before.descriptors + running);
    EXPECT_EQ(now.threads, before.threads);
    if (behaviour().file == File::Present) {
        EXPECT_TRUE(endsSoon(scriptProcess()));
    }
}

/// The updater waits only for the shell that popen() starts. A script that kills this shell may run a little longer.
bool ScriptFaults::endsSoon(pid_t process)
{
    for (int i = 0; i < 10000 && isRunning(process); ++i) {
        device->run(1);
    }
    return !isRunning(process);
}

void ScriptFaults::expectNextInputIsHandled()
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
    } else { // the final screen stays, even when another drive appears
        device->unplug();
        device->run(600);
        device.writeFile("dev/sda", "");
        device->run(600);
        expectScreen("final");
        EXPECT_EQ(device->frameCount(), frames);
        EXPECT_EQ(device.decrypt.calls(), calls);
    }
}

// The cells.

TEST_P(ScriptFaults, EndsInTheExpectedState)
{
    placeFaultyScript();
    startFaultyScript();
    if (behaviour().file == File::Present) {
        showFirstProgress();
    }
    if (behaviour().watch != nullptr) {
        (this->*behaviour().watch)();
    }
    if (model.place() == faultyPlace()) {
        walker.awaitScriptEnd(status());
    }
    expectOutcome();
    expectNextInputIsHandled();
}

constexpr std::uint64_t minute = 60'000;
constexpr std::uint64_t hour = 60 * minute;

std::vector<Cell> allCells()
{
    std::vector<Cell> cells;
    for (const matrix::ScriptRun& run : matrix::allScriptRuns()) {
        for (const matrix::ScriptFault& fault : matrix::allScriptFaults()) {
            cells.push_back({&run, &fault, hour});
        }
    }
    return cells;
}

/// One cell per fault, distributed over all script runs, except the flood, which takes as long as all other faults.
std::vector<Cell> someCells()
{
    const auto runs = matrix::allScriptRuns();
    std::vector<Cell> cells;
    for (const matrix::ScriptFault& fault : matrix::allScriptFaults()) {
        if (!std::string_view(fault.name).starts_with("Floods")) {
            cells.push_back({&runs[cells.size() % runs.size()], &fault, minute});
        }
    }
    return cells;
}

constexpr auto nameOfRunAndFault = [](const auto& test) {
    return std::string(test.param.run->name) + test.param.fault->name;
};

INSTANTIATE_TEST_SUITE_P(Short, ScriptFaults, testing::ValuesIn(someCells()), nameOfRunAndFault);
INSTANTIATE_TEST_SUITE_P(Long, ScriptFaults, testing::ValuesIn(allCells()), nameOfRunAndFault);

} // namespace
