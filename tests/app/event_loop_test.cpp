// Tests of the main loop, one iteration at a time.
#include "app/event_loop.h"

#include "graphics/font.h"
#include "graphics/image_store.h"
#include "hw/button_input.h"
#include "hw/display_driver.h"
#include "hw/gpio_registers.h"
#include "hw/rotary_input.h"
#include "tests/support/allocation_counter.h"
#include "tests/support/system_calls.h"
#include "updater/timing.h"
#include "updater/updater.h"

#include <fcntl.h>
#include <functional>
#include <gmock/gmock.h>
#include <linux/input.h>
#include <optional>
#include <ostream>

namespace {

using testing::Each;
using testing::ElementsAre;
using testing::IsEmpty;

constexpr int buttonLine = 6;

std::string nameOf(InputEvent event)
{
    switch (event) {
    case InputEvent::RotateLeft:
        return "RotateLeft";
    case InputEvent::RotateRight:
        return "RotateRight";
    case InputEvent::Press:
        return "Press";
    case InputEvent::Release:
        return "Release";
    case InputEvent::LongPress:
        return "LongPress";
    }
    return "unknown event";
}

/// Writes down what it is asked, with the iteration of it.
class RecordingScreen : public Widget {
public:
    RecordingScreen() { setSize(displayWidth, displayHeight); }

    void update(std::uint64_t iteration) override
    {
        Widget::update(iteration);
        updates.push_back(iteration);
        record("update");
    }
    bool onInput(InputEvent event) override
    {
        events.push_back(std::to_string(getTick()) + ' ' + nameOf(event));
        record(nameOf(event));
        return isTaking;
    }
    void draw() override
    {
        draws.push_back(getTick());
        surface.fill(shade);
        record("draw");
    }

    std::vector<std::uint64_t> updates;
    std::vector<std::uint64_t> draws;
    std::vector<std::string> events;
    std::function<void(const std::string&)> record = [](const std::string&) {};
    Pixel shade = 0;
    bool isTaking = false;
};

class Loop : public testing::Test {
protected:
    Loop()
    {
        display.open(0, 0, 12500000, 7, 25);
        encoder.open();
        calls.gpio[13] = 0xFFFFFFFF;
        button.init();
        button.poll(); // brings the shared counters to rest
        loop.emplace(screen, display, encoder, button);
        calls.takeLog();
    }

    void iterate(int count = 1)
    {
        for (int i = 0; i < count; ++i) {
            loop->iterate();
        }
    }
    void iterateTo(std::uint64_t target)
    {
        while (screen.updates.empty() || screen.updates.back() < target) {
            iterate();
        }
    }
    void hold() { calls.setLevel(buttonLine, false); }
    void letGo() { calls.setLevel(buttonLine, true); }

    SystemCalls calls;
    RecordingScreen screen;
    DisplayDriver display;
    RotaryInput encoder;
    ButtonInput button;
    std::optional<EventLoop> loop;
};

// Ticks and pacing.

TEST_F(Loop, TicksTheScreenOnceAnIterationBeginningWith1)
{
    iterate(5);
    EXPECT_THAT(screen.updates, ElementsAre(1, 2, 3, 4, 5));
}

TEST_F(Loop, SleepsOnceFor1000MicrosecondsAtTheEndOfEveryIteration)
{
    for (int i = 1; i < 20; ++i) {
        iterate();
        EXPECT_THAT(calls.takeLog(), ElementsAre("encoder read of 24 bytes", "wait 1000 us")) << i;
    }
}

TEST_F(Loop, DoesEverythingOfAnIterationInThisOrder)
{
    std::vector<std::string> order;
    calls.onCall = [&](const std::string& call) {
        if (call.starts_with("encoder") || call.starts_with("wait")) {
            order.push_back(call);
        }
    };
    screen.record = [&](const std::string& entry) { order.push_back(entry); };
    hold();
    iterate(39);
    order.clear();
    screen.markDirty();
    calls.queueStep(1);
    iterate();
    EXPECT_THAT(order,
                ElementsAre("update", "encoder read of 24 bytes", "RotateRight", "Press", "draw", "wait 1000 us"));
}

TEST_F(Loop, PollsTheButtonAfterTheTickAndBeforeTheEncoderIsRead)
{
    // The fourth poll that sees the button is in iteration 40: what it finds is set in that iteration.
    hold();
    iterate(30);
    letGo();
    screen.record = [this](const std::string& entry) {
        if (entry == "update") {
            hold();
        }
    };
    calls.onCall = [this](const std::string& call) {
        if (call.starts_with("encoder")) {
            letGo();
        }
    };
    iterate(10);
    EXPECT_THAT(screen.events, ElementsAre("40 Press"));
}

// Polling.

TEST_F(Loop, PollsTheButtonFirstInIteration10AndThenInEveryTenth)
{
    // A press takes four polls; the level is right only around the iterations that are to poll.
    for (const int first : {10, 20, 30, 40}) {
        iterateTo(static_cast<std::uint64_t>(first) - 1);
        hold();
        iterate();
        letGo();
    }
    EXPECT_THAT(screen.events, ElementsAre("40 Press"));
}

TEST_F(Loop, DoesNotPollTheButtonInBetween)
{
    for (int i = 1; i <= 200; ++i) {
        i % 10 == 0 ? letGo() : hold();
        iterate();
    }
    EXPECT_THAT(screen.events, IsEmpty());
}

// The encoder.

struct StepCase {
    std::int32_t step;
    std::vector<std::string> events;
};

TEST_F(Loop, TurnsTheSignOfAStepIntoASingleRotation)
{
    const StepCase cases[] = {
        {1, {"1 RotateRight"}},
        {3, {"2 RotateRight"}},
        {INT32_MAX, {"3 RotateRight"}},
        {-1, {"4 RotateLeft"}},
        {-2, {"5 RotateLeft"}},
        {INT32_MIN, {"6 RotateLeft"}},
        {0, {}},
    };
    for (const StepCase& rotation : cases) {
        screen.events.clear();
        calls.queueStep(rotation.step);
        iterate();
        EXPECT_EQ(screen.events, rotation.events) << rotation.step;
    }
}

TEST_F(Loop, TakesOneQueuedStepAnIteration)
{
    for (const std::int32_t step : {1, 0, -1, 1}) {
        calls.queueStep(step);
    }
    iterate(6);
    EXPECT_THAT(screen.events, ElementsAre("1 RotateRight", "3 RotateLeft", "4 RotateRight"));
}

TEST_F(Loop, IgnoresWhetherTheScreenTookAnEvent)
{
    for (const bool isTaking : {false, true}) {
        screen.isTaking = isTaking;
        screen.events.clear();
        hold();
        calls.queueStep(1);
        iterate(40);
        letGo();
        iterate(60);
        EXPECT_EQ(screen.events.size(), 3U);
    }
}

// The button.

struct HoldCase {
    const char* name;
    /// Iterations from the press edge to the release edge.
    std::uint64_t duration;
    std::vector<std::string> events;
};

void PrintTo(const HoldCase& hold, std::ostream* stream)
{
    *stream << hold.duration << " iterations";
}

class LoopHold : public Loop, public testing::WithParamInterface<HoldCase> {};

TEST_P(LoopHold, GivesTheseEvents)
{
    hold();
    iterateTo(GetParam().duration);
    letGo();
    iterateTo(40 + GetParam().duration);
    const std::size_t atTheEdge = screen.events.size();
    iterate(3000);
    EXPECT_EQ(screen.events, GetParam().events);
    EXPECT_EQ(atTheEdge, screen.events.size()) << "nothing follows the release";
}

INSTANTIATE_TEST_SUITE_P(
    For, LoopHold,
    testing::Values(HoldCase{"The40IterationsOfTheShortestPress", 40, {"40 Press", "80 Release"}},
                    HoldCase{"500Iterations", 500, {"40 Press", "540 Release"}},
                    HoldCase{"990IterationsGivesARelease", 990, {"40 Press", "1030 Release"}},
                    HoldCase{"Exactly1000IterationsGivesNeither", 1000, {"40 Press"}},
                    HoldCase{"1010IterationsGivesALongPress", 1010, {"40 Press", "1040 LongPress"}},
                    HoldCase{"3000IterationsGivesOneLongPress", 3000, {"40 Press", "1040 LongPress"}}),
    [](const auto& name) { return name.param.name; });

TEST_F(Loop, CountsALongPressFromItsOwnPress)
{
    hold();
    iterateTo(100);
    letGo();
    iterateTo(500);
    hold();
    iterateTo(2000);
    letGo();
    iterateTo(2100);
    EXPECT_THAT(screen.events, ElementsAre("40 Press", "140 Release", "540 Press", "1540 LongPress"));
}

TEST_F(Loop, GivesALongPressInIteration1000WithoutAPressWhenTheButtonWasHeldAllAlong)
{
    hold();
    for (int i = 0; i < 4; ++i) {
        button.poll();
    }
    ASSERT_TRUE(button.takePressed(buttonLine));
    iterate(999);
    EXPECT_THAT(screen.events, IsEmpty());
    iterate();
    EXPECT_THAT(screen.events, ElementsAre("1000 LongPress"));
    letGo();
    iterate(100);
    EXPECT_THAT(screen.events, ElementsAre("1000 LongPress"));
}

TEST_F(Loop, DeliversAPressBeforeAReleaseThatWasLatchedWithIt)
{
    hold();
    for (int i = 0; i < 4; ++i) {
        button.poll();
    }
    letGo();
    for (int i = 0; i < 4; ++i) {
        button.poll();
    }
    iterate(3);
    EXPECT_THAT(screen.events, ElementsAre("1 Press", "1 Release"));
}

TEST_F(Loop, ClearsTheReleaseOfALongHoldSoThatItDoesNotReturn)
{
    hold();
    iterateTo(1500);
    letGo();
    iterateTo(1600);
    EXPECT_FALSE(button.takeReleased(buttonLine));
    hold();
    iterateTo(1700);
    EXPECT_THAT(screen.events, ElementsAre("40 Press", "1040 LongPress", "1640 Press"));
}

TEST_F(Loop, HeedsNoLineButTheButtons)
{
    calls.gpio[13] = 1U << buttonLine;
    iterate(2000);
    EXPECT_THAT(screen.events, IsEmpty());
}

// Frames.

TEST_F(Loop, LooksFirstInIteration20WhetherTheScreenNeedsARedraw)
{
    iterate(19);
    EXPECT_THAT(screen.draws, IsEmpty());
    EXPECT_THAT(calls.transfers(), IsEmpty());
    iterate();
    EXPECT_THAT(screen.draws, ElementsAre(20));
    calls.waitUntilEnded(1);
}

TEST_F(Loop, SendsNoFrameInAnIterationWithoutAChange)
{
    iterate(20);
    calls.waitUntilEnded(1);
    iterate(500);
    EXPECT_THAT(screen.draws, ElementsAre(20));

    screen.markDirty();
    iterate(20);
    calls.waitUntilEnded(2);
    iterate(500);
    EXPECT_THAT(screen.draws, ElementsAre(20, 540));
    EXPECT_EQ(calls.transfers().size(), 2U);
}

TEST_F(Loop, DrawsAChangeInTheNextIterationThatIsDivisibleBy20)
{
    iterate(21);
    screen.markDirty();
    iterate(18);
    EXPECT_THAT(screen.draws, ElementsAre(20));
    iterate();
    EXPECT_THAT(screen.draws, ElementsAre(20, 40));
}

TEST_F(Loop, SendsWhatTheScreenHasDrawn)
{
    const std::pair<Pixel, std::uint8_t> shades[] = {{1, 0x55}, {3, 0xFF}, {0, 0x00}, {2, 0xAA}};
    std::size_t count = 0;
    for (const auto& [shade, byte] : shades) {
        screen.shade = shade;
        screen.markDirty();
        iterate(20);
        calls.waitUntilEnded(++count);
        EXPECT_THAT(calls.transfers().back().bytes, testing::AllOf(testing::SizeIs(10240), Each(byte)));
    }
}

TEST_F(Loop, GoesOnWhileATransferTakesItsTime)
{
    calls.holdTransfers();
    iterate(20);
    calls.waitUntilBegun(1);
    for (int i = 1; i <= 50; ++i) {
        screen.markDirty();
        screen.shade = i == 50 ? 3 : 1;
        iterate(20); // would wait for ever if it waited
    }
    calls.releaseTransfers();
    calls.waitUntilEnded(2);
    EXPECT_THAT(calls.transfers().back().bytes, Each(0xFF));
}

// A board without its devices.

TEST_F(Loop, RunsWithoutDisplayAndEncoder)
{
    calls.removeDevice("/dev/spidev0.0");
    calls.removeDevice("/dev/input/event0");
    DisplayDriver missingDisplay;
    RotaryInput missingEncoder;
    testing::internal::CaptureStderr();
    missingDisplay.open(0, 0, 12500000, 7, 25);
    missingEncoder.open();
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "Unable to open SPI\nError opening rotary event device\n");

    loop.emplace(screen, missingDisplay, missingEncoder, button);
    calls.queueStep(1);
    hold();
    iterate(100);
    EXPECT_THAT(screen.events, ElementsAre("40 Press"));
    EXPECT_THAT(screen.draws, ElementsAre(20));
    EXPECT_THAT(calls.transfers(), IsEmpty());
}

// With the real screen.

class RealScreenLoop : public testing::Test {
protected:
    RealScreenLoop()
    {
        buildImageStore();
        buildFont("font8", "img/font8", 1, 2, 1);
        buildFont("font16", "img/font8", 2, 4, 2);
        updater.emplace();
        updater->setSize(displayWidth, displayHeight);
        display.open(0, 0, 12500000, 7, 25);
        encoder.open();
        button.init();
        loop.emplace(*updater, display, encoder, button);
        calls.takeLog();
    }

    void iterate(int count)
    {
        for (int i = 0; i < count; ++i) {
            loop->iterate();
        }
    }

    SystemCalls calls;
    std::optional<Updater> updater;
    DisplayDriver display;
    RotaryInput encoder;
    ButtonInput button;
    std::optional<EventLoop> loop;
};

TEST_F(RealScreenLoop, TenThousandIdleIterationsAllocateNothing)
{
    calls.setLogging(false);
    iterate(20); // the first frame draws the texts
    const AllocationCounter counter;
    iterate(10000);
    EXPECT_EQ(counter.count(), 0U);
    EXPECT_EQ(updater->getState(), UpdateState::WaitingForUsb);
    EXPECT_EQ(calls.lookUps("/dev/sda"), 20U) << "the drive was looked for all the while";
}

TEST_F(RealScreenLoop, AnIdleIterationOfTheMenuReadsTheEncoderAndSleeps)
{
    updater->showMenu();
    iterate(20);
    calls.waitUntilEnded(1);
    calls.takeLog();
    iterate(1000);
    std::vector<std::string> expected;
    for (int i = 0; i < 1000; ++i) {
        expected.insert(expected.end(), {"encoder read of 24 bytes", "wait 1000 us"});
    }
    EXPECT_EQ(firstDifference(calls.takeLog(), expected), "");
}

TEST_F(RealScreenLoop, ATurnOfTheWheelAllocatesNothing)
{
    calls.setLogging(false);
    iterate(140);
    const AllocationCounter counter;
    updater->update(wheelPeriod);
    EXPECT_TRUE(updater->needsRedraw());
    updater->drawTree();
    display.sendFrame(updater->getSurface());
    EXPECT_EQ(counter.count(), 0U);
}

TEST_F(RealScreenLoop, WaitingSendsAFrameForEveryTurnOfTheWheel)
{
    iterate(20);
    calls.waitUntilEnded(1);
    const auto redrawAfter = [](std::uint64_t step) { return static_cast<int>((step + 19) / 20 * 20); };
    iterate(redrawAfter(wheelPeriod) - 20 - 1);
    EXPECT_EQ(calls.transfers().size(), 1U);
    iterate(1);
    calls.waitUntilEnded(2);
    iterate(redrawAfter(2 * wheelPeriod) - redrawAfter(wheelPeriod) - 1);
    EXPECT_EQ(calls.transfers().size(), 2U);
    iterate(1);
    calls.waitUntilEnded(3);
    EXPECT_NE(calls.transfers()[1].bytes, calls.transfers()[2].bytes);
}

TEST_F(RealScreenLoop, AClickOnTheMenuOpensTheDialog)
{
    updater->showMenu();
    calls.queueStep(1);
    calls.setLevel(buttonLine, false);
    iterate(100);
    calls.setLevel(buttonLine, true);
    iterate(100);
    EXPECT_FALSE(updater->getChildren()[1]->isVisible()) << "the menu's button";
    EXPECT_TRUE(updater->getChildren()[4]->isSelected()) << "the dialog's No";
}

} // namespace
