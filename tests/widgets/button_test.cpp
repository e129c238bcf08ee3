// Tests of the button: images, label, overlay, and the actions that it sends for input.
#include "widgets/button.h"

#include "graphics/font.h"
#include "tests/support/test_font.h"
#include "tests/widgets/widget_tree.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <string>
#include <vector>

namespace {

/// A button with stored images and a label at (0, 0) in the font "tiny".
class TestButton : public Exposed<Button> {
public:
    explicit TestButton(const std::string& text, std::int32_t maxWidth = 0, const std::string& imagePath = "plain.png",
                        const std::string& selectedPath = "selected.png")
        : Exposed<Button>(imagePath, selectedPath, 0, 0, 3, 1, "tiny", text, maxWidth)
    {}

    Bitmap drawn()
    {
        drawTree();
        return getSurface();
    }
};

class ButtonTest : public GraphicsTest {
protected:
    ButtonTest()
    {
        storeImage("plain.png", {"......", ".----.", "......"});
        storeImage("selected.png", {"######", "#++++#", "######"});
        buildTinyFont();
        screen.passesNotificationsOn = false;
    }

    Notifications takeNotifications() { return std::exchange(screen.notifications, {}); }
    void addSelected(Button& button)
    {
        screen.addChild(button, 0, 0);
        button.setSelected(true);
        takeNotifications();
    }

    const Picture plain = {"......", ".----.", "......"};
    /// Like the program's screen, does not pass notifications on.
    ProbeWidget screen{"screen"};
};

TEST_F(ButtonTest, ANewButtonIsVisibleAndSelectableAndNamedAfterItsLabel)
{
    const TestButton button("ab");
    EXPECT_TRUE(button.isSelectable());
    EXPECT_FALSE(button.isSelected());
    EXPECT_TRUE(button.isVisible());
    EXPECT_TRUE(button.dirty);
    EXPECT_EQ(button.parent, nullptr);
    EXPECT_EQ(button.name, "ab");
}

TEST_F(ButtonTest, HasTheSizeOfItsUnselectedImage)
{
    storeImage("larger.png", {"#######", "#######", "#######", "#######"});
    for (const std::int32_t labelWidth : {0, 1, 500}) {
        EXPECT_EQ(sizeOf(TestButton("a very long label", labelWidth, "plain.png", "larger.png")), std::pair(6, 3));
    }
}

TEST_F(ButtonTest, MissingImagesAreReportedAndMakeTheButtonEmpty)
{
    testing::internal::CaptureStderr();
    const TestButton button("ab", 0, "absent.png", "absent too.png");
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "Image in image buffer not avilable:absent.png\n"
                                                      "Image in image buffer not avilable:absent too.png\n");
    EXPECT_EQ(sizeOf(button), std::pair(0, 0));
    EXPECT_TRUE(button.isSelectable());
}

// ---- drawing ----

TEST_F(ButtonTest, DrawsTheImageForItsSelectionState)
{
    TestButton button("");
    EXPECT_TRUE(shows(button.drawn(), plain));
    button.setSelected(true);
    EXPECT_TRUE(shows(button.drawn(), {"######", "#++++#", "######"}));
    button.setSelected(false);
    EXPECT_TRUE(shows(button.drawn(), plain));
}

TEST_F(ButtonTest, DrawsItsLabelInTheColourForItsSelectionState)
{
    Button button("plain.png", "selected.png", 2, 1, 3, 1, "tiny", "a", 0);
    button.drawTree();
    EXPECT_TRUE(shows(button.getSurface(), {"......", ".-#--.", "..##.."}));
    button.setSelected(true);
    button.drawTree();
    EXPECT_TRUE(shows(button.getSurface(), {"######", "#+-++#", "##--##"}));
}

TEST_F(ButtonTest, DrawsOnlyOneLineOfItsLabel)
{
    storeImage("blank.png", Picture(7, "......"));
    const Picture oneLetter = {"#.....", "##....", "#.....", "......", "......", "......", "......"};
    EXPECT_TRUE(shows(TestButton("a\na", 0, "blank.png").drawn(), oneLetter));
    EXPECT_TRUE(shows(TestButton("aa", 4, "blank.png").drawn(), oneLetter)) << "not cut at the label width";
    EXPECT_TRUE(shows(TestButton("aa", 0).drawn(), {"#..#..", "##-##.", "#..#.."}))
        << "cut although the label width is 0";
}

TEST_F(ButtonTest, DrawsNoLabelInAnUnknownFont)
{
    Button button("plain.png", "selected.png", 0, 0, 3, 1, "font12", "a", 0);
    button.drawTree();
    EXPECT_TRUE(shows(button.getSurface(), plain));
}

TEST_F(ButtonTest, TransparentPixelsOfTheImageShowTheBackground)
{
    storeImage("round.png", {" # ", "###", " # "});
    EXPECT_TRUE(shows(TestButton("", 0, "round.png").drawn(), {" # ", "###", " # "}));
}

TEST_F(ButtonTest, DrawsTheOverlayForItsSelectionStateBetweenImageAndLabel)
{
    storeImage("overlay.png", {"++    ", "      ", "      "});
    storeImage("overlay selected.png", {"      ", "      ", ".....-"});
    TestButton button("i");
    button.setOverlayImages("overlay.png", "overlay selected.png");
    EXPECT_TRUE(shows(button.drawn(), {"#.....", ".----.", "#....."}));
    button.setOverlayShown(true);
    EXPECT_TRUE(shows(button.drawn(), {"#+....", ".----.", "#....."}));
    button.setSelected(true);
    EXPECT_TRUE(shows(button.drawn(), {"-#####", "#++++#", "-....-"}));
    button.setOverlayShown(false);
    EXPECT_TRUE(shows(button.drawn(), {"-#####", "#++++#", "-#####"}));
}

TEST_F(ButtonTest, AnEmptyOverlayDrawsNothing)
{
    TestButton button("");
    button.setOverlayShown(true);
    EXPECT_TRUE(shows(button.drawn(), plain));
}

TEST_F(ButtonTest, SetOverlayShownMarksTheButtonDirtyOnlyIfTheValueChanges)
{
    TestButton button("");
    bool before = false;
    for (const bool value : {false, true, true, false}) {
        button.dirty = false;
        button.setOverlayShown(value);
        EXPECT_EQ(button.dirty, value != before);
        before = value;
    }
}

TEST_F(ButtonTest, SettingOverlayImagesOrActionsNeitherMarksTheButtonDirtyNorResizesIt)
{
    storeImage("large.png", Picture(4, "#######"));
    TestButton button("");
    button.drawTree();
    button.setOverlayImages("large.png", "large.png");
    button.setReleaseAction(1, {});
    button.setLongPressAction(1, {});
    button.setPressAction(1, {});
    button.setSecondPressAction(1, {});
    EXPECT_FALSE(button.dirty);
    EXPECT_EQ(sizeOf(button), std::pair(6, 3));
}

// ---- input ----

TEST_F(ButtonTest, ASelectedButtonSendsTheActionOfTheEvent)
{
    struct Case {
        std::int32_t release, longPress, press, secondPress; // action codes, 0 for none
        InputEvent event;
        std::int32_t sent; // 0 if no action is sent
    };
    const auto payload = [](std::int32_t code) { return EventData{"payload", code, 2.5F, 1, true}; };
    TestButton button("ab");
    screen.addChild(button, 0, 0);
    for (const Case& c :
         {Case{11, 12, 13, 14, InputEvent::Release, 11}, Case{11, 12, 13, 14, InputEvent::LongPress, 12},
          // Both press actions apply to a press; pressAction takes precedence.
          Case{11, 12, 13, 14, InputEvent::Press, 13}, Case{11, 12, 0, 14, InputEvent::Press, 14},
          Case{11, 12, 13, 0, InputEvent::Press, 13}, Case{11, 12, 0, 0, InputEvent::Press, 0},
          Case{0, 12, 13, 14, InputEvent::Release, 0}, Case{11, 0, 13, 14, InputEvent::LongPress, 0},
          Case{-1, 0, 0, 0, InputEvent::Release, -1}, Case{4, 0, 0, 0, InputEvent::Press, 0},
          Case{4, 0, 0, 0, InputEvent::LongPress, 0}, Case{11, 12, 13, 14, InputEvent::RotateLeft, 0},
          Case{11, 12, 13, 14, InputEvent::RotateRight, 0}, Case{11, 12, 13, 14, InputEvent{3}, 0}}) {
        SCOPED_TRACE(testing::Message() << c.release << ' ' << c.longPress << ' ' << c.press << ' ' << c.secondPress
                                        << " on event " << static_cast<std::uint32_t>(c.event));
        button.setReleaseAction(c.release, payload(c.release));
        button.setLongPressAction(c.longPress, payload(c.longPress));
        button.setPressAction(c.press, payload(c.press));
        button.setSecondPressAction(c.secondPress, payload(c.secondPress));
        for (const bool visible : {true, false}) {
            button.setVisible(visible);
            button.setSelected(false);
            takeNotifications();
            EXPECT_FALSE(button.onInput(c.event)) << "handled by an unselected button";
            EXPECT_EQ(takeNotifications(), Notifications());

            button.setSelected(true);
            for (int time = 0; time < 2; ++time) {
                takeNotifications();
                EXPECT_EQ(button.onInput(c.event), c.sent != 0);
                const Notifications sent{{"ab", c.sent, payload(c.sent)}};
                EXPECT_EQ(takeNotifications(), c.sent == 0 ? Notifications() : sent);
            }
        }
    }
}

TEST_F(ButtonTest, AVisibleButtonOffersEventsThatItDoesNotHandleToItsChildren)
{
    TestButton button("ab");
    Log log;
    ProbeWidget child("child", &log);
    child.handlesInput = true;
    button.addChild(child, 0, 0);
    button.setReleaseAction(4, {});
    EXPECT_TRUE(button.onInput(InputEvent::Release)) << "not offered by an unselected button";
    EXPECT_EQ(log, Log{"child.onInput(4)"});
    addSelected(button);
    log.clear();
    EXPECT_TRUE(button.onInput(InputEvent::Release));
    EXPECT_EQ(log, Log()) << "the event was offered to the children despite its action";
    EXPECT_TRUE(button.onInput(InputEvent::Press));
    EXPECT_TRUE(button.onInput(InputEvent::RotateLeft));
    EXPECT_EQ(log, (Log{"child.onInput(2)", "child.onInput(0)"}));
    button.setVisible(false);
    EXPECT_FALSE(button.onInput(InputEvent::Press));
}

TEST_F(ButtonTest, OnlyTheSelectedButtonSendsItsActionToTheRoot)
{
    ProbeWidget group("group");
    TestButton first("a");
    TestButton second("b");
    first.setReleaseAction(3, {});
    second.setReleaseAction(4, fullPayload);
    group.addChild(first, 0, 0);
    group.addChild(second, 0, 0);
    screen.addChild(group, 0, 0);
    second.setSelected(true);
    takeNotifications();
    EXPECT_TRUE(screen.onInput(InputEvent::Release));
    EXPECT_EQ(group.notifications.back(), (Notification{"b", 4, fullPayload}));
    EXPECT_EQ(takeNotifications(), (Notifications{{"b", 4, fullPayload}}));
}

} // namespace
