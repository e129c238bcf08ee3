// The button: its pictures, label and overlay, and how it turns input into actions.
#include "widgets/button.h"

#include "graphics/font.h"
#include "tests/support/test_font.h"
#include "tests/widgets/probe_widget.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdint>
#include <cstdlib>
#include <ostream>
#include <string>
#include <vector>

using testing::ElementsAre;
using testing::IsEmpty;

namespace {

const std::vector<InputEvent> allEvents = {InputEvent::RotateLeft, InputEvent::RotateRight, InputEvent::Press,
                                           InputEvent::Release,    InputEvent::LongPress,   InputEvent{3}};

/// A button with small pictures as the only child of a probe that ends the climb, as a screen does.
class ButtonTest : public GraphicsTest {
protected:
    ButtonTest()
    {
        storeImage("plain.png", {"......", ".----.", "......"});
        storeImage("selected.png", {"######", "#++++#", "######"});
        buildTinyFont();
        screen.climbs = false;
    }

    void put(Button& button)
    {
        screen.addChild(button, 0, 0);
        settle(screen);
        screen.notifications.clear();
    }

    ProbeWidget screen{"screen"};
};

TEST_F(ButtonTest, BeginsSelectableUnselectedVisibleDirtyAndNamedAfterItsLabel)
{
    const Button button("plain.png", "selected.png", 1, 2, 3, 1, "tiny", "ab", 0);
    EXPECT_TRUE(button.isSelectable());
    EXPECT_FALSE(button.isSelected());
    EXPECT_TRUE(button.isVisible());
    EXPECT_TRUE(button.isDirty());
    EXPECT_EQ(button.getParent(), nullptr);
    EXPECT_EQ(button.getName(), "ab");
}

TEST_F(ButtonTest, IsAsLargeAsItsUnselectedPictureWhateverTheLabel)
{
    storeImage("larger.png", {"#######", "#######", "#######", "#######"});
    for (const std::int32_t labelWidth : {0, 1, 500}) {
        const Button button("plain.png", "larger.png", 100, 100, 3, 1, "tiny", "a very long label", labelWidth);
        EXPECT_EQ(button.getSurface().getWidth(), 6);
        EXPECT_EQ(button.getSurface().getHeight(), 3);
    }
}

TEST_F(ButtonTest, WithoutStoredPicturesIsEmptyAfterTheMessagesOfTheStore)
{
    testing::internal::CaptureStderr();
    const Button button("absent.png", "absent too.png", 0, 0, 3, 1, "tiny", "ab", 0);
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "Image in image buffer not avilable:absent.png\n"
                                                      "Image in image buffer not avilable:absent too.png\n");
    EXPECT_EQ(button.getSurface().getWidth(), 0);
    EXPECT_EQ(button.getSurface().getHeight(), 0);
    EXPECT_TRUE(button.isSelectable());
}

// ---- drawing ----

TEST_F(ButtonTest, ShowsOnlyItsPictureWhenTheLabelIsEmpty)
{
    Button button("plain.png", "selected.png", 0, 0, 3, 1, "tiny", "", 0);
    button.drawTree();
    EXPECT_THAT(button.getSurface(), shows({"......", ".----.", "......"}));
    button.setSelected(true);
    button.drawTree();
    EXPECT_THAT(button.getSurface(), shows({"######", "#++++#", "######"}));
    button.setSelected(false);
    button.drawTree();
    EXPECT_THAT(button.getSurface(), shows({"......", ".----.", "......"}));
}

TEST_F(ButtonTest, DrawsItsLabelAtItsPlaceInTheColourOfItsSelection)
{
    Button button("plain.png", "selected.png", 2, 0, 3, 1, "tiny", "a", 0);
    button.drawTree();
    EXPECT_THAT(button.getSurface(), shows({"..#...", ".-##-.", "..#..."}));
    button.setSelected(true);
    button.drawTree();
    EXPECT_THAT(button.getSurface(), shows({"##-###", "#+--+#", "##-###"}));
}

TEST_F(ButtonTest, DrawsOneLineOfItsLabelOnly)
{
    storeImage("blank.png", {"......", "......", "......", "......", "......", "......", "......"});
    Button withFeed("blank.png", "blank.png", 0, 0, 3, 1, "tiny", "a\na", 0);
    withFeed.drawTree();
    const Picture oneLetter = {"#.....", "##....", "#.....", "......", "......", "......", "......"};
    EXPECT_THAT(withFeed.getSurface(), shows(oneLetter));
    Button wrapped("blank.png", "blank.png", 0, 0, 3, 1, "tiny", "aa", 4);
    wrapped.drawTree();
    EXPECT_THAT(wrapped.getSurface(), shows(oneLetter));
}

TEST_F(ButtonTest, HasNoLimitForItsLabelAtALabelWidthOfZero)
{
    Button button("plain.png", "selected.png", 0, 0, 3, 1, "tiny", "aa", 0);
    button.drawTree();
    EXPECT_THAT(button.getSurface(), shows({"#..#..", "##-##.", "#..#.."}));
}

TEST_F(ButtonTest, DrawsNoLabelInAnUnknownFont)
{
    Button button("plain.png", "selected.png", 0, 0, 3, 1, "font12", "a", 0);
    button.drawTree();
    EXPECT_THAT(button.getSurface(), shows({"......", ".----.", "......"}));
}

TEST_F(ButtonTest, LeavesItsBackgroundAroundAPictureWithTransparentPixels)
{
    storeImage("round.png", {" # ", "###", " # "});
    Button button("round.png", "round.png", 0, 0, 3, 1, "tiny", "", 0);
    button.drawTree();
    EXPECT_THAT(button.getSurface(), shows({" # ", "###", " # "}));
}

TEST_F(ButtonTest, DrawsTheOverlayOfItsSelectionBetweenPictureAndLabelWhileItIsShown)
{
    storeImage("overlay.png", {"++    ", "      ", "      "});
    storeImage("overlay selected.png", {"      ", "      ", ".....-"});
    Button button("plain.png", "selected.png", 0, 0, 3, 1, "tiny", "i", 0);
    button.setOverlayImages("overlay.png", "overlay selected.png");
    button.drawTree();
    EXPECT_THAT(button.getSurface(), shows({"#.....", ".----.", "#....."}));
    button.setOverlayShown(true);
    button.drawTree();
    EXPECT_THAT(button.getSurface(), shows({"#+....", ".----.", "#....."}));
    button.setSelected(true);
    button.drawTree();
    EXPECT_THAT(button.getSurface(), shows({"-#####", "#++++#", "-....-"}));
    button.setOverlayShown(false);
    button.drawTree();
    EXPECT_THAT(button.getSurface(), shows({"-#####", "#++++#", "-#####"}));
}

TEST_F(ButtonTest, LooksTheSameWithAnEmptyOverlay)
{
    Button button("plain.png", "selected.png", 0, 0, 3, 1, "tiny", "", 0);
    button.setOverlayShown(true);
    button.drawTree();
    EXPECT_THAT(button.getSurface(), shows({"......", ".----.", "......"}));
}

TEST_F(ButtonTest, IsMarkedOnlyWhenTheOverlayIsShownOrHiddenAnew)
{
    Button button("plain.png", "selected.png", 0, 0, 3, 1, "tiny", "", 0);
    settle(button);
    button.setOverlayShown(false);
    EXPECT_FALSE(button.isDirty());
    button.setOverlayShown(true);
    EXPECT_TRUE(button.isDirty());
    settle(button);
    button.setOverlayShown(true);
    EXPECT_FALSE(button.isDirty());
    button.setOverlayShown(false);
    EXPECT_TRUE(button.isDirty());
}

TEST_F(ButtonTest, IsNeitherMarkedNorResizedByNewOverlayPicturesOrActions)
{
    storeImage("large.png", {"#######", "#######", "#######", "#######"});
    Button button("plain.png", "selected.png", 0, 0, 3, 1, "tiny", "", 0);
    settle(button);
    button.setOverlayImages("large.png", "large.png");
    button.setReleaseAction(1, {});
    button.setLongPressAction(1, {});
    button.setPressAction(1, {});
    button.setSecondPressAction(1, {});
    EXPECT_FALSE(button.isDirty());
    EXPECT_EQ(button.getSurface().getWidth(), 6);
    EXPECT_EQ(button.getSurface().getHeight(), 3);
}

// ---- input ----

TEST_F(ButtonTest, SendsOnlyItsReleaseActionWhenNoOtherIsSet)
{
    Button button("plain.png", "selected.png", 0, 0, 3, 1, "tiny", "ab", 0);
    button.setReleaseAction(4, fullPayload);
    put(button);
    button.setSelected(true);
    screen.notifications.clear();
    for (const InputEvent event : allEvents) {
        SCOPED_TRACE(static_cast<std::uint32_t>(event));
        const bool release = event == InputEvent::Release;
        EXPECT_EQ(button.onInput(event), release);
        if (release) {
            EXPECT_THAT(screen.notifications, ElementsAre(Notification{"ab", 4, fullPayload}));
            screen.notifications.clear();
        }
        EXPECT_THAT(screen.notifications, IsEmpty());
    }
}

/// Which of the four actions are set, and which code an event then sends (0: none).
struct Actions {
    std::int32_t release, longPress, press, secondPress;
    InputEvent event;
    std::int32_t sent;
};

void PrintTo(const Actions& actions, std::ostream* stream)
{
    *stream << actions.release << ' ' << actions.longPress << ' ' << actions.press << ' ' << actions.secondPress
            << " on event " << static_cast<std::uint32_t>(actions.event) << " sends " << actions.sent;
}

class ButtonActions : public ButtonTest, public testing::WithParamInterface<Actions> {
protected:
    ButtonActions()
    {
        const Actions& actions = GetParam();
        button.setReleaseAction(actions.release, payload(actions.release));
        button.setLongPressAction(actions.longPress, payload(actions.longPress));
        button.setPressAction(actions.press, payload(actions.press));
        button.setSecondPressAction(actions.secondPress, payload(actions.secondPress));
        put(button);
    }

    static EventData payload(std::int32_t code)
    {
        EventData data = fullPayload;
        data.intValue = code;
        return data;
    }

    Button button{"plain.png", "selected.png", 0, 0, 3, 1, "tiny", "ab", 0};
};

TEST_P(ButtonActions, AreSentWithTheirPayloadOncePerEventWhileSelected)
{
    button.setSelected(true);
    screen.notifications.clear();
    const std::int32_t code = GetParam().sent;
    for (int time = 0; time < 2; ++time) {
        EXPECT_EQ(button.onInput(GetParam().event), code != 0);
        if (code == 0) {
            EXPECT_THAT(screen.notifications, IsEmpty());
        } else {
            EXPECT_THAT(screen.notifications, ElementsAre(Notification{"ab", code, payload(code)}));
        }
        screen.notifications.clear();
    }
}

TEST_P(ButtonActions, AreNotSentWhileUnselected)
{
    EXPECT_FALSE(button.onInput(GetParam().event));
    EXPECT_THAT(screen.notifications, IsEmpty());
}

TEST_P(ButtonActions, AreSentWhetherTheButtonIsVisibleOrNot)
{
    button.setVisible(false);
    button.setSelected(true);
    screen.notifications.clear();
    EXPECT_EQ(button.onInput(GetParam().event), GetParam().sent != 0);
    EXPECT_EQ(screen.notifications.size(), GetParam().sent == 0 ? 0U : 1U);
}

/// Such as "OnEvent2With0And12And0And14Sends14": the codes of release, long press, press and second press.
std::string nameOf(const testing::TestParamInfo<Actions>& info)
{
    const auto code = [](std::int32_t value) { return (value < 0 ? "Minus" : "") + std::to_string(std::abs(value)); };
    const Actions& a = info.param;
    return "OnEvent" + std::to_string(static_cast<std::uint32_t>(a.event)) + "With" + code(a.release) + "And" +
           code(a.longPress) + "And" + code(a.press) + "And" + code(a.secondPress) + "Sends" + code(a.sent);
}

INSTANTIATE_TEST_SUITE_P(
    All, ButtonActions,
    testing::Values(Actions{11, 12, 13, 14, InputEvent::Release, 11},
                    Actions{11, 12, 13, 14, InputEvent::LongPress, 12},
                    // Both press actions answer the press; the first goes before the second.
                    Actions{11, 12, 13, 14, InputEvent::Press, 13}, Actions{11, 12, 0, 14, InputEvent::Press, 14},
                    Actions{11, 12, 13, 0, InputEvent::Press, 13}, Actions{11, 12, 0, 0, InputEvent::Press, 0},
                    Actions{0, 12, 13, 14, InputEvent::Release, 0}, Actions{11, 0, 13, 14, InputEvent::LongPress, 0},
                    Actions{-1, 0, 0, 0, InputEvent::Release, -1}, Actions{0, 0, 0, 0, InputEvent::Press, 0},
                    Actions{11, 12, 13, 14, InputEvent::RotateLeft, 0},
                    Actions{11, 12, 13, 14, InputEvent::RotateRight, 0}, Actions{11, 12, 13, 14, InputEvent{3}, 0}),
    nameOf);

TEST_F(ButtonTest, SendsOnlyItsPressActionWhenBothPressActionsAreSetAndTheSecondWhenItIsAlone)
{
    Button button("plain.png", "selected.png", 0, 0, 3, 1, "tiny", "ab", 0);
    put(button);
    button.setSelected(true);
    screen.notifications.clear();
    button.setPressAction(13, {});
    button.setSecondPressAction(14, {});
    EXPECT_TRUE(button.onInput(InputEvent::Press));
    button.setPressAction(0, {});
    EXPECT_TRUE(button.onInput(InputEvent::Press));
    EXPECT_THAT(screen.notifications, ElementsAre(Notification{"ab", 13, {}}, Notification{"ab", 14, {}}));
}

TEST_F(ButtonTest, ReplacesAnActionAndTakesItBackWithCodeZero)
{
    Button button("plain.png", "selected.png", 0, 0, 3, 1, "tiny", "ab", 0);
    put(button);
    button.setSelected(true);
    button.setReleaseAction(4, fullPayload);
    button.setReleaseAction(5, {});
    screen.notifications.clear();
    EXPECT_TRUE(button.onInput(InputEvent::Release));
    EXPECT_THAT(screen.notifications, ElementsAre(Notification{"ab", 5, {}}));
    button.setReleaseAction(0, fullPayload);
    EXPECT_FALSE(button.onInput(InputEvent::Release));
}

TEST_F(ButtonTest, OffersEventsWithoutAnActionToItsChildrenWhileVisible)
{
    Button button("plain.png", "selected.png", 0, 0, 3, 1, "tiny", "ab", 0);
    Log log;
    ProbeWidget child("child", &log);
    child.takesInput = true;
    button.addChild(child, 0, 0);
    button.setReleaseAction(4, {});
    put(button);
    log.clear();
    EXPECT_TRUE(button.onInput(InputEvent::Release)) << "unselected";
    button.setSelected(true);
    log.clear();
    EXPECT_TRUE(button.onInput(InputEvent::Release));
    EXPECT_THAT(log, IsEmpty()) << "the action goes before the children";
    EXPECT_TRUE(button.onInput(InputEvent::Press));
    EXPECT_TRUE(button.onInput(InputEvent::RotateLeft));
    EXPECT_THAT(log, ElementsAre("child.onInput(2)", "child.onInput(0)"));
    button.setVisible(false);
    EXPECT_FALSE(button.onInput(InputEvent::Press));
}

TEST_F(ButtonTest, SendsItsActionsThroughItsOwnNotifyUpToTheRoot)
{
    ProbeWidget group("group");
    Button button("plain.png", "selected.png", 0, 0, 3, 1, "tiny", "ab", 0);
    group.addChild(button, 0, 0);
    screen.addChild(group, 0, 0);
    button.setLongPressAction(9, fullPayload);
    button.setSelected(true);
    group.notifications.clear();
    screen.notifications.clear();
    EXPECT_TRUE(screen.onInput(InputEvent::LongPress));
    EXPECT_THAT(group.notifications, ElementsAre(Notification{"ab", 9, fullPayload}));
    EXPECT_THAT(screen.notifications, ElementsAre(Notification{"ab", 9, fullPayload}));
}

TEST_F(ButtonTest, OnlyTheSelectedOfTwoButtonsAnswers)
{
    Button first("plain.png", "selected.png", 0, 0, 3, 1, "tiny", "a", 0);
    Button second("plain.png", "selected.png", 0, 0, 3, 1, "tiny", "b", 0);
    first.setReleaseAction(3, {});
    second.setReleaseAction(4, {});
    put(first);
    put(second);
    screen.moveSelection(-1);
    screen.notifications.clear();
    EXPECT_TRUE(screen.onInput(InputEvent::Release));
    EXPECT_THAT(screen.notifications, ElementsAre(Notification{"b", 4, {}}));
}

} // namespace
