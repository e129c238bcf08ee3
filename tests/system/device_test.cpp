// Devices that fail while the updater runs.
#include "tests/system/system_test.h"

namespace {

class FailingDevice : public SystemTest {};

TEST_F(FailingDevice, ADisplayThatFailsForATimeShowsTheNextPicture)
{
    device.toMenu();
    device->setTrouble(sim::trouble::failingDisplay, true);
    device.turn(1);
    EXPECT_TRUE(sameScreen(device->screen(), ScreenPainter().menu(true, Selection::None).screen(), "stale"));
    device->setTrouble(sim::trouble::failingDisplay, false);
    device.turn(1);
    EXPECT_TRUE(sameScreen(device->screen(), ScreenPainter().menu(true, Selection::Second).screen(), "recovered"));
}

TEST_F(FailingDevice, AnEncoderThatFailsForATimeLosesNothing)
{
    device.toMenu();
    device->setTrouble(sim::trouble::failingEncoder, true);
    device.turn(1);
    EXPECT_TRUE(sameScreen(device->screen(), ScreenPainter().menu(true, Selection::None).screen(), "no_turn"));
    device->setTrouble(sim::trouble::failingEncoder, false);
    device.settle();
    EXPECT_TRUE(sameScreen(device->screen(), ScreenPainter().menu(true, Selection::First).screen(), "turned"));
}

TEST_F(FailingDevice, AWholeUpdateRunsWithoutDisplayAndLeds)
{
    device.switchOn({.troubles = {sim::trouble::absentDisplay, sim::trouble::absentLeds}});
    device.toInstalling(false);
    device.install.exit(*device, 0);
    device.settle();
    EXPECT_EQ(device->standardOutput(), "Starting updater...\nStarted install.sh\nEverything done");
    EXPECT_EQ(device->standardError(), "Unable to open SPI\n");
}

} // namespace
