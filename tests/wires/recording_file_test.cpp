// Tests for RecordingFile: power cycles, killed writers, the size limit, and failures.
#include "sim/wires/recording_file.h"

#include "sim/wires/wire_recorder.h"
#include "tests/sim/comparisons.h"
#include "tests/support/scratch_folder.h"
#include "tests/wires/recorded_lines.h"

#include <csignal>
#include <fcntl.h>
#include <functional>
#include <gtest/gtest.h>
#include <sys/ioctl.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>

namespace {

using namespace std::chrono_literals;
using sim::Level;
using sim::Line;
using sim::RecordingFile;
using sim::RecordingState;
using sim::WireRecorder;
using sim::WireTime;

using Bytes = std::vector<std::uint8_t>;

class RecordingFileTest : public testing::Test {
protected:
    static WireRecorder recorderOf(RecordingFile& recording) { return {recording.descriptor(), recording.getState()}; }
    /// Records in a child process, which then kills itself with SIGKILL.
    static void recordInKilledProcess(RecordingFile& recording, const std::function<void(WireRecorder&)>& record)
    {
        const pid_t child = fork();
        if (child == 0) {
            WireRecorder recorder = recorderOf(recording);
            record(recorder);
            raise(SIGKILL);
        }
        int status = 0;
        waitpid(child, &status, 0);
        EXPECT_EQ(WTERMSIG(status), SIGKILL);
    }
    /// Records a frame, which takes 6.5536 ms.
    static void recordFrame(WireRecorder& recorder, WireTime start)
    {
        recorder.beginSpi(start, 6553600ns, Bytes(10240, 0x55));
        recorder.endSpi(start + 6553600ns);
    }
    [[nodiscard]] std::string contents() const { return folder.read("wires.vcd"); }

    const ScratchFolder folder;
    const std::filesystem::path file = folder / "wires.vcd";
};

TEST_F(RecordingFileTest, WithoutEventsContainsTheInitialLevels)
{
    RecordingFile(file, RecordingState::noLimit).finish();
    EXPECT_EQ(contents(), "$version Tonecrate simulator $end\n"
                          "$timescale 1 ns $end\n"
                          "$scope module tonecrate $end\n"
                          "$var wire 1 ! cs $end\n"
                          "$var wire 1 \" clk $end\n"
                          "$var wire 1 # mosi $end\n"
                          "$var wire 1 $ dc $end\n"
                          "$var wire 1 % reset $end\n"
                          "$var wire 1 & scl $end\n"
                          "$var wire 1 ' sda $end\n"
                          "$var wire 1 ( button $end\n"
                          "$var wire 1 ) encoder_a $end\n"
                          "$var wire 1 * encoder_b $end\n"
                          "$upscope $end\n"
                          "$enddefinitions $end\n"
                          "#0\n"
                          "$dumpvars\n"
                          "1!\n1\"\n0#\nx$\nx%\n1&\n1'\n1(\n1)\n1*\n"
                          "$end\n");
}

TEST_F(RecordingFileTest, ReplacesAnExistingFile)
{
    folder.write("wires.vcd", std::string(100000, 'a'));
    RecordingFile(file, RecordingState::noLimit).finish();
    EXPECT_NO_THROW(RecordedLines{file});
}

TEST_F(RecordingFileTest, EndsAtTheTimeOfTheLastObservation)
{
    RecordingFile recording(file, RecordingState::noLimit);
    recorderOf(recording).observeUntil(3s);
    recording.finish();
    EXPECT_EQ(RecordedLines(file).end(), 3s);
}

TEST_F(RecordingFileTest, APowerCycleReturnsAllLinesToTheirInitialLevels)
{
    RecordingFile recording(file, RecordingState::noLimit);
    recording.powerOn();
    WireRecorder first = recorderOf(recording);
    first.change(1ms, Line::DataCommand, Level::High);
    first.change(2ms, Line::Button, Level::Low);
    first.observeUntil(5ms);
    recording.powerOn();
    WireRecorder second = recorderOf(recording);
    second.change(3ms, Line::DataCommand, Level::Low);
    second.observeUntil(4ms);
    recording.finish();
    const RecordedLines lines(file);
    EXPECT_EQ(lines.levelAt(Line::DataCommand, 5ms), Level::High);
    for (const Line line : {Line::DataCommand, Line::Button}) {
        EXPECT_EQ(lines.levelAt(line, 6ms), sim::initialLevels[static_cast<std::size_t>(line)]) << nameOf(line);
    }
    EXPECT_EQ(lines.timesOf(Line::DataCommand).back(), 9ms) << "3 ms after the second power-on";
    EXPECT_EQ(lines.end(), 10ms);
}

// Writers that are killed.

TEST_F(RecordingFileTest, ContainsEverythingThatAKilledProcessRecorded)
{
    RecordingFile recording(file, RecordingState::noLimit);
    recordInKilledProcess(recording, [](WireRecorder& recorder) {
        recordFrame(recorder, 0ns);
        recorder.change(7ms, Line::Button, Level::Low);
    });
    recording.finish();
    const RecordedLines lines(file);
    EXPECT_EQ(lines.timesOf(Line::Clock).size(), 2U * 8U * 10240U);
    EXPECT_EQ(lines.changes().back().time, 7ms);
}

TEST_F(RecordingFileTest, ContinuesAfterAProcessWasKilledDuringATransfer)
{
    RecordingFile recording(file, RecordingState::noLimit);
    recording.powerOn();
    recordInKilledProcess(recording, [](WireRecorder& recorder) {
        recorder.beginSpi(0ns, 6553600ns, Bytes(10240, 0x55));
        recorder.observeUntil(3ms);
    });
    recording.powerOn();
    recordInKilledProcess(recording, [](WireRecorder& recorder) { recordFrame(recorder, 0ns); });
    recording.finish();
    const RecordedLines lines(file);
    EXPECT_EQ(lines.timesOf(Line::ChipSelect),
              (std::vector<WireTime>{0ns, 4ms, 4ms, 4ms + 6553600ns})); // the power cycle ends the first transfer
}

/// Simulates a process that was killed during write(2).
TEST_F(RecordingFileTest, RepeatsAnInterruptedWrite)
{
    RecordingFile recording(file, RecordingState::noLimit);
    WireRecorder recorder = recorderOf(recording);
    recordFrame(recorder, 0ns);
    const RecordingState& state = recording.getState();
    ASSERT_GT(state.buffered, 1000U);
    ASSERT_EQ(write(recording.descriptor(), state.buffer.data(), 1000), 1000);
    recording.finish();
    EXPECT_EQ(RecordedLines(file).timesOf(Line::Clock).size(), 2U * 8U * 10240U);
}

TEST_F(RecordingFileTest, IsCompletedByTheDestructor)
{
    {
        RecordingFile recording(file, RecordingState::noLimit);
        recorderOf(recording).change(1ms, Line::Button, Level::Low);
    }
    EXPECT_EQ(RecordedLines(file).timesOf(Line::Button), (std::vector<WireTime>{1ms}));
}

// The limit.

TEST_F(RecordingFileTest, EndsAtTheLastChangeWithinTheLimit)
{
    RecordingFile unlimited(file, RecordingState::noLimit);
    WireRecorder recorder = recorderOf(unlimited);
    recordFrame(recorder, 0ns);
    unlimited.finish();
    const std::string all = contents();
    for (std::uint64_t limit = 200'000; limit < 200'030; ++limit) {
        RecordingFile recording(file, limit);
        recording.powerOn();
        WireRecorder limited = recorderOf(recording);
        recordFrame(limited, 0ns);
        recording.powerOn(); // records nothing, because the file is full
        limited.observeUntil(1s);
        recording.finish();
        EXPECT_TRUE(recording.isFull());
        const std::string some = contents();
        EXPECT_LE(some.size(), limit);
        EXPECT_GT(some.size(), limit - 20);
        EXPECT_TRUE(all.starts_with(some));
        const RecordedLines lines(file);
        EXPECT_EQ(lines.changes().back().time, lines.end());
        EXPECT_DOUBLE_EQ(recording.seconds(), static_cast<double>(lines.end().count()) / 1e9);
    }
}

TEST_F(RecordingFileTest, IsNotFullIfEverythingFits)
{
    RecordingFile recording(file, RecordingFile::smallestLimit);
    recorderOf(recording).change(1ms, Line::Button, Level::Low);
    recording.finish();
    EXPECT_FALSE(recording.isFull());
    EXPECT_EQ(RecordedLines(file).changes().size(), 1U);
}

// Failures.

TEST_F(RecordingFileTest, ReportsAFileThatCannotBeCreated)
{
    const auto path = folder / "nowhere/wires.vcd";
    EXPECT_EQ(thrownMessage([&] { const RecordingFile recording(path, RecordingState::noLimit); }),
              "cannot write " + path.string() + ": No such file or directory");
}

TEST_F(RecordingFileTest, ReportsAFullDiskAsSoonAsABlockIsWritten)
{
    RecordingFile recording("/dev/full", RecordingState::noLimit);
    WireRecorder recorder = recorderOf(recording);
    EXPECT_NO_THROW(recording.check());
    recordFrame(recorder, 0ns);
    const std::string message = "cannot write /dev/full: No space left on device";
    EXPECT_EQ(thrownMessage([&] { recording.check(); }), message);
    EXPECT_EQ(thrownMessage([&] { recording.finish(); }), message);
}

TEST_F(RecordingFileTest, IsValidAfterAWriteThatFailedHalfway)
{
    rlimit before{};
    getrlimit(RLIMIT_FSIZE, &before);
    const rlimit small = {100'000, before.rlim_max};
    std::signal(SIGXFSZ, SIG_IGN);
    {
        RecordingFile recording(file, RecordingState::noLimit);
        WireRecorder recorder = recorderOf(recording);
        setrlimit(RLIMIT_FSIZE, &small);
        recordFrame(recorder, 0ns);
        EXPECT_EQ(thrownMessage([&] { recording.finish(); }), "cannot write " + file.string() + ": File too large");
    }
    setrlimit(RLIMIT_FSIZE, &before);
    const RecordedLines lines(file);
    EXPECT_GT(lines.changes().size(), 1000U);
    EXPECT_LT(contents().size(), 100'000U);
}

TEST_F(RecordingFileTest, APipeWithoutAReaderCausesNoSignal)
{
    ASSERT_EQ(mkfifo(file.c_str(), 0600), 0);
    const int reader = open(file.c_str(), O_RDONLY | O_NONBLOCK);
    RecordingFile recording(file, RecordingState::noLimit);
    WireRecorder recorder = recorderOf(recording);
    close(reader);
    recordFrame(recorder, 0ns);
    EXPECT_EQ(thrownMessage([&] { recording.finish(); }), "cannot write " + file.string() + ": Broken pipe");
}

/// In this case, write(2) returns the number of bytes written before the pipe was closed, and the kernel nevertheless
/// sends SIGPIPE.
TEST_F(RecordingFileTest, APipeThatIsClosedDuringAWriteCausesNoSignal)
{
    ASSERT_EQ(mkfifo(file.c_str(), 0600), 0);
    const int reader = open(file.c_str(), O_RDONLY | O_NONBLOCK);
    RecordingFile recording(file, RecordingState::noLimit);
    const int capacity = fcntl(reader, F_SETPIPE_SZ, 4096); // less than the recording writes at once
    ASSERT_GT(capacity, 0);
    const std::jthread closesFullPipe([=] {
        for (int unread = 0; unread < capacity && ioctl(reader, FIONREAD, &unread) == 0;) {
            std::this_thread::sleep_for(1ms);
        }
        std::this_thread::sleep_for(10ms); // gives the writer time to block
        close(reader);
    });
    WireRecorder recorder = recorderOf(recording);
    recordFrame(recorder, 0ns);
    EXPECT_EQ(thrownMessage([&] { recording.finish(); }), "cannot write " + file.string() + ": Broken pipe");
}

} // namespace
