// Drawing the widget tree: when it is needed, what is drawn, and in which order.
#include "widgets/widget.h"

#include "tests/support/allocation_counter.h"
#include "tests/support/test_font.h"
#include "tests/widgets/widget_tree.h"
#include "widgets/button.h"
#include "widgets/text.h"

#include <gmock/gmock.h>

using testing::ElementsAre;

namespace {

TEST_F(WidgetTree, NeedsARedrawWhenAnyShownWidgetBelowIsDirty)
{
    ProbeWidget grandchild("grandchild");
    a.addChild(grandchild, 0, 0);
    settle(root);
    EXPECT_FALSE(root.needsRedraw());
    grandchild.markDirty();
    EXPECT_TRUE(grandchild.needsRedraw());
    EXPECT_TRUE(a.needsRedraw());
    EXPECT_TRUE(root.needsRedraw());
    EXPECT_FALSE(b.needsRedraw());
    EXPECT_FALSE(a.isDirty());
    EXPECT_FALSE(root.isDirty());
}

TEST_F(WidgetTree, NeedsNoRedrawForAHiddenWidget)
{
    ProbeWidget grandchild("grandchild");
    a.addChild(grandchild, 0, 0);
    a.setVisible(false);
    settle(root);
    grandchild.markDirty();
    a.markDirty();
    EXPECT_FALSE(a.needsRedraw());
    EXPECT_FALSE(root.needsRedraw());
    root.markDirty();
    EXPECT_TRUE(root.needsRedraw());
    root.setVisible(false);
    EXPECT_FALSE(root.needsRedraw());
}

TEST_F(WidgetTree, FillsWithTheBackgroundThenDrawsItselfThenItsChildren)
{
    root.setSize(4, 3);
    root.background = 1;
    root.content = {"#..#"};
    a.setSize(2, 2);
    a.content = {"+ ", " +"};
    a.setPosition(2, 0);
    log.clear();
    root.drawTree();
    EXPECT_THAT(log, ElementsAre("root.draw", "a.draw"));
    EXPECT_EQ(root.surfaceBeforeDraw, (Picture{"----", "----", "----"}));
    EXPECT_EQ(a.surfaceBeforeDraw, (Picture{"  ", "  "}));
    EXPECT_THAT(root.getSurface(), shows({"#.+#", "---+", "----"}));
    EXPECT_FALSE(root.isDirty());
    EXPECT_FALSE(a.isDirty());
}

TEST_F(WidgetTree, RendersOnlyDirtyChildrenAndCompositesTheOthersFromTheirPictures)
{
    root.setSize(3, 1);
    for (ProbeWidget* child : {&a, &b, &c}) {
        child->setSize(1, 1);
        child->content = {"#"};
    }
    b.setPosition(1, 0);
    c.setPosition(2, 0);
    settle(root);
    log.clear();
    for (ProbeWidget* child : {&a, &b, &c}) {
        child->content = {"+"};
    }
    b.markDirty();
    root.drawTree();
    EXPECT_THAT(log, ElementsAre("root.draw", "b.draw"));
    EXPECT_THAT(root.getSurface(), shows({"#+#"}));
}

TEST_F(WidgetTree, RendersItselfAndACleanChildAgainWhenAGrandchildIsDirty)
{
    ProbeWidget grandchild("grandchild", &log);
    ProbeWidget sibling("sibling", &log);
    a.addChild(grandchild, 0, 0);
    a.addChild(sibling, 0, 0);
    settle(root);
    log.clear();
    grandchild.markDirty();
    root.drawTree();
    EXPECT_THAT(log, ElementsAre("root.draw", "a.draw", "grandchild.draw"));
}

TEST_F(WidgetTree, DrawsLaterChildrenOverEarlierOnesAndAChildAddedAgainOnTop)
{
    root.setSize(3, 1);
    root.background = 0;
    a.setSize(2, 1);
    a.content = {"++"};
    b.setSize(2, 1);
    b.content = {"# "};
    b.setPosition(1, 0);
    root.drawTree();
    EXPECT_THAT(root.getSurface(), shows({"+#."}));
    root.addChild(a, 0, 0);
    root.drawTree();
    EXPECT_THAT(root.getSurface(), shows({"++."}));
}

TEST_F(WidgetTree, ClipsChildrenToTheirParentAndPlacesThemRelativeToIt)
{
    root.setSize(5, 4);
    root.background = 0;
    a.setSize(3, 2);
    a.background = 1;
    a.setPosition(1, 1);
    ProbeWidget grandchild("grandchild");
    a.addChild(grandchild, 1, -1, 5, 2);
    grandchild.background = 3;
    b.setSize(2, 2);
    b.background = 2;
    b.setPosition(-1, 3);
    root.drawTree();
    EXPECT_THAT(root.getSurface(), shows({".....", ".-##.", ".---.", "+...."}));
}

TEST_F(WidgetTree, NeitherDrawsNorCompositesAHiddenWidgetWhichStaysDirtyUntilItIsShownAndDrawn)
{
    root.setSize(2, 1);
    root.background = 0;
    a.setSize(1, 1);
    a.content = {"#"};
    a.setVisible(false);
    log.clear();
    root.drawTree();
    EXPECT_THAT(log, ElementsAre("root.draw"));
    EXPECT_THAT(root.getSurface(), shows({".."}));
    EXPECT_TRUE(a.isDirty());
    EXPECT_FALSE(root.needsRedraw());

    a.drawTree();
    EXPECT_THAT(log, ElementsAre("root.draw"));
    EXPECT_TRUE(a.isDirty());

    a.setVisible(true);
    EXPECT_TRUE(root.needsRedraw());
    root.drawTree();
    EXPECT_THAT(root.getSurface(), shows({"#."}));
    EXPECT_FALSE(a.isDirty());
}

TEST_F(WidgetTree, DrawsNothingWhileItsRootIsHiddenAndStaysDirty)
{
    root.setSize(1, 1);
    root.background = 0;
    root.drawTree();
    root.background = 3;
    root.setVisible(false);
    root.markDirty();
    root.drawTree();
    EXPECT_THAT(root.getSurface(), shows({"."}));
    EXPECT_TRUE(root.isDirty());
}

TEST_F(WidgetTree, RedrawsAWidgetWhoseRedrawIsAskedForEvenWhenNothingIsDirty)
{
    root.setSize(1, 1);
    settle(root);
    log.clear();
    root.content = {"#"};
    root.drawTree();
    EXPECT_THAT(log, ElementsAre("root.draw"));
    EXPECT_THAT(root.getSurface(), shows({"#"}));
}

TEST_F(WidgetTree, LeavesTheParentsPixelsVisibleUnderAChildThatDrawsNothing)
{
    root.setSize(3, 1);
    root.content = {"#+#"};
    a.setSize(3, 1);
    root.drawTree();
    EXPECT_THAT(root.getSurface(), shows({"#+#"}));
}

class WidgetAllocation : public GraphicsTest {};

TEST_F(WidgetAllocation, IsNeverNeededToUpdateOrDrawATreeWhoseSizesStay)
{
    buildTinyFont();
    storeImage("plain.png", {"....", "####"});
    storeImage("selected.png", {"####", "...."});
    class Screen : public Widget {
    public:
        Screen() { background = 0; }
    };
    Screen screen;
    Widget group;
    Button button("plain.png", "selected.png", 0, 0, 3, 0, "tiny", "a label", 0);
    Text text("tiny", "a text that is\nwrapped and\n\ncut at the end of the label", 3);
    text.setBackgroundImage("plain.png");
    screen.setSize(40, 30);
    screen.addChild(group, 5, 5, 30, 20);
    group.addChild(button, -1, 2);
    screen.addChild(text, 0, 0, 40, 15);
    screen.drawTree();
    button.setSelected(true);
    text.setVerticallyCentered(false);
    group.setPosition(-1, 3);

    const AllocationCounter counter;
    screen.update(1);
    EXPECT_TRUE(screen.needsRedraw());
    screen.drawTree();
    EXPECT_FALSE(screen.needsRedraw());
    screen.drawTree();
    EXPECT_EQ(counter.count(), 0U);
}

} // namespace
