// Tests of the command runner: output lines, exit status, and non-blocking polls.
#include "updater/command_runner.h"

#include "tests/support/scratch_folder.h"
#include "tests/support/system_calls.h"

#include <cerrno>
#include <fcntl.h>
#include <fstream>
#include <ostream>
#include <rapidcheck/gtest.h>
#include <sched.h>
#include <stdexcept>
#include <sys/stat.h>

namespace {

using namespace std::string_literals;

using Lines = std::vector<std::string>;

constexpr std::uint32_t running = 0xFFFFFFFF;
const std::string command = "the command";

Lines takeLines(CommandRunner& runner)
{
    Lines lines;
    while (runner.lineCount() > 0) {
        lines.push_back(runner.takeLine());
    }
    return lines;
}

std::uint32_t pollUntilEnd(CommandRunner& runner)
{
    std::uint32_t status = running;
    while ((status = runner.poll()) == running) {
        sched_yield();
    }
    return status;
}

class Runner : public testing::Test {
protected:
    /// Starts a command with the given read results, followed by the end of the output.
    void start(std::deque<ScriptedRead> reads, int exitCode = 0)
    {
        reads.push_back({"", 0});
        calls.script(command, {.reads = std::move(reads), .waitStatus = exitCode << 8});
        runner.emplace(command);
    }

    SystemCalls calls;
    std::optional<CommandRunner> runner;
};

// Lines. A chunk is the result of one read, at most 128 bytes.

struct LinesCase {
    const char* name;
    Lines reads;
    Lines lines;
};

void PrintTo(const LinesCase& lines, std::ostream* stream)
{
    *stream << lines.name;
}

class RunnerLines : public Runner, public testing::WithParamInterface<LinesCase> {};

TEST_P(RunnerLines, OutputIsSplitAtLineFeeds)
{
    std::deque<ScriptedRead> reads;
    for (const std::string& bytes : GetParam().reads) {
        reads.push_back({bytes, 0});
    }
    start(std::move(reads), 3);
    EXPECT_EQ(pollUntilEnd(*runner), 3U);
    EXPECT_EQ(takeLines(*runner), GetParam().lines);
}

INSTANTIATE_TEST_SUITE_P(
    Output, RunnerLines,
    testing::Values(
        LinesCase{"NoOutput", {}, {}}, //
        LinesCase{"ALastLineWithoutALineFeedIsDiscarded", {"a\nb"}, {"a"}},
        LinesCase{"OnlyALineWithoutALineFeed", {"abc"}, {}},                                                      //
        LinesCase{"AnEmptyLineIsQueued", {"x\n\ny\n"}, {"x", "", "y"}}, LinesCase{"OnlyALineFeed", {"\n"}, {""}}, //
        LinesCase{"OnlyLineFeeds", {"\n\n", "\n"}, {"", "", ""}},
        LinesCase{"ACarriageReturnIsKept", {"a\r\nb\r\n\r\n"}, {"a\r", "b\r", "\r"}},
        LinesCase{"ALineInManyReads", {"a", "b", "c", "\n", "d", "\n"}, {"abc", "d"}},
        LinesCase{"ManyLinesInOneRead", {"1\n2\n3\n4\n5\n"}, {"1", "2", "3", "4", "5"}},
        LinesCase{"ALineOf127BytesFillsAChunk", {std::string(127, 'a') + "\nb\n"}, {std::string(127, 'a'), "b"}},
        LinesCase{"ALineOf128BytesEndsInTheNextChunk", {std::string(128, 'a') + "\nb\n"}, {std::string(128, 'a'), "b"}},
        LinesCase{"ALineOf129Bytes", {std::string(129, 'a') + "\nb\n"}, {std::string(129, 'a'), "b"}},
        LinesCase{"ALineOf256Bytes", {std::string(256, 'a') + "\n"}, {std::string(256, 'a')}},
        LinesCase{"ALineOf1000Bytes", {std::string(1000, 'a') + "\n", "b"}, {std::string(1000, 'a')}},
        LinesCase{"BytesAbove127AreKept", {"\xC3\xA4\xFF\n"}, {"\xC3\xA4\xFF"}},
        LinesCase{"AZeroByteDiscardsTheRestOfItsChunk", {"ab\0cd\n"s}, {}},
        LinesCase{"TheNextChunkContinuesTheTruncatedLine", {"ab\0cd\n"s, "ef\n"}, {"abef"}},
        LinesCase{"LinesBeforeAZeroByteAreQueued", {"x\ny\0z\n"s, "\n"}, {"x", "y"}},
        LinesCase{"AChunkStartingWithAZeroByteIsDiscarded", {"ab", "\0cd\n"s, "ef\n"}, {"abef"}},
        LinesCase{"AZeroByteDoesNotAffectTheNextChunk", {"a\0"s + std::string(126, 'b') + "c\n"}, {"ac"}},
        LinesCase{"AZeroByteAtTheEndOfAChunk", {"ab\0"s, "c\n"}, {"abc"}}),
    [](const auto& name) { return name.param.name; });

RC_GTEST_FIXTURE_PROP(Runner, QueuesTheSameLinesHoweverTheOutputIsSplitIntoReads, ())
{
    const auto letters = rc::gen::container<std::string>(rc::gen::element('a', 'b', '\r', '\n'));
    const std::vector<std::string> reads = *rc::gen::container<std::vector<std::string>>(rc::gen::nonEmpty(letters));
    std::deque<ScriptedRead> scripted;
    std::vector<std::string> expected = {""};
    for (const std::string& bytes : reads) {
        scripted.push_back({bytes, 0});
        if (*rc::gen::arbitrary<bool>()) {
            scripted.push_back(nothingNow);
        }
        for (const char letter : bytes) {
            letter == '\n' ? expected.emplace_back() : expected.back() += letter;
        }
    }
    expected.pop_back(); // an incomplete line is not queued
    start(std::move(scripted));
    std::uint32_t status = running;
    while (status == running) {
        status = runner->poll();
    }
    RC_ASSERT(status == 0U);
    RC_ASSERT(takeLines(*runner) == expected);
}

TEST_F(Runner, TakeLineOnAnEmptyQueueReturnsAnEmptyStringAndChangesNothing)
{
    start({{"a\n", 0}, nothingNow, {"b\n", 0}});
    EXPECT_EQ(runner->takeLine(), "");
    EXPECT_EQ(runner->lineCount(), 0U);
    EXPECT_EQ(runner->poll(), running);
    EXPECT_EQ(runner->takeLine(), "a");
    EXPECT_EQ(runner->takeLine(), "");
    EXPECT_EQ(runner->lineCount(), 0U);
    EXPECT_EQ(runner->poll(), 0U);
    EXPECT_EQ(takeLines(*runner), Lines({"b"}));
}

TEST_F(Runner, TakesTheOldestLineFirstAndCountsTheRest)
{
    start({{"1\n2\n3\n", 0}, nothingNow});
    EXPECT_EQ(runner->poll(), running);
    EXPECT_EQ(runner->lineCount(), 3U);
    EXPECT_EQ(runner->takeLine(), "1");
    EXPECT_EQ(runner->lineCount(), 2U);
    EXPECT_EQ(runner->takeLine(), "2");
    EXPECT_EQ(runner->takeLine(), "3");
    EXPECT_EQ(runner->lineCount(), 0U);
}

// Polling.

TEST_F(Runner, PollReadsAllAvailableOutput)
{
    start({{std::string(500, 'a') + "\n", 0}, {"b\n", 0}, nothingNow, {"c\n", 0}, nothingNow});
    EXPECT_EQ(runner->poll(), running);
    EXPECT_EQ(runner->lineCount(), 2U);
    EXPECT_EQ(calls.commandReads(), 6U) << "expected reads of 128, 128, 128, 117 and 2 bytes, and one without output";
    EXPECT_EQ(runner->poll(), running);
    EXPECT_EQ(runner->lineCount(), 3U);
}

TEST_F(Runner, AChunkStartingWithAZeroByteEndsThePoll)
{
    start({{"a\n", 0}, {"\0"s, 0}, {"b\n", 0}, nothingNow});
    EXPECT_EQ(runner->poll(), running);
    EXPECT_EQ(takeLines(*runner), Lines({"a"}));
    EXPECT_EQ(runner->poll(), running);
    EXPECT_EQ(takeLines(*runner), Lines({"b"}));
}

TEST_F(Runner, PollReturnsAfterOneReadWhileThereIsNoOutput)
{
    start({nothingNow, nothingNow, nothingNow});
    for (std::size_t i = 1; i <= 3; ++i) {
        EXPECT_EQ(runner->poll(), running);
        EXPECT_EQ(calls.commandReads(), i);
    }
    EXPECT_EQ(runner->poll(), 0U);
}

TEST_F(Runner, PollReturnsZeroAfterTheStatus)
{
    start({{"a\n", 0}}, 3);
    EXPECT_EQ(runner->poll(), 3U);
    const std::size_t reads = calls.commandReads();
    for (int i = 0; i < 3; ++i) {
        EXPECT_EQ(runner->poll(), 0U);
    }
    EXPECT_EQ(calls.commandReads(), reads);
    EXPECT_EQ(takeLines(*runner), Lines({"a"})) << "wrong lines after the end of the command";
}

TEST_F(Runner, TheDescriptorHasOnlyTheNonBlockingStatusFlag)
{
    const ScratchFolder folder;
    const std::string gate = (folder / "gate").string();
    ASSERT_EQ(mkfifo(gate.c_str(), 0600), 0);
    CommandRunner waiting("read -r line <'" + gate + '\'');
    std::fstream opener(gate); // opening for reading and writing does not wait for the reader
    EXPECT_EQ(fcntl(calls.commandDescriptor(), F_GETFL), O_NONBLOCK | O_RDONLY);
    EXPECT_EQ(waiting.poll(), running) << "poll did not return `running` although the command is running";
    opener << "go" << std::endl;
    EXPECT_EQ(pollUntilEnd(waiting), 0U);
}

TEST_F(Runner, OtherCommandsDoNotInheritTheDescriptor)
{
    const CommandRunner ended("exit 0");
    EXPECT_EQ(fcntl(calls.commandDescriptor(), F_GETFD), FD_CLOEXEC);
}

TEST_F(Runner, AReadErrorOtherThanEagainEndsTheOutput)
{
    for (const int error : {EIO, EBADF, EINTR}) {
        start({{"a\nb", 0}, {"", error}, {"c\n", 0}}, 7);
        EXPECT_EQ(runner->poll(), 7U) << error;
        EXPECT_EQ(takeLines(*runner), Lines({"a"}));
        EXPECT_EQ(runner->poll(), 0U);
    }
}

// Real commands.

TEST_F(Runner, RunsAWholeShellCommandLineAndCollectsItsOutput)
{
    CommandRunner shell("printf 'one\\ntwo\\n' | tail -n 1; for i in 3 4; do echo $i; done; printf five");
    EXPECT_EQ(pollUntilEnd(shell), 0U);
    EXPECT_EQ(takeLines(shell), Lines({"two", "3", "4"}));
}

TEST_F(Runner, CollectsMoreOutputThanThePipeCapacity)
{
    CommandRunner shell("seq 1 50000");
    EXPECT_EQ(pollUntilEnd(shell), 0U);
    EXPECT_EQ(shell.lineCount(), 50000U);
    for (int i = 1; i <= 50000; ++i) {
        ASSERT_EQ(shell.takeLine(), std::to_string(i));
    }
}

TEST_F(Runner, DoesNotCaptureStandardError)
{
    testing::internal::CaptureStderr();
    CommandRunner shell("echo shown; echo complaint >&2");
    EXPECT_EQ(pollUntilEnd(shell), 0U);
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "complaint\n");
    EXPECT_EQ(takeLines(shell), Lines({"shown"}));
}

struct StatusCase {
    const char* name;
    const char* shellLine;
    std::uint32_t status;
};

void PrintTo(const StatusCase& status, std::ostream* stream)
{
    *stream << status.shellLine;
}

class RunnerStatus : public Runner, public testing::WithParamInterface<StatusCase> {};

TEST_P(RunnerStatus, PollReturnsTheExitCode)
{
    CommandRunner shell(GetParam().shellLine);
    EXPECT_EQ(pollUntilEnd(shell), GetParam().status);
    EXPECT_EQ(shell.poll(), 0U);
}

INSTANTIATE_TEST_SUITE_P(For, RunnerStatus,
                         testing::Values(StatusCase{"Exit0", "exit 0", 0}, StatusCase{"Exit1", "exit 1", 1},
                                         StatusCase{"Exit3AfterOutput", "echo a; exit 3", 3},
                                         StatusCase{"Exit128", "exit 128", 128}, StatusCase{"Exit255", "exit 255", 255},
                                         StatusCase{"AMissingCommand", "exec 2>&-; no-such-command-here", 127},
                                         StatusCase{"ACommandKilledBySignal9CountsAsSuccess", "kill -9 $$", 0},
                                         StatusCase{"ACommandKilledBySignal15CountsAsSuccess", "echo a; kill -15 $$",
                                                    0}),
                         [](const auto& name) { return name.param.name; });

TEST_F(Runner, PollReturns255IfPcloseFails)
{
    calls.exitStatusFails = true;
    start({});
    EXPECT_EQ(runner->poll(), 255U);
    EXPECT_EQ(runner->poll(), 0U);
}

// Start and end.

TEST_F(Runner, ThrowsIfTheProcessCannotBeStarted)
{
    calls.commandStartFails = true;
    try {
        const CommandRunner failing("exit 0");
        ADD_FAILURE() << "the constructor did not throw";
    } catch (const std::runtime_error& error) {
        EXPECT_STREQ(error.what(), "popen() failed");
    }
    EXPECT_EQ(calls.takeLog(), Log({"run exit 0"})) << "a system call followed the failed start";
}

TEST_F(Runner, TheDestructorWaitsForTheCommand)
{
    const ScratchFolder folder;
    {
        const CommandRunner slow("sleep 0.2; echo > '" + (folder / "ended").string() + "'");
    }
    EXPECT_TRUE(folder.contains("ended"));
    EXPECT_EQ(calls.takeLog().back(), "exit status taken");
}

TEST_F(Runner, ReadsTheExitStatusOnceAtTheEndOfTheOutputOrInTheDestructor)
{
    start({{"a\n", 0}});
    EXPECT_EQ(runner->poll(), 0U);
    runner.reset();
    EXPECT_EQ(calls.takeLog(), Log({"run the command", "exit status taken"}));

    start({nothingNow});
    EXPECT_EQ(runner->poll(), running);
    runner.reset();
    EXPECT_EQ(calls.takeLog(), Log({"run the command", "exit status taken"}));
}

TEST_F(Runner, AnIncompleteLineOf48MegabytesIsReadOnceAndDiscarded)
{
    constexpr std::size_t size = 48 * 1024 * 1024;
    start({{std::string(size, 'a'), 0}}, 1);
    EXPECT_EQ(runner->poll(), 1U);
    EXPECT_EQ(runner->lineCount(), 0U);
    EXPECT_EQ(calls.commandReads(), size / 128 + 1);
}

} // namespace
