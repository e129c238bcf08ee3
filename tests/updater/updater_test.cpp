// Tests of the screen: what it is built of, how it answers input, and what it draws.
#include "updater/updater.h"

#include "tests/updater/screen_fixture.h"
#include "updater/screen_texts.h"
#include "updater/timing.h"

#include <fcntl.h>
#include <ostream>
#include <string>

namespace {

using testing::ElementsAre;
using testing::IsEmpty;

class Screen : public ScreenTest {};

// Construction.

TEST_F(Screen, ShowsOnlyTitleAndMessageAndTheFirstWheelFrameAfterConstruction)
{
    EXPECT_EQ(visible(), "title message");
    EXPECT_EQ(message().getText(), texts::waiting);
    EXPECT_EQ(shownWheel(), 0);
    EXPECT_EQ(screen->getState(), UpdateState::WaitingForUsb);
}

TEST_F(Screen, HasSixChildrenInThisOrderAndLayout)
{
    struct Layout {
        const char* name;
        std::int32_t x, y, width, height;
        bool isSelectable;
        bool operator==(const Layout&) const = default;
    };
    const Layout expected[] = {
        {"", 2, 2, 252, 16, false},
        {texts::factoryResetButton, 0, 20, 256, 19, true},
        {texts::updateButton, 0, 39, 256, 19, true},
        {"", 0, 24, 256, 100, false},
        {texts::noButton, 142, 131, 52, 19, true},
        {texts::yesButton, 194, 131, 52, 19, true},
    };
    ASSERT_EQ(screen->getChildren().size(), std::size(expected));
    for (std::size_t i = 0; i < std::size(expected); ++i) {
        const Widget& widget = child<Widget>(i);
        EXPECT_EQ(widget.getName(), expected[i].name) << "child " << i;
        EXPECT_EQ(widget.getX(), expected[i].x) << "child " << i;
        EXPECT_EQ(widget.getY(), expected[i].y) << "child " << i;
        EXPECT_EQ(widget.getSurface().getWidth(), expected[i].width) << "child " << i;
        EXPECT_EQ(widget.getSurface().getHeight(), expected[i].height) << "child " << i;
        EXPECT_EQ(widget.isSelectable(), expected[i].isSelectable) << "child " << i;
        EXPECT_EQ(widget.getParent(), &*screen) << "child " << i;
    }
    EXPECT_EQ(title().getText(), texts::title);
}

TEST_F(Screen, KeepsItsSecondNameAndIsARoot)
{
    EXPECT_EQ(screen->getName(), "SettingsWidget");
    EXPECT_EQ(screen->getParent(), nullptr);
}

TEST_F(Screen, NeedsARedrawOnceBuilt)
{
    screen.emplace();
    EXPECT_TRUE(screen->isDirty());
    screen->setSize(256, 160);
    draw();
    EXPECT_FALSE(screen->needsRedraw());
}

TEST_F(Screen, SetsUpTheLedsAndTurnsThemOnInThisOrder)
{
    screen.reset();
    calls.takeLog();
    screen.emplace();
    std::vector<std::string> expected = {"open /dev/i2c-22 flags " + std::to_string(O_RDWR | O_CLOEXEC), "address 6C",
                                         "i2c write 2F 00", "i2c write 00 01"};
    for (const char* reg :
         {"14", "15", "16", "17", "18", "19", "1A", "1B", "1C", "1D", "1E", "1F", "20", "21", "22", "23", "24", "25"}) {
        expected.push_back(std::string("i2c write ") + reg + " 10");
    }
    expected.emplace_back("address 6C");
    expected.emplace_back("i2c write 01 00 00 00 00 00 00 00 00 00 00 00 00 FF FF FF FF FF FF 00");
    EXPECT_EQ(firstDifference(calls.takeLog(), expected), "");
}

TEST_F(Screen, ClosesTheBusAndLeavesTheLedsOnWhenItIsDestroyed)
{
    calls.takeLog();
    screen.reset();
    EXPECT_THAT(calls.takeLog(), ElementsAre("close /dev/i2c-22"));
}

TEST_F(Screen, IsBuiltWithoutAWordWhenTheBusIsMissing)
{
    calls.removeDevice("/dev/i2c-22");
    testing::internal::CaptureStderr();
    EXPECT_EQ(printedBy([this] { build(); }), "");
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "");
    EXPECT_EQ(visible(), "title message");
    EXPECT_EQ(shownWheel(), 0);
}

TEST_F(Screen, LoadsItsImagesInThisOrderAndIsBuiltWithoutThem)
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
    EXPECT_EQ(shownWheel(), -1);
    tick(static_cast<int>(wheelPeriod));
    EXPECT_EQ(shownWheel(), -1);
}

// Pictures. The expected ones are put together here from images and text alone.

struct Look {
    std::string message;
    int wheel = -1;
    std::vector<std::string> buttons; // "factory", "update", "no", "yes"
    std::string selected;
};

Bitmap label(std::int32_t width, std::int32_t height, const std::string& font, const std::string& text, Pixel colour,
             std::int32_t maxLines)
{
    Bitmap result(width, height);
    result.fill(transparentPixel);
    drawText(result, 0, 0, font, text, colour, width, maxLines, 1);
    return result;
}

void drawButton(Bitmap& canvas, const std::string& name, bool isSelected)
{
    struct Appearance {
        const char* image;
        const char* label;
        std::int32_t x, y, labelX;
    };
    static const std::map<std::string, Appearance> appearances = {
        {"factory", {"button_factory", texts::factoryResetButton, 0, 20, 26}},
        {"update", {"button_update", texts::updateButton, 0, 39, 26}},
        {"no", {"dialog_button_cancel", texts::noButton, 142, 131, 15}},
        {"yes", {"dialog_button_ok", texts::yesButton, 194, 131, 15}},
    };
    const Appearance& look = appearances.at(name);
    canvas.drawBitmap(look.x, look.y,
                      getImage("img/" + std::string(look.image) + (isSelected ? "_selected.png" : ".png")), false);
    drawText(canvas, look.x + look.labelX, look.y + 6, "font8", look.label, isSelected ? 0 : 3, 0, 1, 1);
}

Bitmap screenWith(const Look& look)
{
    Bitmap canvas(256, 160);
    canvas.fill(0);
    canvas.fillRect(0, 0, 256, 20, 3);
    if (look.wheel >= 0) {
        canvas.drawBitmap(103, 104, getImage("img/wheel_" + std::to_string(look.wheel) + ".png"), false);
    }
    canvas.drawBitmap(2, 2, label(252, 16, "font16", texts::title, 0, 1), false);
    canvas.drawBitmap(0, 24, label(256, 100, "font8", look.message, 3, 10), false);
    for (const std::string& button : look.buttons) {
        drawButton(canvas, button, button == look.selected);
    }
    return canvas;
}

TEST_F(Screen, DrawsTheWaitingScreen)
{
    EXPECT_TRUE(shows(draw(), screenWith({texts::waiting, 0, {}, ""})));
}

TEST_F(Screen, DrawsTheMenuWithTheSelectedButtonInItsOtherPicture)
{
    reachMenu("1.0", "1.1");
    EXPECT_TRUE(shows(draw(), screenWith({"", -1, {"factory", "update"}, ""})));
    screen->onInput(InputEvent::RotateRight);
    EXPECT_TRUE(shows(draw(), screenWith({"", -1, {"factory", "update"}, "factory"})));
    screen->onInput(InputEvent::RotateRight);
    EXPECT_TRUE(shows(draw(), screenWith({"", -1, {"factory", "update"}, "update"})));
}

TEST_F(Screen, DrawsTheDialogOverNothingOfTheMenu)
{
    reachMenu("1.0", "1.1");
    draw();
    notify(askUpdate);
    EXPECT_TRUE(shows(draw(), screenWith({message().getText(), -1, {"no", "yes"}, "no"})));
    screen->onInput(InputEvent::RotateRight);
    EXPECT_TRUE(shows(draw(), screenWith({message().getText(), -1, {"no", "yes"}, "yes"})));
}

TEST_F(Screen, DrawsOnlyTheFourGreys)
{
    reachMenu("1.0", "1.1");
    notify(askFactoryReset);
    for (const std::string& row : pictureOf(draw())) {
        EXPECT_THAT(row, testing::Each(testing::AnyOf('.', '-', '+', '#')));
    }
}

TEST_F(Screen, DrawsTheTitleBandAcrossAnyWidth)
{
    screen->setSize(300, 170);
    const Picture rows = pictureOf(draw());
    EXPECT_EQ(rows.at(0), std::string(300, '#'));
    EXPECT_EQ(rows.at(19), std::string(300, '#'));
    EXPECT_EQ(rows.at(20), std::string(300, '.'));
    EXPECT_EQ(rows.at(169), std::string(300, '.'));
}

TEST_F(Screen, CentresTheWheelOnColumn128WithItsBottomOnRow154WhateverItsSize)
{
    struct WheelCase {
        std::int32_t width, height, x, y;
    };
    for (const WheelCase& wheel : {WheelCase{7, 4, 125, 151}, WheelCase{10, 6, 123, 149}, WheelCase{1, 1, 128, 154}}) {
        Bitmap image(wheel.width, wheel.height);
        image.fill(2);
        imageStore.insert_or_assign("img/wheel_0.png", image);
        build();
        Bitmap expected = screenWith({texts::waiting, -1, {}, ""});
        expected.fillRect(wheel.x, wheel.y, wheel.width, wheel.height, 2);
        EXPECT_TRUE(shows(draw(), expected));
    }
}

TEST_F(Screen, HasEightDifferentWheelFrames)
{
    std::set<Picture> frames;
    for (int i = 0; i < 8; ++i) {
        frames.insert(pictureOf(getImage("img/wheel_" + std::to_string(i) + ".png")));
    }
    EXPECT_EQ(frames.size(), 8U);
}

TEST_F(Screen, IsResizedWithoutMovingOrResizingItsChildren)
{
    screen->setSize(128, 80);
    EXPECT_EQ(screen->getSurface().getWidth(), 128);
    EXPECT_EQ(screen->getSurface().getHeight(), 80);
    EXPECT_EQ(yesButton().getX(), 194);
    EXPECT_EQ(message().getSurface().getWidth(), 256);
}

// Input.

TEST_F(Screen, TakesEveryRotationAlsoWhenThereIsNothingToSelect)
{
    EXPECT_TRUE(screen->onInput(InputEvent::RotateRight));
    EXPECT_TRUE(screen->onInput(InputEvent::RotateLeft));
    EXPECT_EQ(visible(), "title message");
}

TEST_F(Screen, HandlesNeitherPressNorLongPressOnAnyScreen)
{
    const auto expectUnhandled = [this] {
        const std::string before = visible();
        EXPECT_FALSE(screen->onInput(InputEvent::Press));
        EXPECT_FALSE(screen->onInput(InputEvent::LongPress));
        EXPECT_FALSE(screen->onInput(static_cast<InputEvent>(3)));
        EXPECT_EQ(visible(), before);
    };
    expectUnhandled();
    reachMenu("1.0", "1.1");
    expectUnhandled();
    screen->onInput(InputEvent::RotateRight);
    expectUnhandled();
    notify(askUpdate);
    expectUnhandled();
}

TEST_F(Screen, HandlesAReleaseOnlyWhenAButtonIsSelected)
{
    EXPECT_FALSE(screen->onInput(InputEvent::Release));
    reachMenu("1.0", "1.1");
    EXPECT_FALSE(screen->onInput(InputEvent::Release));
    EXPECT_EQ(visible(), "title factory update");
    screen->onInput(InputEvent::RotateRight);
    EXPECT_TRUE(screen->onInput(InputEvent::Release));
    EXPECT_EQ(visible(), "title message [no] yes");
}

TEST_F(Screen, RotationMovesThroughTheMenuAndWrapsAround)
{
    reachMenu("1.0", "1.1");
    EXPECT_TRUE(screen->onInput(InputEvent::RotateRight));
    EXPECT_EQ(visible(), "title [factory] update");
    EXPECT_TRUE(screen->onInput(InputEvent::RotateRight));
    EXPECT_EQ(visible(), "title factory [update]");
    EXPECT_TRUE(screen->onInput(InputEvent::RotateRight));
    EXPECT_EQ(visible(), "title [factory] update");
    EXPECT_TRUE(screen->onInput(InputEvent::RotateLeft));
    EXPECT_EQ(visible(), "title factory [update]");
}

TEST_F(Screen, RotatingLeftFirstSelectsTheLastButton)
{
    reachMenu("1.0", "1.1");
    screen->onInput(InputEvent::RotateLeft);
    EXPECT_EQ(visible(), "title factory [update]");
}

TEST_F(Screen, RotationMovesBetweenTheDialogsButtons)
{
    reachMenu("1.0", "1.1");
    notify(askUpdate);
    screen->onInput(InputEvent::RotateRight);
    EXPECT_EQ(visible(), "title message no [yes]");
    screen->onInput(InputEvent::RotateRight);
    EXPECT_EQ(visible(), "title message [no] yes");
    screen->onInput(InputEvent::RotateLeft);
    EXPECT_EQ(visible(), "title message no [yes]");
}

// The menu and the dialogs.

TEST_F(Screen, OffersOnlyTheFactoryResetWithoutAnOldVersion)
{
    reachMenu("", "1.1");
    EXPECT_EQ(visible(), "title factory");
    for (int i = 0; i < 3; ++i) {
        screen->onInput(InputEvent::RotateRight);
        EXPECT_EQ(visible(), "title [factory]") << "the update cannot be selected";
    }
    screen->onInput(InputEvent::Release);
    EXPECT_THAT(message().getText(), testing::StartsWith("I will do a factory reset"));
}

TEST_F(Screen, ShowMenuTurnsTheWheelOffAndReturnsItsState)
{
    EXPECT_EQ(screen->showMenu(), UpdateState::Choosing);
    EXPECT_EQ(static_cast<std::uint32_t>(screen->getState()), 2U);
    EXPECT_EQ(visible(), "title factory");
    draw();
    EXPECT_TRUE(shows(draw(), screenWith({"", -1, {"factory"}, ""})));
}

TEST_F(Screen, ShowMenuKeepsARunningCommand)
{
    startPreparing({nothingNow, nothingNow}, 0);
    calls.takeLog();
    screen->showMenu();
    EXPECT_THAT(calls.takeLog(), IsEmpty());
    tick();
    EXPECT_EQ(calls.commandReads(), 2U);
}

struct DialogCase {
    const char* name;
    std::int32_t code;
    InputEvent toButton;
    const char* question;
    const char* command;
};

void PrintTo(const DialogCase& dialog, std::ostream* stream)
{
    *stream << dialog.name;
}

class ScreenDialog : public Screen, public testing::WithParamInterface<DialogCase> {};

TEST_P(ScreenDialog, AsksItsQuestionWithNoPreselected)
{
    reachMenu("1.0", "1.1");
    notify(GetParam().code);
    EXPECT_EQ(visible(), "title message [no] yes");
    EXPECT_EQ(message().getText(), GetParam().question);
    EXPECT_EQ(screen->getState(), UpdateState::Choosing);
    EXPECT_TRUE(screen->needsRedraw());
}

TEST_P(ScreenDialog, ReturnsToTheMenuOnAReleaseOfNo)
{
    reachMenu("1.0", "1.1");
    screen->onInput(GetParam().toButton);
    screen->onInput(InputEvent::Release);
    EXPECT_EQ(message().getText(), GetParam().question);
    EXPECT_EQ(visible(), "title message [no] yes");
    draw();

    EXPECT_TRUE(screen->onInput(InputEvent::Release));
    EXPECT_EQ(visible(), "title factory update");
    EXPECT_EQ(screen->getState(), UpdateState::Choosing);
    EXPECT_TRUE(shows(draw(), screenWith({"", -1, {"factory", "update"}, ""})));
}

TEST_P(ScreenDialog, StartsItsOwnWorkOnAReleaseOfYes)
{
    reachMenu("1.0", "1.1");
    // The other question first: the last one counts.
    notify(GetParam().code == askUpdate ? askFactoryReset : askUpdate);
    notify(cancel);
    screen->onInput(GetParam().toButton);
    screen->onInput(InputEvent::Release);
    screen->onInput(InputEvent::RotateRight);
    script(GetParam().command, {nothingNow}, 0);
    calls.takeLog();
    EXPECT_TRUE(screen->onInput(InputEvent::Release));
    EXPECT_THAT(calls.takeLog(), ElementsAre("run " + std::string(GetParam().command)));
    EXPECT_EQ(screen->getState(), UpdateState::Formatting);
}

INSTANTIATE_TEST_SUITE_P(
    For, ScreenDialog,
    testing::Values(DialogCase{"Update", 3, InputEvent::RotateLeft,
                               "I will update the firmware from 1.0 to 1.1.\n\nDo not unplug the power during the "
                               "process.\n\nDo you want to continue?",
                               "/usr/sbin/format.sh 0"},
                    DialogCase{"FactoryReset", 4, InputEvent::RotateRight,
                               "I will do a factory reset to firmware 1.1.\n\nALL DATA/PRESETS WILL BE LOST!\n\nDo not "
                               "unplug the power during the process.\n\nDo you want to continue?",
                               "/usr/sbin/format.sh 1"}),
    [](const auto& name) { return name.param.name; });

TEST_F(Screen, CancelHidesTheDialogAndShowsTheMenu)
{
    reachMenu("1.0", "1.1");
    notify(askUpdate);
    notify(cancel);
    EXPECT_EQ(visible(), "title factory update");
    EXPECT_EQ(screen->getState(), UpdateState::Choosing);
}

TEST_F(Screen, IgnoresEveryOtherNotification)
{
    reachMenu("1.0", "1.1");
    screen->onInput(InputEvent::RotateRight);
    draw();
    calls.takeLog();
    for (const std::int32_t code : {-1, 0, 1, 2, 7, 8, 1000, 0x7FFFFFFF}) {
        notify(code);
        EXPECT_EQ(visible(), "title [factory] update") << code;
        EXPECT_FALSE(screen->needsRedraw()) << code;
    }
    EXPECT_THAT(calls.takeLog(), IsEmpty());
}

TEST_F(Screen, LeavesNoHiddenButtonSelected)
{
    reachMenu("1.0", "1.1");
    screen->onInput(InputEvent::RotateRight);
    notify(askUpdate);
    EXPECT_FALSE(factoryButton().isSelected());
    EXPECT_TRUE(noButton().isSelected());
    notify(cancel);
    EXPECT_FALSE(noButton().isSelected());
    EXPECT_FALSE(screen->onInput(InputEvent::Release));
}

// The tree.

class Recorder : public Widget {
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
    Recorder recorder;
    screen->addChild(recorder, 0, 0);
    const EventData data = {"text", -7, 1.5F, 1LL << 40, true};
    screen->broadcast(99, data);
    EXPECT_EQ(recorder.lastCode, 99);
    EXPECT_EQ(recorder.lastData, data);
    screen->removeChild(recorder);
}

TEST_F(Screen, TicksItsChildrenWithTheIteration)
{
    Recorder recorder;
    screen->addChild(recorder, 0, 0);
    screen->update(77);
    EXPECT_EQ(recorder.getTick(), 77U);
    EXPECT_EQ(message().getTick(), 77U);
    EXPECT_EQ(screen->getTick(), 77U);
    screen->removeChild(recorder);
}

} // namespace
