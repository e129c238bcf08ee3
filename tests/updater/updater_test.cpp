// Tests of the updater's screen: construction, drawing and input. The golden screens cover the appearance of each
// state.
#include "updater/updater.h"

#include "tests/support/picture.h"
#include "tests/updater/screen_fixture.h"

#include <string>

namespace {

class Screen : public ScreenTest {
protected:
    void input(InputEvent event, int count = 1)
    {
        for (int i = 0; i < count; ++i) {
            screen->onInput(event);
        }
    }
};

// Construction.

TEST_F(Screen, StartsWithTheTitleTheMessageAndTheFirstWheelFrame)
{
    EXPECT_EQ(visible(), "title message");
    EXPECT_EQ(message(), texts::waiting);
    EXPECT_EQ(screen->wheelFrame, 0);
    EXPECT_EQ(screen->state, UpdateState::WaitingForUsb);
    EXPECT_EQ(screen->name, "SettingsWidget");
    EXPECT_EQ(screen->parent, nullptr);
}

TEST_F(Screen, HasTheExpectedChildrenInDrawingOrder)
{
    struct Child {
        Widget* widget;
        std::string name;
        std::int32_t x, y, width, height;
    };
    const Child expected[] = {
        {&screen->title, "", 2, 2, 252, 16},
        {&screen->factoryButton, texts::factoryResetButton, 0, 20, 256, 19},
        {&screen->updateButton, texts::updateButton, 0, 39, 256, 19},
        {&screen->message, "", 0, 24, 256, 100},
        {&screen->noButton, texts::noButton, 142, 131, 52, 19},
        {&screen->yesButton, texts::yesButton, 194, 131, 52, 19},
    };
    ASSERT_EQ(screen->children.size(), std::size(expected));
    for (std::size_t i = 0; i < std::size(expected); ++i) {
        SCOPED_TRACE(i);
        const Widget& widget = *screen->children[i];
        EXPECT_EQ(&widget, expected[i].widget);
        EXPECT_EQ(widget.*&TextFields::name, expected[i].name);
        EXPECT_EQ(widget.*&TextFields::x, expected[i].x);
        EXPECT_EQ(widget.*&TextFields::y, expected[i].y);
        EXPECT_EQ(widget.getSurface().getWidth(), expected[i].width);
        EXPECT_EQ(widget.getSurface().getHeight(), expected[i].height);
        EXPECT_EQ(widget.*&TextFields::parent, &*screen);
    }
}

TEST_F(Screen, NeedsARedrawAfterConstruction)
{
    screen.emplace();
    EXPECT_TRUE(screen->dirty);
    screen->setSize(256, 160);
    draw();
    EXPECT_FALSE(screen->needsRedraw());
}

TEST_F(Screen, DestructorClosesTheBusAndLeavesTheLedsOn)
{
    calls.takeLog();
    screen.reset();
    EXPECT_EQ(calls.takeLog(), Log({"close /dev/i2c-22"}));
}

TEST_F(Screen, ReportsMissingImagesAndIsUsableWithoutThem)
{
    imageStore.clear();
    testing::internal::CaptureStderr();
    build();
    std::string expected;
    for (const char* name :
         {"button_factory", "button_factory_selected", "button_update", "button_update_selected",
          "dialog_button_cancel", "dialog_button_cancel_selected", "dialog_button_ok", "dialog_button_ok_selected",
          "wheel_0", "wheel_1", "wheel_2", "wheel_3", "wheel_4", "wheel_5", "wheel_6", "wheel_7"}) {
        expected += "Image in image buffer not avilable:img/" + std::string(name) + ".png\n";
    }
    EXPECT_EQ(testing::internal::GetCapturedStderr(), expected);
    EXPECT_EQ(visible(), "title message");
    draw();
}

// Drawing.

TEST_F(Screen, DrawsTheTitleBandAcrossAnyWidth)
{
    screen->setSize(300, 170);
    const Picture rows = pictureOf(draw());
    EXPECT_EQ(rows.at(0), std::string(300, '#'));
    EXPECT_EQ(rows.at(19), std::string(300, '#'));
    EXPECT_EQ(rows.at(20), std::string(300, '.'));
    EXPECT_EQ(rows.at(169), std::string(300, '.'));
}

TEST_F(Screen, CentresWheelsOfAnySizeOnColumn128WithTheBottomOnRow154)
{
    struct Case {
        std::int32_t width, height, x, y;
    };
    for (const auto& [width, height, x, y] : {Case{7, 4, 125, 151}, Case{10, 6, 123, 149}, Case{1, 1, 128, 154}}) {
        imageStore.insert_or_assign("img/wheel_0.png", filledBitmap(width, height, 2));
        build();
        screen->wheelFrame = -1;
        Bitmap expected = draw();
        expected.fillRect(x, y, width, height, 2);
        screen->wheelFrame = 0;
        screen->markDirty();
        EXPECT_TRUE(shows(draw(), expected));
    }
}

TEST_F(Screen, ResizingLeavesItsChildrenUnchanged)
{
    screen->setSize(128, 80);
    EXPECT_EQ(screen->getSurface().getWidth(), 128);
    EXPECT_EQ(screen->getSurface().getHeight(), 80);
    EXPECT_EQ(screen->yesButton.*&TextFields::x, 194);
    EXPECT_EQ(screen->message.getSurface().getWidth(), 256);
}

// Input.

TEST_F(Screen, HandlesEveryRotationEvenIfNoButtonIsVisible)
{
    EXPECT_TRUE(screen->onInput(InputEvent::RotateRight));
    EXPECT_TRUE(screen->onInput(InputEvent::RotateLeft));
    EXPECT_EQ(visible(), "title message");
}

TEST_F(Screen, RotationMovesTheSelectionAndWrapsAround)
{
    reachMenu();
    for (const char* expected : {"title [factory] update", "title factory [update]", "title [factory] update"}) {
        EXPECT_TRUE(screen->onInput(InputEvent::RotateRight));
        EXPECT_EQ(visible(), expected);
    }
    notify(askUpdate);
    EXPECT_EQ(visible(), "title message [no] yes");
    for (const char* expected : {"title message no [yes]", "title message [no] yes", "title message no [yes]"}) {
        EXPECT_TRUE(screen->onInput(InputEvent::RotateLeft));
        EXPECT_EQ(visible(), expected);
    }
}

TEST_F(Screen, TheFirstRotationToTheLeftSelectsTheLastButton)
{
    reachMenu();
    input(InputEvent::RotateLeft);
    EXPECT_EQ(visible(), "title factory [update]");
}

TEST_F(Screen, NeverHandlesPressOrLongPress)
{
    const auto expectUnhandled = [this] {
        const std::string before = visible();
        for (const auto event : {InputEvent::Press, InputEvent::LongPress, static_cast<InputEvent>(3)}) {
            EXPECT_FALSE(screen->onInput(event));
            EXPECT_EQ(visible(), before);
        }
    };
    expectUnhandled();
    reachMenu();
    expectUnhandled();
    input(InputEvent::RotateRight);
    expectUnhandled();
    notify(askUpdate);
    expectUnhandled();
}

TEST_F(Screen, HandlesAReleaseOnlyWhenAButtonIsSelected)
{
    EXPECT_FALSE(screen->onInput(InputEvent::Release));
    reachMenu();
    EXPECT_FALSE(screen->onInput(InputEvent::Release));
    EXPECT_EQ(visible(), "title factory update");
    input(InputEvent::RotateRight);
    EXPECT_TRUE(screen->onInput(InputEvent::Release));
    EXPECT_EQ(visible(), "title message [no] yes");
}

// The menu and the dialogs.

TEST_F(Screen, WithoutAnInstalledVersionOffersOnlyTheFactoryReset)
{
    reachMenu("", "1.1");
    EXPECT_EQ(visible(), "title factory");
    for (int i = 0; i < 3; ++i) {
        input(InputEvent::RotateRight);
        EXPECT_EQ(visible(), "title [factory]");
    }
    input(InputEvent::Release);
    EXPECT_EQ(message(), texts::factoryQuestion("1.1"));
}

TEST_F(Screen, ShowMenuHidesTheWheelAndReturnsChoosingWhileTheCommandKeepsRunning)
{
    startPreparing({nothingNow, nothingNow}, 0);
    draw();
    calls.takeLog();
    EXPECT_EQ(screen->showMenu(), UpdateState::Choosing);
    EXPECT_EQ(screen->state, UpdateState::Choosing);
    EXPECT_EQ(screen->wheelFrame, -1);
    EXPECT_EQ(visible(), "title factory");
    EXPECT_EQ(calls.takeLog(), Log());
    tick();
    EXPECT_EQ(calls.commandReads(), 2U);
}

struct DialogCase {
    const char* name;
    std::int32_t code;
    int rotations; // the number of steps that select the operation's button in the menu
    std::string question;
    std::string command;
};

void PrintTo(const DialogCase& dialog, std::ostream* stream)
{
    *stream << dialog.name;
}

class ScreenDialog : public Screen, public testing::WithParamInterface<DialogCase> {
protected:
    void open()
    {
        input(InputEvent::RotateRight, GetParam().rotations);
        input(InputEvent::Release);
    }
};

TEST_P(ScreenDialog, AsksTheQuestionWithTheNoButtonSelected)
{
    reachMenu();
    draw();
    open();
    EXPECT_EQ(visible(), "title message [no] yes");
    EXPECT_EQ(message(), GetParam().question);
    EXPECT_EQ(screen->state, UpdateState::Choosing);
    EXPECT_TRUE(screen->needsRedraw());
}

TEST_P(ScreenDialog, TheNoButtonReturnsToTheMenuWithoutASelection)
{
    reachMenu();
    open();
    EXPECT_TRUE(screen->onInput(InputEvent::Release));
    EXPECT_EQ(visible(), "title factory update");
    EXPECT_EQ(screen->state, UpdateState::Choosing);
    EXPECT_FALSE(screen->onInput(InputEvent::Release));
}

TEST_P(ScreenDialog, TheYesButtonStartsTheOperation)
{
    reachMenu();
    notify(GetParam().code == askUpdate ? askFactoryReset : askUpdate);
    notify(cancel);
    open();
    input(InputEvent::RotateRight);
    script(GetParam().command, {nothingNow}, 0);
    calls.takeLog();
    EXPECT_TRUE(screen->onInput(InputEvent::Release));
    EXPECT_EQ(calls.takeLog(), Log({"run " + GetParam().command}));
    EXPECT_EQ(screen->state, UpdateState::Formatting);
}

INSTANTIATE_TEST_SUITE_P(
    For, ScreenDialog,
    testing::Values(DialogCase{"Update", 3, 2, texts::updateQuestion("1.0", "1.1"), "/usr/sbin/format.sh 0"},
                    DialogCase{"FactoryReset", 4, 1, texts::factoryQuestion("1.1"), "/usr/sbin/format.sh 1"}),
    [](const auto& test) { return test.param.name; });

TEST_F(Screen, IgnoresNotificationsThatAreNotButtonActions)
{
    reachMenu();
    input(InputEvent::RotateRight);
    draw();
    calls.takeLog();
    for (const std::int32_t code : {-1, 0, 1, 2, 7, 8, 1000, 0x7FFFFFFF}) {
        notify(code);
        EXPECT_EQ(visible(), "title [factory] update") << code;
        EXPECT_FALSE(screen->needsRedraw()) << code;
    }
    EXPECT_EQ(calls.takeLog(), Log());
}

// The tree.

class BroadcastReceiver : public Widget {
public:
    void broadcast(std::int32_t code, EventData data) override
    {
        lastCode = code;
        lastData = std::move(data);
    }

    std::int32_t lastCode = 0;
    EventData lastData;
};

TEST_F(Screen, PassesBroadcastsToItsChildrenUnchanged)
{
    BroadcastReceiver receiver;
    screen->addChild(receiver, 0, 0);
    const EventData data = {"text", -7, 1.5F, 1LL << 40, true};
    screen->broadcast(99, data);
    EXPECT_EQ(receiver.lastCode, 99);
    EXPECT_EQ(receiver.lastData, data);
    screen->removeChild(receiver);
}

TEST_F(Screen, PassesTheIterationToItsChildren)
{
    screen->update(77);
    EXPECT_EQ(screen->message.*&TextFields::tick, 77U);
    EXPECT_EQ(screen->tick, 77U);
}

} // namespace
