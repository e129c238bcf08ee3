#include "sim/session/signals.h"

#include <array>
#include <csignal>
#include <gtest/gtest.h>
#include <unistd.h>

namespace sim {

namespace {

/// A pipe with a writer. Until `fill` is called, it is empty, so a read would block.
class EmptyPipe {
public:
    EmptyPipe() { EXPECT_EQ(pipe(ends.data()), 0); }
    EmptyPipe(const EmptyPipe&) = delete;
    EmptyPipe& operator=(const EmptyPipe&) = delete;
    ~EmptyPipe()
    {
        close(ends[0]);
        close(ends[1]);
    }

    [[nodiscard]] int output() const { return ends[0]; }
    void fill() const { EXPECT_EQ(write(ends[1], "x", 1), 1); }

private:
    std::array<int, 2> ends{};
};

constexpr unsigned longestWaitSeconds = 60;

/// Waits for input. Exits with 0 if a watched signal interrupts the wait, or with 1 if input arrives. SIGALRM kills the
/// process if neither happens in time.
[[noreturn]] void exitAfterWaiting(int descriptor)
{
    alarm(longestWaitSeconds);
    try {
        awaitInput(descriptor);
    } catch (const Interrupted&) {
        _exit(0);
    }
    _exit(1);
}

} // namespace

TEST(Signals, InterruptAWaitThatBeginsAfterTheSignal)
{
    const EmptyPipe pipe;
    for (const int signal : {SIGINT, SIGTERM, SIGHUP}) {
        const auto interrupt = [&] {
            std::signal(signal, SIG_DFL); // nohup, for example, starts the test with SIGHUP ignored
            watchSignals();
            std::raise(signal);
            exitAfterWaiting(pipe.output());
        };
        EXPECT_EXIT(interrupt(), testing::ExitedWithCode(0), "") << signal;
    }
}

TEST(Signals, InterruptAWaitThatHasBegun)
{
    const EmptyPipe pipe;
    const auto interrupt = [&] {
        watchSignals();
        const pid_t waiting = getpid();
        if (fork() == 0) {
            usleep(50'000);
            kill(waiting, SIGTERM);
            _exit(0);
        }
        exitAfterWaiting(pipe.output());
    };
    EXPECT_EXIT(interrupt(), testing::ExitedWithCode(0), "");
}

TEST(Signals, AwaitInputReturnsIfInputIsAvailable)
{
    const EmptyPipe pipe;
    pipe.fill();
    EXPECT_NO_THROW(awaitInput(pipe.output()));
}

} // namespace sim
