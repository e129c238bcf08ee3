// Tests of running a command: lines, exit status, and never blocking.
#include "updater/command_runner.h"

#include "tests/support/scratch_folder.h"
#include "tests/support/system_calls.h"

#include <cerrno>
#include <ctime>
#include <fcntl.h>
#include <fstream>
#include <gmock/gmock.h>
#include <ostream>
#include <rapidcheck/gtest.h>
#include <sched.h>
#include <stdexcept>
#include <sys/stat.h>

namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using namespace std::string_literals;

constexpr std::uint32_t running = 0xFFFFFFFF;
const ScriptedRead nothingNow = {"", EAGAIN};
const std::string command = "the command";

std::vector<std::string> takeLines(CommandRunner& runner)
{
    std::vector<std::string> lines;
    while (runner.lineCount() > 0) {
        lines.push_back(runner.takeLine());
    }
    return lines;
}

std::uint32_t pollToTheEnd(CommandRunner& runner)
{
    std::uint32_t status = running;
    while ((status = runner.poll()) == running) {
        sched_yield();
    }
    return status;
}

class Runner : public testing::Test {
protected:
    /// Starts a command whose reads give `reads`, then the end.
    void start(std::deque<ScriptedRead> reads, const std::string& shellLine = "exit 0")
    {
        reads.push_back({"", 0});
        calls.script(command, {shellLine, std::move(reads)});
        runner.emplace(command);
    }

    SystemCalls calls;
    std::optional<CommandRunner> runner;
};

// Lines.

struct LinesCase {
    const char* name;
    std::vector<std::string> reads;
    std::vector<std::string> lines;
};

void PrintTo(const LinesCase& lines, std::ostream* stream)
{
    *stream << lines.name;
}

class RunnerLines : public Runner, public testing::WithParamInterface<LinesCase> {};

TEST_P(RunnerLines, AreSplitAtLineFeeds)
{
    std::deque<ScriptedRead> reads;
    for (const std::string& bytes : GetParam().reads) {
        reads.push_back({bytes, 0});
    }
    start(std::move(reads), "exit 3");
    EXPECT_EQ(pollToTheEnd(*runner), 3U);
    EXPECT_EQ(takeLines(*runner), GetParam().lines);
}

INSTANTIATE_TEST_SUITE_P(
    Output, RunnerLines,
    testing::Values(
        LinesCase{"NothingAtAll", {}, {}}, //
        LinesCase{"ALastLineWithoutALineFeedIsLost", {"a\nb"}, {"a"}},
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
        LinesCase{"AZeroByteEndsWhatIsTakenOfAChunk", {"ab\0cd\n"s}, {}},
        LinesCase{"TheNextChunkGoesOnWhereTheZeroByteCut", {"ab\0cd\n"s, "ef\n"}, {"abef"}},
        LinesCase{"LinesBeforeAZeroByteCount", {"x\ny\0z\n"s, "\n"}, {"x", "y"}},
        LinesCase{"AChunkThatBeginsWithAZeroByteIsDropped", {"ab", "\0cd\n"s, "ef\n"}, {"abef"}},
        LinesCase{"AZeroByteCutsItsOwnChunkOf128Only", {"a\0"s + std::string(126, 'b') + "c\n"}, {"ac"}},
        LinesCase{"AZeroByteAtTheEndOfAChunk", {"ab\0"s, "c\n"}, {"abc"}}),
    [](const auto& name) { return name.param.name; });

RC_GTEST_FIXTURE_PROP(Runner, QueuesTheSameLinesHoweverTheOutputIsCut, ())
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
    expected.pop_back(); // what follows the last line feed
    start(std::move(scripted));
    RC_ASSERT(pollToTheEnd(*runner) == 0U);
    RC_ASSERT(takeLines(*runner) == expected);
}

TEST_F(Runner, TakeLineOnAnEmptyQueueGivesAnEmptyStringAndChangesNothing)
{
    start({{"a\n", 0}, nothingNow, {"b\n", 0}});
    EXPECT_EQ(runner->takeLine(), "");
    EXPECT_EQ(runner->lineCount(), 0U);
    EXPECT_EQ(runner->poll(), running);
    EXPECT_EQ(runner->takeLine(), "a");
    EXPECT_EQ(runner->takeLine(), "");
    EXPECT_EQ(runner->lineCount(), 0U);
    EXPECT_EQ(runner->poll(), 0U);
    EXPECT_THAT(takeLines(*runner), ElementsAre("b"));
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

TEST_F(Runner, OnePollDrainsEverythingWrittenSoFar)
{
    start({{std::string(500, 'a') + "\n", 0}, {"b\n", 0}, nothingNow, {"c\n", 0}, nothingNow});
    EXPECT_EQ(runner->poll(), running);
    EXPECT_EQ(runner->lineCount(), 2U);
    EXPECT_EQ(calls.commandReads(), 6U) << "128 + 128 + 128 + 117 bytes, 2 bytes, nothing";
    EXPECT_EQ(runner->poll(), running);
    EXPECT_EQ(runner->lineCount(), 3U);
}

TEST_F(Runner, AChunkThatBeginsWithAZeroByteEndsThePoll)
{
    start({{"a\n", 0}, {"\0"s, 0}, {"b\n", 0}, nothingNow});
    EXPECT_EQ(runner->poll(), running);
    EXPECT_THAT(takeLines(*runner), ElementsAre("a"));
    EXPECT_EQ(runner->poll(), running);
    EXPECT_THAT(takeLines(*runner), ElementsAre("b"));
}

TEST_F(Runner, PollReturnsAtOnceWhileTheCommandIsSilent)
{
    start({nothingNow, nothingNow, nothingNow});
    for (std::size_t i = 1; i <= 3; ++i) {
        EXPECT_EQ(runner->poll(), running);
        EXPECT_EQ(calls.commandReads(), i);
    }
    EXPECT_EQ(runner->poll(), 0U);
}

TEST_F(Runner, PollGivesZeroAfterTheStatusWasReturned)
{
    start({{"a\n", 0}}, "exit 3");
    EXPECT_EQ(runner->poll(), 3U);
    const std::size_t reads = calls.commandReads();
    for (int i = 0; i < 3; ++i) {
        EXPECT_EQ(runner->poll(), 0U);
    }
    EXPECT_EQ(calls.commandReads(), reads);
    EXPECT_THAT(takeLines(*runner), ElementsAre("a")) << "lines can be taken after the end";
}

TEST_F(Runner, TheOutputReplacesAllStatusFlagsByNonBlockingAlone)
{
    const ScratchFolder folder;
    const std::string gate = (folder / "gate").string();
    ASSERT_EQ(mkfifo(gate.c_str(), 0600), 0);
    CommandRunner waiting("read -r line <'" + gate + '\'');
    std::fstream opener(gate); // opened both ways, which does not wait for the reader
    EXPECT_EQ(fcntl(calls.commandDescriptor(), F_GETFL), O_NONBLOCK | O_RDONLY);
    EXPECT_EQ(waiting.poll(), running) << "a blocking read would have waited for the end";
    opener << "go" << std::endl;
    EXPECT_EQ(pollToTheEnd(waiting), 0U);
}

TEST_F(Runner, TheOutputIsClosedInWhateverElseIsStarted)
{
    const CommandRunner ended("exit 0");
    EXPECT_EQ(fcntl(calls.commandDescriptor(), F_GETFD), FD_CLOEXEC);
}

TEST_F(Runner, AReadErrorOtherThanTryAgainEndsTheCommandAsTheEndOfItsOutputDoes)
{
    for (const int error : {EIO, EBADF, EINTR}) {
        start({{"a\nb", 0}, {"", error}, {"c\n", 0}}, "exit 7");
        EXPECT_EQ(runner->poll(), 7U) << error;
        EXPECT_THAT(takeLines(*runner), ElementsAre("a"));
        EXPECT_EQ(runner->poll(), 0U);
    }
}

// Real commands.

TEST_F(Runner, RunsAWholeShellCommandLineAndCollectsItsOutput)
{
    CommandRunner shell("printf 'one\\ntwo\\n' | tail -n 1; for i in 3 4; do echo $i; done; printf five");
    EXPECT_EQ(pollToTheEnd(shell), 0U);
    EXPECT_THAT(takeLines(shell), ElementsAre("two", "3", "4"));
}

TEST_F(Runner, CollectsMoreThanAPipeHolds)
{
    CommandRunner shell("seq 1 50000");
    EXPECT_EQ(pollToTheEnd(shell), 0U);
    EXPECT_EQ(shell.lineCount(), 50000U);
    for (int i = 1; i <= 50000; ++i) {
        ASSERT_EQ(shell.takeLine(), std::to_string(i));
    }
}

TEST_F(Runner, DoesNotCaptureStandardError)
{
    testing::internal::CaptureStderr();
    CommandRunner shell("echo shown; echo complaint >&2");
    EXPECT_EQ(pollToTheEnd(shell), 0U);
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "complaint\n");
    EXPECT_THAT(takeLines(shell), ElementsAre("shown"));
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

TEST_P(RunnerStatus, IsTheExitCode)
{
    CommandRunner shell(GetParam().shellLine);
    EXPECT_EQ(pollToTheEnd(shell), GetParam().status);
    EXPECT_EQ(shell.poll(), 0U);
}

INSTANTIATE_TEST_SUITE_P(Of, RunnerStatus,
                         testing::Values(StatusCase{"Exit0", "exit 0", 0}, StatusCase{"Exit1", "exit 1", 1},
                                         StatusCase{"Exit3AfterOutput", "echo a; exit 3", 3},
                                         StatusCase{"Exit128", "exit 128", 128}, StatusCase{"Exit255", "exit 255", 255},
                                         StatusCase{"ACommandThatDoesNotExist", "exec 2>&-; no-such-command-here", 127},
                                         StatusCase{"ACommandKilledBySignal9IsTakenForSuccess", "kill -9 $$", 0},
                                         StatusCase{"ACommandKilledBySignal15IsTakenForSuccess", "echo a; kill -15 $$",
                                                    0}),
                         [](const auto& name) { return name.param.name; });

TEST_F(Runner, AnExitStatusThatCannotBeTakenReadsAs255)
{
    calls.failExitStatus();
    start({}, "exit 0");
    EXPECT_EQ(runner->poll(), 255U);
    EXPECT_EQ(runner->poll(), 0U);
}

// Start and end.

TEST_F(Runner, ThrowsWhenNoProcessCanBeStarted)
{
    calls.failCommandStart();
    EXPECT_THAT([] { const CommandRunner failing("exit 0"); },
                testing::ThrowsMessage<std::runtime_error>("popen() failed"));
    EXPECT_THAT(calls.takeLog(), ElementsAre("run exit 0")) << "nothing is closed that was not opened";
}

TEST_F(Runner, ItsDestructorWaitsForTheCommandToEnd)
{
    const ScratchFolder folder;
    {
        const CommandRunner slow("sleep 0.2; echo > '" + (folder / "ended").string() + "'");
    }
    EXPECT_TRUE(folder.contains("ended"));
    EXPECT_EQ(calls.takeLog().back(), "exit status taken");
}

TEST_F(Runner, TakesTheExitStatusOnceWhetherTheCommandEndsOrTheRunnerDoes)
{
    start({{"a\n", 0}});
    EXPECT_EQ(runner->poll(), 0U);
    runner.reset();
    EXPECT_THAT(calls.takeLog(), ElementsAre("run the command", "exit status taken"));

    start({nothingNow});
    EXPECT_EQ(runner->poll(), running);
    runner.reset();
    EXPECT_THAT(calls.takeLog(), ElementsAre("run the command", "exit status taken"));
}

// Cost.

constexpr std::size_t megabyte = 1024 * 1024;

/// Of the calling thread, in seconds.
double cpuTime()
{
    timespec time{};
    clock_gettime(CLOCK_THREAD_CPUTIME_ID, &time);
    return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_nsec) * 1e-9;
}

TEST_F(Runner, ALineOf48MegabytesWithoutAnEndIsReadOnceAndLost)
{
    start({{std::string(48 * megabyte, 'a'), 0}}, "exit 1");
    EXPECT_EQ(runner->poll(), 1U);
    EXPECT_EQ(runner->lineCount(), 0U);
    EXPECT_EQ(calls.commandReads(), 48 * megabyte / 128 + 1);
}

TEST_F(Runner, TheCostOfALineIsLinearInItsLength)
{
    const auto costOf = [this](std::size_t length) {
        double best = 1e9;
        for (int i = 0; i < 3; ++i) {
            start({{std::string(length, 'a'), 0}});
            const double before = cpuTime();
            EXPECT_EQ(runner->poll(), 0U);
            best = std::min(best, cpuTime() - before);
        }
        return best;
    };
    const double ofShort = costOf(8 * megabyte);
    EXPECT_LT(costOf(16 * megabyte), 3 * ofShort);
}

} // namespace
