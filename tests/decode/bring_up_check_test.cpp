// Tests for the comparison of the bring-up with the required sequence.
#include "sim/decode/bring_up_check.h"

#include "sim/decode/display_commands.h"
#include "tests/sim/comparisons.h"

namespace {

using sim::BringUpCheck;
using sim::BringUpStep;
using sim::Level;
using namespace std::chrono_literals;

struct Step {
    BringUpStep step;
    std::chrono::nanoseconds wait;
};

std::vector<Step> requiredSteps()
{
    std::vector<Step> steps;
    for (const BringUpStep& step : sim::initialisationSteps()) {
        steps.push_back({step, step.wait});
    }
    steps.push_back({{false, 0x5C}, 0ns});
    for (std::size_t i = 0; i < sim::clearedBytes; ++i) {
        steps.push_back({{true, 0x00}, 0ns});
    }
    steps.push_back({{false, 0xAF}, 0ns});
    return steps;
}

struct ResetWaits {
    std::chrono::nanoseconds high = 20ms;
    std::chrono::nanoseconds low = 20ms;
    std::chrono::nanoseconds ready = 200ms;
};

/// Passes a reset and the steps to the check. The reset line begins at `initial`. A transfer takes 640 ns; the pause
/// after it is the wait of its step, but at least 360 ns.
void play(BringUpCheck& check, const std::vector<Step>& steps, const ResetWaits& waits = {},
          Level initial = Level::Undefined)
{
    std::chrono::nanoseconds time = 1us;
    check.takeReset(0ns, initial);
    check.takeReset(time, Level::High);
    check.takeReset(time += waits.high, Level::Low);
    check.takeReset(time += waits.low, Level::High);
    time += waits.ready;
    int page = 1;
    for (const auto& [step, wait] : steps) {
        check.takeTransfer(time, time + 640ns, step.isData, {&step.byte, 1}, page);
        if (!step.isData && (step.byte == 0x30 || step.byte == 0x31)) {
            page = step.byte == 0x30 ? 1 : 2;
        }
        time += 640ns + std::max(wait, 360ns);
    }
}

TEST(BringUpCheck, AcceptsTheRequiredSequence)
{
    BringUpCheck check;
    play(check, requiredSteps());
    EXPECT_EQ(check.firstDifference(), "");
    EXPECT_EQ(check.correctCount(), 1U);
}

TEST(BringUpCheck, IgnoresALowPhaseBeforeTheResetPulse)
{
    BringUpCheck check;
    check.takeReset(-2ms, Level::Undefined);
    check.takeReset(-1ms, Level::Low);
    play(check, requiredSteps(), {}, Level::Low);
    EXPECT_EQ(check.firstDifference(), "");
    EXPECT_EQ(check.correctCount(), 1U);
}

TEST(BringUpCheck, MeasuresEveryWait)
{
    BringUpCheck check;
    play(check, requiredSteps());
    Lines waits;
    for (const BringUpCheck::Wait& wait : check.waits()) {
        waits.push_back(wait.name + ": " + std::to_string(*wait.measured / 1us) + " us of " +
                        std::to_string(wait.required.count()) + " ms");
    }
    EXPECT_EQ(waits, (Lines{"reset high: 20000 us of 20 ms", "reset low: 20000 us of 20 ms",
                            "reset to the first command: 200000 us of 200 ms", "after OTP control: 20000 us of 20 ms",
                            "after OTP up-load: 20000 us of 20 ms", "after display off: 50000 us of 50 ms"}));
}

TEST(BringUpCheck, AcceptsTransfersOfSeveralBytes)
{
    BringUpCheck check;
    const std::vector<Step> steps = requiredSteps();
    play(check, {steps.begin(), steps.end() - 1 - static_cast<std::ptrdiff_t>(sim::clearedBytes)});
    const std::vector<std::uint8_t> zeros(sim::clearedBytes, 0);
    check.takeTransfer(1s, 1s, true, zeros, 1);
    const std::uint8_t on = 0xAF;
    check.takeTransfer(1s, 1s, false, {&on, 1}, 1);
    EXPECT_EQ(check.correctCount(), 1U);
}

TEST(BringUpCheck, NamesTheFirstDifference)
{
    const struct {
        std::size_t position;
        BringUpStep step;
        const char* difference;
    } cases[] = {
        {1,
         {false, 0x6F},
         "at 0.240002000 s: expected command 6E (enable master), but found command 6F (disable master)"},
        {4, {true, 0x1F}, "at 0.240005000 s: expected data 9F, but found data 1F"},
        {10, {true, 0x94}, "at 0.280010280 s: expected command 94 (sleep out), but found data 94"},
        {37, {false, 0xF1}, "at 0.330036920 s: expected command F0 (frame rate), but found command F1"},
        {60, {true, 0x01}, "at 0.330059920 s: expected data 00, but found data 01"},
    };
    for (const auto& [position, step, difference] : cases) {
        std::vector<Step> steps = requiredSteps();
        steps[position].step = step;
        BringUpCheck check;
        play(check, steps);
        EXPECT_EQ(check.firstDifference(), difference);
        EXPECT_EQ(check.correctCount(), 0U);
    }
}

TEST(BringUpCheck, RejectsWaitsThatAreTooShort)
{
    const struct {
        ResetWaits reset;
        std::chrono::nanoseconds afterOff;
        const char* difference;
    } cases[] = {
        {{.high = 19ms}, 50ms, "reset high: 19.00 ms instead of at least 20.00 ms"},
        {{.low = 10us}, 50ms, "reset low: 10.00 µs instead of at least 20.00 ms"},
        {{.ready = 120ms}, 50ms, "reset to the first command: 120.0 ms instead of at least 200.0 ms"},
        {{}, 49ms, "after display off: 49.00 ms instead of at least 50.00 ms"},
    };
    for (const auto& [reset, afterOff, difference] : cases) {
        std::vector<Step> steps = requiredSteps();
        steps[11].wait = afterOff;
        BringUpCheck check;
        play(check, steps, reset);
        EXPECT_TRUE(contains(check.firstDifference(), difference)) << check.firstDifference();
        EXPECT_EQ(check.correctCount(), 0U);
    }
}

TEST(BringUpCheck, ToleratesTheClockErrorOfTheAnalyser)
{
    BringUpCheck check;
    play(check, requiredSteps(), {.high = 19981us, .low = 19981us, .ready = 199801us});
    EXPECT_EQ(check.firstDifference(), "");
}

TEST(BringUpCheck, DoesNotMeasureAWaitThatBeganBeforeTheCapture)
{
    BringUpCheck check;
    const std::uint8_t first = 0x30;
    check.takeReset(0ns, Level::High);
    check.takeReset(1ms, Level::Low);
    check.takeReset(21ms, Level::High);
    check.takeTransfer(300ms, 300ms, false, {&first, 1}, 1);
    EXPECT_FALSE(check.waits().front().measured);
    EXPECT_EQ(check.firstDifference(), "");
}

TEST(BringUpCheck, AnInterruptedBringUpIsNotADifference)
{
    std::vector<Step> steps = requiredSteps();
    BringUpCheck check;
    play(check, {steps.begin(), steps.begin() + 30});
    EXPECT_EQ(check.correctCount(), 0U);
    play(check, steps);
    EXPECT_EQ(check.correctCount(), 1U);
    EXPECT_EQ(check.firstDifference(), "");
}

TEST(BringUpCheck, IgnoresCommandsAfterTheBringUp)
{
    BringUpCheck check;
    play(check, requiredSteps());
    const std::uint8_t other = 0xA7;
    check.takeTransfer(2s, 2s, false, {&other, 1}, 1);
    EXPECT_EQ(check.firstDifference(), "");
}

} // namespace
