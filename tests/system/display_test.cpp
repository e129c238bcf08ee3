// Frames: when they are sent, the busy wheel, and what a slow bus does to them.
#include "tests/system/system_test.h"
#include "updater/timing.h"

#include <set>

namespace {

class Display : public SystemTest {};

TEST_F(Display, SendsNoFrameWhenNothingChanges)
{
    device.toMenu();
    const std::uint64_t before = device->frameCount();
    device->run(100000);
    EXPECT_EQ(device->frameCount(), before);
}

TEST_F(Display, TurnsTheWheelEvery142Iterations)
{
    device.switchOn();
    // Drawn at the first multiple of 20 from then on, and on the glass 7 iterations later.
    for (int turn = 1; turn <= 16; ++turn) {
        const int turnsAt = 142 * turn;
        const int drawnAt = (turnsAt + 19) / 20 * 20;
        device->runTo(static_cast<std::uint64_t>(drawnAt) + 6);
        EXPECT_TRUE(sameScreen(device->screen(), ScreenPainter().message(texts::waiting).wheel((turn - 1) % 8).screen(),
                               "wheel_before_" + std::to_string(turn)));
        device->run(1);
        EXPECT_TRUE(sameScreen(device->screen(), ScreenPainter().message(texts::waiting).wheel(turn % 8).screen(),
                               "wheel_after_" + std::to_string(turn)));
    }
}

TEST_F(Display, SendsOneFrameForEachStepOfTheWheel)
{
    device.switchOn();
    device->runTo(wheelPeriod * 100 + 30);
    EXPECT_EQ(device->frameCount(), 2U + 100U); // the clearing, the first picture, the steps
}

class SlowDisplay : public Display {
protected:
    /// Three times as long as the loop gives it.
    void SetUp() override { device.switchOn({.frameTime = std::chrono::milliseconds(60)}); }
};

TEST_F(SlowDisplay, GetsWholeFramesInOrderWithoutViolations)
{
    device->runTo(20);
    const std::uint64_t first = device->frameCount();
    // A change for every redraw: the wheel, and a text that a script changes all the time.
    device.setVersions("1.0", "2.0");
    device.toPreparing();
    for (int i = 0; i < 100; ++i) {
        device.decrypt.print(*device, "SHOW: " + std::to_string(i) + "\n");
        device->run(20);
    }
    EXPECT_GT(device->frameCount(), first);
    EXPECT_LT(device->frameCount(), first + 100);
    // A whole frame is one of the pictures, never a mixture; the last one arrives as it was drawn.
    device.decrypt.print(*device, "SHOW: the last\n");
    device->run(300);
    EXPECT_TRUE(device.isHealthy());
    EXPECT_TRUE(device.showsAtWork(std::string(texts::preparingHeader) + "the last"));
}

TEST_F(SlowDisplay, ShowsTheLastPictureInTheEnd)
{
    device.toMenu();
    for (const int step : {1, 1, 1, -1, 1}) { // faster than the frames
        device->turn(step);
        device->run(25);
    }
    device->run(300);
    EXPECT_TRUE(sameScreen(device->screen(), ScreenPainter().menu(true, Selection::First).screen(), "slow_last"));
}

TEST_F(SlowDisplay, DoesNotHoldUpTheLoop)
{
    // In virtual time a loop that waited for the bus would never get here, or would find the clock far ahead.
    device->runTo(10000);
    const auto traffic = device->traffic();
    const auto lastTime = std::stoull(traffic.back());
    EXPECT_LT(lastTime, 336589U + 60000U + 10000U * 1000U);
}

TEST_F(SlowDisplay, ShowsNothingButPicturesThatWereDrawn)
{
    std::set<sim::Screen> allowed = {sim::Screen{}};
    for (int frame = 0; frame < 8; ++frame) {
        allowed.insert(ScreenPainter().message(texts::waiting).wheel(frame).screen());
    }
    for (int i = 0; i < 300; ++i) {
        device->run(7);
        EXPECT_TRUE(allowed.contains(device->screen())) << "at iteration " << device->iteration();
    }
}

} // namespace
