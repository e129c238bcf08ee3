// Tests of drawing the widget tree: when it is needed, which widgets are drawn, and in which order.
#include "widgets/widget.h"

#include "tests/support/allocation_counter.h"
#include "tests/support/test_font.h"
#include "tests/widgets/widget_tree.h"
#include "widgets/button.h"
#include "widgets/text.h"

namespace {

TEST_F(WidgetTree, NeedsRedrawIfAnyVisibleDescendantIsDirty)
{
    ProbeWidget grandchild;
    a.addChild(grandchild, 0, 0);
    root.drawTree();
    EXPECT_FALSE(root.needsRedraw());
    grandchild.markDirty();
    for (const ProbeWidget* widget : {&grandchild, &a, &root}) {
        EXPECT_TRUE(widget->needsRedraw());
    }
    EXPECT_FALSE(b.needsRedraw());
    EXPECT_FALSE(a.dirty);
    EXPECT_FALSE(root.dirty);
}

TEST_F(WidgetTree, HiddenWidgetsNeedNoRedraw)
{
    ProbeWidget grandchild;
    a.addChild(grandchild, 0, 0);
    a.setVisible(false);
    root.drawTree();
    grandchild.markDirty();
    a.markDirty();
    EXPECT_FALSE(a.needsRedraw());
    EXPECT_FALSE(root.needsRedraw());
    root.markDirty();
    EXPECT_TRUE(root.needsRedraw());
    root.setVisible(false);
    EXPECT_FALSE(root.needsRedraw());
}

TEST_F(WidgetTree, DrawTreeFillsWithTheBackgroundThenDrawsTheWidgetThenItsChildren)
{
    root.setSize(4, 3);
    root.background = 1;
    root.content = {"#..#"};
    a.setSize(2, 2);
    a.content = {"+ ", " +"};
    a.setPosition(2, 0);
    log.clear();
    root.drawTree();
    EXPECT_EQ(takeLog(), (Log{"root.draw", "a.draw"}));
    EXPECT_EQ(root.surfaceBeforeDraw, (Picture{"----", "----", "----"}));
    EXPECT_EQ(a.surfaceBeforeDraw, (Picture{"  ", "  "}));
    EXPECT_TRUE(shows(root.getSurface(), {"#.+#", "---+", "----"}));
    EXPECT_FALSE(root.dirty);
    EXPECT_FALSE(a.dirty);

    root.content = {"####"};
    root.drawTree();
    EXPECT_EQ(takeLog(), Log{"root.draw"}) << "drawTree did not draw the root, which is clean";
    EXPECT_TRUE(shows(root.getSurface(), {"##+#", "---+", "----"}));
}

TEST_F(WidgetTree, DrawTreeDrawsOnlyChildrenThatNeedARedrawAndCompositesTheOthersFromTheirSurfaces)
{
    root.setSize(3, 1);
    for (ProbeWidget* child : {&a, &b, &c}) {
        child->setSize(1, 1);
        child->content = {"#"};
    }
    b.setPosition(1, 0);
    c.setPosition(2, 0);
    root.drawTree();
    log.clear();
    for (ProbeWidget* child : {&a, &b, &c}) {
        child->content = {"+"};
    }
    b.markDirty();
    root.drawTree();
    EXPECT_EQ(log, (Log{"root.draw", "b.draw"}));
    EXPECT_TRUE(shows(root.getSurface(), Picture{"#+#"}));
}

TEST_F(WidgetTree, DrawTreeDrawsACleanChildWithADirtyGrandchild)
{
    ProbeWidget grandchild("grandchild", &log);
    ProbeWidget sibling("sibling", &log);
    a.addChild(grandchild, 0, 0);
    a.addChild(sibling, 0, 0);
    root.drawTree();
    log.clear();
    grandchild.markDirty();
    root.drawTree();
    EXPECT_EQ(log, (Log{"root.draw", "a.draw", "grandchild.draw"}));
}

TEST_F(WidgetTree, LaterChildrenAreDrawnOverEarlierChildren)
{
    root.setSize(3, 1);
    root.background = 0;
    a.setSize(2, 1);
    a.content = {"++"};
    b.setSize(2, 1);
    b.content = {"# "};
    b.setPosition(1, 0);
    root.drawTree();
    EXPECT_TRUE(shows(root.getSurface(), Picture{"+#."}));
    root.addChild(a, 0, 0);
    root.drawTree();
    EXPECT_TRUE(shows(root.getSurface(), Picture{"++."}));
}

TEST_F(WidgetTree, ChildrenArePlacedRelativeToTheirParentAndClippedToIt)
{
    root.setSize(5, 4);
    root.background = 0;
    a.setSize(3, 2);
    a.background = 1;
    a.setPosition(1, 1);
    ProbeWidget grandchild;
    a.addChild(grandchild, 1, -1, 5, 2);
    grandchild.background = 3;
    b.setSize(2, 2);
    b.background = 2;
    b.setPosition(-1, 3);
    root.drawTree();
    EXPECT_TRUE(shows(root.getSurface(), {".....", ".-##.", ".---.", "+...."}));
}

TEST_F(WidgetTree, AHiddenWidgetIsNotDrawnAndStaysDirtyUntilItIsShownAndDrawn)
{
    root.setSize(2, 1);
    root.background = 0;
    a.setSize(1, 1);
    a.content = {"#"};
    a.setVisible(false);
    log.clear();
    root.drawTree();
    a.drawTree();
    EXPECT_EQ(log, Log{"root.draw"});
    EXPECT_TRUE(shows(root.getSurface(), Picture{".."}));
    EXPECT_TRUE(a.dirty);

    a.setVisible(true);
    EXPECT_TRUE(root.needsRedraw());
    root.drawTree();
    EXPECT_TRUE(shows(root.getSurface(), Picture{"#."}));
    EXPECT_FALSE(a.dirty);
}

class WidgetAllocation : public GraphicsTest {};

TEST_F(WidgetAllocation, UpdatingAndDrawingWithoutResizingDoesNotAllocate)
{
    buildTinyFont();
    storeImage("plain.png", {"....", "####"});
    storeImage("selected.png", {"####", "...."});
    Exposed<Widget> screen;
    Widget group;
    Button button("plain.png", "selected.png", 0, 0, 3, 0, "tiny", "a label", 0);
    Text text("tiny", "a text that is\nwrapped and\n\ncut at the end of the label", 3);
    text.setBackgroundImage("plain.png");
    screen.background = 0;
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
