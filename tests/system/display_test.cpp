// When the busy indicator turns, and which frames a slow display bus transfers.
#include "tests/system/system_test.h"
#include "updater/timing.h"

#include <set>

namespace {

class Display : public SystemTest {};

/// A step is drawn at the next multiple of 20 and takes 7 iterations to reach the display.
TEST_F(Display, TurnsTheWheelOncePerPeriod)
{
    device.switchOn();
    for (int step = 1; step <= 16; ++step) {
        const std::uint64_t drawnAt = (wheelPeriod * static_cast<std::uint64_t>(step) + 19) / 20 * 20;
        device->runTo(drawnAt + 6);
        EXPECT_EQ(device.shownWheel(), (step - 1) % 8) << "before step " << step;
        device->run(1);
        EXPECT_EQ(device.shownWheel(), step % 8) << "after step " << step;
    }
}

class SlowDisplay : public Display {
protected:
    /// A frame takes three times the interval between two redraws.
    void SetUp() override { device.switchOn({.frameTime = std::chrono::milliseconds(60)}); }
};

TEST_F(SlowDisplay, SkipsFramesButReceivesTheLast)
{
    device->runTo(20);
    const std::uint64_t first = device->frameCount();
    device.toPreparing();
    for (int i = 0; i < 100; ++i) { // a change for every redraw
        device.decrypt.print(*device, "SHOW: " + std::to_string(i) + "\n");
        device->run(20);
    }
    EXPECT_GT(device->frameCount(), first);
    EXPECT_LT(device->frameCount(), first + 100);
    device.decrypt.print(*device, "SHOW: the last\n");
    device->run(300);
    EXPECT_TRUE(device.showsMessageAndWheel(texts::preparingHeader + std::string("the last")));
}

TEST_F(SlowDisplay, DoesNotBlockTheMainLoop)
{
    device->runTo(10000);
    // An iteration takes 1 ms of device time. The start-up takes 354.593 ms at the normal bus speed, and less than
    // 60 ms longer on the slow bus.
    EXPECT_LT(std::stoull(device->traffic().back()), 354593U + 60000U + 10000U * 1000U);
}

TEST_F(SlowDisplay, NeverMixesTwoPictures)
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
