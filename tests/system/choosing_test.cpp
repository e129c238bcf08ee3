// The menu and the confirmation dialog.
#include "tests/system/system_test.h"

namespace {

class Menu : public SystemTest {
protected:
    void expectMenu(bool hasUpdate, Selection selection, const std::string& name)
    {
        EXPECT_TRUE(sameScreen(device->screen(), ScreenPainter().menu(hasUpdate, selection).screen(), name));
    }
};

TEST_F(Menu, EachEncoderEventMovesTheSelectionByOneWithWraparound)
{
    device.toMenu();
    device.turn(1);
    expectMenu(true, Selection::First, "right");
    device.turn(3);
    expectMenu(true, Selection::Second, "right_by_three");
    device.turn(1);
    expectMenu(true, Selection::First, "right_past_the_end");
    device.turn(-2);
    expectMenu(true, Selection::Second, "left_past_the_start");
}

TEST_F(Menu, OnlyTheValueOfAnEncoderEventMatters)
{
    device.toMenu();
    device->queueEncoderEvent(EV_KEY, KEY_ENTER, 1);
    device.settle();
    expectMenu(true, Selection::First, "key_event");
    device->queueEncoderEvent(EV_REL, REL_X, 0);
    device.settle();
    expectMenu(true, Selection::First, "event_with_value_0");
}

TEST_F(Menu, WithoutAnInstalledVersionOffersOnlyTheFactoryReset)
{
    device.toMenu("", "2.0.0");
    for (const int step : {1, 1, -1}) {
        device.turn(step);
        expectMenu(false, Selection::First, "only_entry");
    }
    device.click();
    const ScreenPainter dialog =
        ScreenPainter().message(texts::factoryQuestion("2.0.0")).dialogButtons(Selection::First);
    EXPECT_TRUE(sameScreen(device->screen(), dialog.screen(), "dialog"));
}

class Dialog : public SystemTest {
protected:
    void expectDialog(const std::string& question, Selection selection, const std::string& name)
    {
        EXPECT_TRUE(
            sameScreen(device->screen(), ScreenPainter().message(question).dialogButtons(selection).screen(), name));
    }

    const std::string updateQuestion = texts::updateQuestion("1.4.2", "2.0.0");
};

TEST_F(Dialog, TurningSwitchesBetweenNoAndYes)
{
    device.toUpdateDialog();
    device.turn(1);
    expectDialog(updateQuestion, Selection::Second, "right");
    device.turn(1);
    expectDialog(updateQuestion, Selection::First, "right_past_the_end");
    device.turn(-1);
    expectDialog(updateQuestion, Selection::Second, "left_past_the_start");
}

TEST_F(Dialog, LongPressDoesNotConfirm)
{
    device.toUpdateDialog();
    device.turn(1);
    device->press();
    device->run(3000);
    device->release();
    device->run(200);
    expectDialog(updateQuestion, Selection::Second, "long_press");
    EXPECT_EQ(device.format.calls(), "");
}

TEST_F(Dialog, NoReturnsToTheMenuWhereTheOtherOperationCanBeChosen)
{
    device.toUpdateDialog();
    device.click();
    EXPECT_TRUE(sameScreen(device->screen(), ScreenPainter().menu(true, Selection::None).screen(), "back"));
    device.turn(1);
    device.click();
    expectDialog(texts::factoryQuestion("2.0.0"), Selection::First, "other");
    device.turn(1);
    device.click();
    device.format.print(*device, "started");
    EXPECT_EQ(device.format.calls(), "1\n");
}

struct UnusualVersion {
    const char* name;
    std::string contents;
};

void PrintTo(const UnusualVersion& version, std::ostream* stream)
{
    *stream << version.name;
}

class DialogWithVersion : public Dialog, public testing::WithParamInterface<UnusualVersion> {};

TEST_P(DialogWithVersion, ShowsAsMuchOfTheVersionAsFits)
{
    device.toMenu("1.4.2", GetParam().contents);
    device.turn(1);
    device.click();
    expectDialog(texts::factoryQuestion(GetParam().contents), Selection::First, GetParam().name);
}

INSTANTIATE_TEST_SUITE_P(Unusual, DialogWithVersion,
                         testing::Values(UnusualVersion{"NotAscii", "2.0-\xc3\xa9\x7f\x80\x01"},
                                         UnusualVersion{"ZeroByte", std::string("2\0x", 3)},
                                         UnusualVersion{"FillsTheScreen", std::string(300, 'v')},
                                         UnusualVersion{"ThreeMegabytes", std::string(3000000, 'w')}),
                         testing::PrintToStringParamName());

} // namespace
