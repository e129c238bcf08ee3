// The knob: debouncing, long and short presses, and turning, each to the iteration.
#include "tests/system/system_test.h"

#include <linux/input.h>

namespace {

const auto factorySelected = [] { return ScreenPainter().menu(true, Selection::First).screen(); };
const auto updateSelected = [] { return ScreenPainter().menu(true, Selection::Second).screen(); };
const auto nothingSelected = [] { return ScreenPainter().menu(true, Selection::None).screen(); };

class Knob : public SystemTest {
protected:
    /// To the menu with the factory reset selected, at an iteration that is a multiple of 10.
    void SetUp() override
    {
        device.toMenu();
        device.turn(1);
        device->runTo((device->iteration() + 9) / 10 * 10);
    }

    [[nodiscard]] bool isDialogShown()
    {
        device.settle();
        return device->screen() != factorySelected();
    }

    /// Holds the button for that many polls, of which there is one every 10 iterations.
    void holdForPolls(std::uint64_t polls)
    {
        device->press();
        device->run(10 * polls);
        device->release();
    }
};

TEST_F(Knob, LowForThreePollsIsNoPress)
{
    holdForPolls(3);
    device->run(100);
    EXPECT_FALSE(isDialogShown());
}

TEST_F(Knob, LowForFourPollsIsAPressAndItsReleaseCountsAfterFourPollsToo)
{
    holdForPolls(4);
    device->run(39);
    EXPECT_EQ(device->screen(), factorySelected());
    device->run(1);
    EXPECT_TRUE(isDialogShown());
}

TEST_F(Knob, AnAgreeingPollStartsTheCountAnew)
{
    for (int i = 0; i < 10; ++i) {
        holdForPolls(3);
        device->run(10);
    }
    EXPECT_FALSE(isDialogShown());
}

// The press is seen at the fourth poll of the hold, the release at the fourth poll after it: so a hold of n polls ends
// 10 * n iterations after its press was seen.

TEST_F(Knob, AReleaseNineHundredAndNinetyIterationsAfterThePressIsAClick)
{
    holdForPolls(99);
    device->run(100);
    EXPECT_TRUE(isDialogShown());
}

TEST_F(Knob, AReleaseAThousandIterationsAfterThePressIsNone)
{
    holdForPolls(100);
    device->run(100);
    EXPECT_FALSE(isDialogShown());
}

TEST_F(Knob, AfterALongHoldTheNextClickCounts)
{
    holdForPolls(300);
    device->run(100);
    EXPECT_FALSE(isDialogShown());
    holdForPolls(6);
    device->run(60);
    EXPECT_TRUE(isDialogShown());
}

TEST_F(Knob, HeldAtPowerUpIsReleasedWithoutHarm)
{
    TestDevice other;
    other.switchOn();
    other->press();
    other->runTo(1500);
    other->release();
    other->runTo(1600);
    EXPECT_TRUE(other.isHealthy());
}

TEST_F(Knob, TurningRightMovesDownAndWrapsAround)
{
    device.turn(1);
    EXPECT_TRUE(sameScreen(device->screen(), updateSelected(), "turned_right"));
    device.turn(1);
    EXPECT_TRUE(sameScreen(device->screen(), factorySelected(), "turned_right_twice"));
}

TEST_F(Knob, TurningLeftMovesUpAndWrapsAround)
{
    device.turn(-1);
    EXPECT_TRUE(sameScreen(device->screen(), updateSelected(), "turned_left"));
}

TEST_F(Knob, AReportOfSeveralStepsIsOneMove)
{
    device.turn(3);
    EXPECT_TRUE(sameScreen(device->screen(), updateSelected(), "plus_three"));
    device.turn(-2);
    EXPECT_TRUE(sameScreen(device->screen(), factorySelected(), "minus_two"));
}

TEST_F(Knob, QueuedReportsAreWorkedOffOneRecordAnIteration)
{
    // To the iteration before a redraw: of three reports of two records each, two movements fall before it.
    device->runTo((device->iteration() / 20 + 1) * 20 - 3);
    for (int i = 0; i < 3; ++i) {
        device->turn(1);
    }
    device->run(20);
    EXPECT_TRUE(sameScreen(device->screen(), factorySelected(), "two_of_three"));
    device->run(20);
    EXPECT_TRUE(sameScreen(device->screen(), updateSelected(), "three_of_three"));
}

TEST_F(Knob, AnyEventTurnsByItsValueAlone)
{
    device->queueEncoderEvent(EV_KEY, KEY_ENTER, 1);
    device.settle();
    EXPECT_TRUE(sameScreen(device->screen(), updateSelected(), "key_event"));
    device->queueEncoderEvent(EV_REL, REL_X, 0);
    device.settle();
    EXPECT_TRUE(sameScreen(device->screen(), updateSelected(), "zero_event"));
}

TEST_F(Knob, AClickWithNothingSelectedDoesNothing)
{
    TestDevice other;
    other.toMenu();
    EXPECT_TRUE(sameScreen(other->screen(), nothingSelected(), "menu_untouched"));
    other.click();
    EXPECT_TRUE(sameScreen(other->screen(), nothingSelected(), "menu_clicked"));
}

TEST_F(Knob, TheFirstTurnToTheLeftSelectsTheLast)
{
    TestDevice other;
    other.toMenu();
    other.turn(-1);
    EXPECT_TRUE(sameScreen(other->screen(), updateSelected(), "menu_first_left"));
}

TEST_F(Knob, IsFreeToTurnWhileThereIsNothingToSelect)
{
    TestDevice other;
    other.switchOn();
    for (int i = 0; i < 50; ++i) {
        other.turn(i % 2 == 0 ? 1 : -1);
        other.click();
    }
    EXPECT_TRUE(other.isHealthy());
}

} // namespace
