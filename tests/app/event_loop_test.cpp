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

#include <functional>
#include <optional>
#include <ostream>

namespace {

using Iterations = std::vector<std::uint64_t>;

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

/// Records its calls, both in its fields and in the log of the system calls.
class RecordingScreen : public Widget {
public:
    explicit RecordingScreen(SystemCalls& systemCalls) : calls(systemCalls) { setSize(displayWidth, displayHeight); }

    void update(std::uint64_t iteration) override
    {
        Widget::update(iteration);
        updates.push_back(iteration);
        record("update");
    }
    bool onInput(InputEvent event) override
    {
        events.push_back(std::to_string(tick) + ' ' + nameOf(event));
        record(nameOf(event));
        return isHandling;
    }
    void draw() override
    {
        draws.push_back(tick);
        surface.fill(shade);
        record("draw");
    }

    Iterations updates;
    Iterations draws;
    Log events;
    std::function<void(const std::string&)> onCall = [](const std::string&) {};
    Pixel shade = 0;
    bool isHandling = false;

private:
    void record(const std::string& call)
    {
        calls.note("%s", call.c_str());
        onCall(call);
    }

    SystemCalls& calls;
};

class Loop : public testing::Test {
protected:
    Loop()
    {
        display.open(0, 0, 12500000, 7, 25);
        encoder.open();
        calls.gpio[13] = 0xFFFFFFFF;
        button.init();
        button.poll(); // resets the debounce counters, which all instances share
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
    void press() { calls.setLevel(buttonLine, false); }
    void release() { calls.setLevel(buttonLine, true); }

    SystemCalls calls;
    RecordingScreen screen{calls};
    DisplayDriver display;
    RotaryInput encoder;
    ButtonInput button;
    std::optional<EventLoop> loop;
};

// Order and pacing.

TEST_F(Loop, UpdatesTheScreenOncePerIterationCountingFrom1)
{
    iterate(5);
    EXPECT_EQ(screen.updates, Iterations({1, 2, 3, 4, 5}));
}

TEST_F(Loop, ReadsTheEncoderAndSleepsFor1000MicrosecondsInEveryIteration)
{
    for (int i = 1; i < 20; ++i) {
        iterate();
        EXPECT_EQ(calls.takeLog(), Log({"update", "encoder read of 24 bytes", "wait 1000 us"})) << i;
    }
}

TEST_F(Loop, RunsTheStepsOfAnIterationInOrder)
{
    press();
    iterate(39);
    calls.waitUntilEnded(1); // otherwise the next frame may replace the first frame
    calls.takeLog();
    screen.markDirty();
    calls.queueStep(1);
    iterate();
    calls.waitUntilEnded(2);
    Log log = calls.takeLog();
    // The frame writer thread may send the frame before or after the wait.
    std::erase_if(log, [](const std::string& call) { return call == "command 5C" || call.starts_with("transfer"); });
    EXPECT_EQ(log, Log({"update", "encoder read of 24 bytes", "RotateRight", "Press", "draw", "wait 1000 us"}));
}

TEST_F(Loop, PollsTheButtonAfterTheUpdateAndBeforeDispatchingARotation)
{
    // In the iteration of the fourth poll, the button is pressed only between the update and the rotation event.
    press();
    iterate(39);
    release();
    screen.onCall = [this](const std::string& call) {
        if (call == "update") {
            press();
        } else if (call == "RotateRight") {
            release();
        }
    };
    calls.queueStep(1);
    iterate();
    EXPECT_EQ(screen.events, Log({"40 RotateRight", "40 Press"}));
}

// Polling.

TEST_F(Loop, PollsTheButtonInEveryTenthIterationStartingWith10)
{
    // A press takes effect after four polls. The button is pressed only in the iterations that must poll.
    for (const int first : {10, 20, 30, 40}) {
        iterateTo(static_cast<std::uint64_t>(first) - 1);
        press();
        iterate();
        release();
    }
    EXPECT_EQ(screen.events, Log({"40 Press"}));
}

TEST_F(Loop, DoesNotPollTheButtonBetweenMultiplesOf10Iterations)
{
    for (int i = 1; i <= 200; ++i) {
        i % 10 == 0 ? release() : press();
        iterate();
    }
    EXPECT_EQ(screen.events, Log());
}

// The encoder.

struct StepCase {
    std::int32_t step;
    Log events;
};

TEST_F(Loop, DispatchesOneRotationPerNonzeroStepInTheDirectionOfItsSign)
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

TEST_F(Loop, ReadsOneQueuedStepPerIteration)
{
    for (const std::int32_t step : {1, 0, -1, 1}) {
        calls.queueStep(step);
    }
    iterate(6);
    EXPECT_EQ(screen.events, Log({"1 RotateRight", "3 RotateLeft", "4 RotateRight"}));
}

TEST_F(Loop, DispatchesAllEventsWhetherOrNotTheScreenHandlesThem)
{
    for (const bool isHandling : {false, true}) {
        screen.isHandling = isHandling;
        screen.events.clear();
        press();
        calls.queueStep(1);
        iterate(40);
        release();
        iterate(60);
        EXPECT_EQ(screen.events.size(), 3U);
    }
}

// The button.

struct HoldCase {
    const char* name;
    /// Iterations from the press to the release, before debouncing.
    std::uint64_t duration;
    Log events;
};

void PrintTo(const HoldCase& hold, std::ostream* stream)
{
    *stream << hold.duration << " iterations";
}

class LoopHold : public Loop, public testing::WithParamInterface<HoldCase> {};

TEST_P(LoopHold, DispatchesEventsByDuration)
{
    press();
    iterateTo(GetParam().duration);
    release();
    iterateTo(40 + GetParam().duration);
    const std::size_t atTheEdge = screen.events.size();
    iterate(3000);
    EXPECT_EQ(screen.events, GetParam().events);
    EXPECT_EQ(atTheEdge, screen.events.size()) << "an event was dispatched after the debounced release";
}

INSTANTIATE_TEST_SUITE_P(
    For, LoopHold,
    testing::Values(HoldCase{"TheShortestPress", 40, {"40 Press", "80 Release"}},
                    HoldCase{"500Iterations", 500, {"40 Press", "540 Release"}},
                    HoldCase{"990IterationsDispatchARelease", 990, {"40 Press", "1030 Release"}},
                    HoldCase{"1000IterationsDispatchOnlyAPress", 1000, {"40 Press"}},
                    HoldCase{"1010IterationsDispatchALongPress", 1010, {"40 Press", "1040 LongPress"}},
                    HoldCase{"3000IterationsDispatchOneLongPress", 3000, {"40 Press", "1040 LongPress"}}),
    [](const auto& name) { return name.param.name; });

TEST_F(Loop, MeasuresALongPressFromTheLastPress)
{
    press();
    iterateTo(100);
    release();
    iterateTo(500);
    press();
    iterateTo(2000);
    release();
    iterateTo(2100);
    EXPECT_EQ(screen.events, Log({"40 Press", "140 Release", "540 Press", "1540 LongPress"}));
}

TEST_F(Loop, DispatchesALongPressInIteration1000IfTheButtonIsHeldFromTheStart)
{
    press();
    for (int i = 0; i < 4; ++i) {
        button.poll();
    }
    ASSERT_TRUE(button.takePressed(buttonLine));
    iterate(999);
    EXPECT_EQ(screen.events, Log());
    iterate();
    EXPECT_EQ(screen.events, Log({"1000 LongPress"}));
    release();
    iterate(100);
    EXPECT_EQ(screen.events, Log({"1000 LongPress"}));
}

TEST_F(Loop, DispatchesALatchedPressBeforeALatchedRelease)
{
    press();
    for (int i = 0; i < 4; ++i) {
        button.poll();
    }
    release();
    for (int i = 0; i < 4; ++i) {
        button.poll();
    }
    iterate(3);
    EXPECT_EQ(screen.events, Log({"1 Press", "1 Release"}));
}

TEST_F(Loop, ClearsTheReleaseAfterALongPress)
{
    press();
    iterateTo(1500);
    release();
    iterateTo(1600);
    EXPECT_FALSE(button.takeReleased(buttonLine));
    press();
    iterateTo(1700);
    EXPECT_EQ(screen.events, Log({"40 Press", "1040 LongPress", "1640 Press"}));
}

TEST_F(Loop, IgnoresGpioLinesOtherThanTheButtonLine)
{
    calls.gpio[13] = 1U << buttonLine;
    iterate(2000);
    EXPECT_EQ(screen.events, Log());
}

// Frames.

TEST_F(Loop, DrawsTheFirstFrameInIteration20)
{
    iterate(19);
    EXPECT_EQ(screen.draws, Iterations());
    EXPECT_TRUE(calls.transfers().empty());
    iterate();
    EXPECT_EQ(screen.draws, Iterations({20}));
    calls.waitUntilEnded(1);
}

TEST_F(Loop, SendsNoFrameWithoutAChange)
{
    iterate(20);
    calls.waitUntilEnded(1);
    iterate(500);
    EXPECT_EQ(screen.draws, Iterations({20}));

    screen.markDirty();
    iterate(20);
    calls.waitUntilEnded(2);
    iterate(500);
    EXPECT_EQ(screen.draws, Iterations({20, 540}));
    EXPECT_EQ(calls.transfers().size(), 2U);
}

TEST_F(Loop, DrawsAChangeAtTheNextMultipleOf20Iterations)
{
    iterate(21);
    screen.markDirty();
    iterate(18);
    EXPECT_EQ(screen.draws, Iterations({20}));
    iterate();
    EXPECT_EQ(screen.draws, Iterations({20, 40}));
}

TEST_F(Loop, SendsTheDrawnScreen)
{
    const std::pair<Pixel, std::uint8_t> shades[] = {{1, 0x55}, {3, 0xFF}, {0, 0x00}, {2, 0xAA}};
    std::size_t count = 0;
    for (const auto& [shade, byte] : shades) {
        screen.shade = shade;
        screen.markDirty();
        iterate(20);
        calls.waitUntilEnded(++count);
        EXPECT_EQ(calls.transfers().back().bytes, std::vector<std::uint8_t>(10240, byte));
    }
}

TEST_F(Loop, DoesNotWaitForATransfer)
{
    calls.holdTransfers();
    iterate(20);
    calls.waitUntilBegun(1);
    for (int i = 1; i <= 50; ++i) {
        screen.markDirty();
        screen.shade = i == 50 ? 3 : 1;
        iterate(20); // if this blocks, the test hangs
    }
    calls.releaseTransfers();
    calls.waitUntilEnded(2);
    EXPECT_EQ(calls.transfers().back().bytes, std::vector<std::uint8_t>(10240, 0xFF));
}

// Missing devices.

TEST_F(Loop, RunsWithoutDisplayAndEncoder)
{
    calls.missingDevices = {"/dev/spidev0.0", "/dev/input/event0"};
    DisplayDriver missingDisplay;
    RotaryInput missingEncoder;
    testing::internal::CaptureStderr();
    missingDisplay.open(0, 0, 12500000, 7, 25);
    missingEncoder.open();
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "Unable to open SPI\nError opening rotary event device\n");

    loop.emplace(screen, missingDisplay, missingEncoder, button);
    calls.queueStep(1);
    press();
    iterate(100);
    EXPECT_EQ(screen.events, Log({"40 Press"}));
    EXPECT_EQ(screen.draws, Iterations({20}));
    EXPECT_TRUE(calls.transfers().empty());
}

// With the updater's screen.

class UpdaterLoop : public testing::Test {
protected:
    UpdaterLoop()
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
    /// Final, because Clang warns if an object of a non-final class with virtual functions but without a virtual
    /// destructor is destroyed.
    struct Screen final : Updater {};
    std::optional<Screen> updater;
    DisplayDriver display;
    RotaryInput encoder;
    ButtonInput button;
    std::optional<EventLoop> loop;
};

TEST_F(UpdaterLoop, TenThousandIdleIterationsDoNotAllocate)
{
    calls.setLogging(false);
    iterate(20); // draws the first frame, which may allocate
    const AllocationCounter counter;
    iterate(10000);
    EXPECT_EQ(counter.count(), 0U);
}

TEST_F(UpdaterLoop, AdvancingTheWheelDoesNotAllocate)
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

} // namespace
