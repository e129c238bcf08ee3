// The encoder's events, and the debounced button. The updater polls the button every 10 iterations and detects an edge
// at the fourth consecutive poll that reads the new level.
#include "tests/system/system_test.h"

namespace {

class Button : public SystemTest {
protected:
    /// Opens the menu, selects the factory reset, and stops at an iteration that is a multiple of 10.
    void SetUp() override
    {
        device.toMenu();
        device.turn(1);
        device->runTo((device->iteration() + 9) / 10 * 10);
        menu = device->screen();
    }

    /// Presses the button for `polls` polls and releases it. If this causes a click, the dialog replaces the menu.
    void holdForPolls(std::uint64_t polls)
    {
        device->press();
        device->run(10 * polls);
        device->release();
    }

    [[nodiscard]] bool isMenuShown() { return device->screen() == menu; }

    sim::Screen menu{};
};

TEST_F(Button, ClicksWhenHeldForFourPollsAndReleasedForFour)
{
    for (int i = 0; i < 10; ++i) {
        holdForPolls(3);
        device->run(10);
    }
    device->run(100);
    EXPECT_TRUE(isMenuShown()) << "presses of three polls caused a click";
    holdForPolls(4);
    device->run(39);
    EXPECT_TRUE(isMenuShown());
    device->run(1);
    device.settle();
    EXPECT_FALSE(isMenuShown());
}

using Encoder = SystemTest;

TEST_F(Encoder, OnlyTheValueOfAnEventMatters)
{
    const auto expectFirstSelected = [this](const char* name) {
        EXPECT_TRUE(sameScreen(device->screen(), ScreenPainter().menu(true, Selection::First).screen(), name));
    };
    device.toMenu();
    device->queueEncoderEvent(EV_KEY, KEY_ENTER, 1);
    device.settle();
    expectFirstSelected("key_event");
    device->queueEncoderEvent(EV_REL, REL_X, 0);
    device.settle();
    expectFirstSelected("event_with_value_0");
}

} // namespace
