// The widget tree: what a widget begins as, its links, its place and its visibility.
#include "widgets/widget.h"

#include "tests/widgets/widget_tree.h"

#include <cstdint>
#include <gmock/gmock.h>
#include <type_traits>
#include <utility>

using testing::ElementsAre;
using testing::IsEmpty;

namespace {

TEST(Widget, BeginsOutsideAnyTreeVisibleUnselectedNotSelectableDirtyAndEmpty)
{
    ProbeWidget widget;
    EXPECT_EQ(widget.getParent(), nullptr);
    EXPECT_EQ(widget.getSurface().getWidth(), 0);
    EXPECT_EQ(widget.getSurface().getHeight(), 0);
    EXPECT_EQ(widget.background, 255);
    EXPECT_EQ(widget.getX(), 0);
    EXPECT_EQ(widget.getY(), 0);
    EXPECT_FALSE(widget.isSelectable());
    EXPECT_FALSE(widget.isSelected());
    EXPECT_TRUE(widget.isVisible());
    EXPECT_THAT(widget.getChildren(), IsEmpty());
    EXPECT_EQ(widget.getName(), "");
    EXPECT_EQ(widget.getTick(), 0U);
    EXPECT_TRUE(widget.isDirty());
}

TEST(Widget, IsPolymorphicWithoutAVirtualDestructor)
{
    EXPECT_TRUE(std::is_polymorphic_v<Widget>);
    EXPECT_FALSE(std::has_virtual_destructor_v<Widget>);
}

TEST(Widget, KeepsOneTimeBaseForAllThatBeginsAt20)
{
    const std::uint32_t before = Widget::getTimeBase();
    EXPECT_EQ(before, 20U);
    Widget::setTimeBase(1000);
    EXPECT_EQ(Widget::getTimeBase(), 1000U);
    Widget::setTimeBase(before);
}

TEST(Widget, WithoutChildrenTakesNoInputCollectsNothingAndMovesNoSelection)
{
    ProbeWidget widget("w");
    widget.setSelectable(true);
    for (const InputEvent event : allEvents) {
        EXPECT_FALSE(widget.onInput(event));
    }
    EXPECT_THAT(widget.collectSelectable(), IsEmpty());
    for (const std::int32_t step : {-1, 0, 1, lowest, highest}) {
        widget.moveSelection(step);
    }
    EXPECT_FALSE(widget.isSelected());
    EXPECT_THAT(widget.notifications, IsEmpty());
}

// ---- links, position and size ----

TEST_F(WidgetTree, StoresOnlyTheLinkWhenAParentIsSet)
{
    settle(other);
    other.setParent(&root);
    EXPECT_EQ(other.getParent(), &root);
    EXPECT_THAT(root.getChildren(), ElementsAre(&a, &b, &c));
    EXPECT_FALSE(other.isDirty());
    EXPECT_FALSE(root.isDirty());
    a.setParent(nullptr);
    EXPECT_EQ(a.getParent(), nullptr);
    EXPECT_THAT(root.getChildren(), ElementsAre(&a, &b, &c));
}

TEST_F(WidgetTree, MarksOnlyTheParentWhenAWidgetIsMoved)
{
    a.setPosition(-3, 17);
    EXPECT_EQ(a.getX(), -3);
    EXPECT_EQ(a.getY(), 17);
    EXPECT_TRUE(root.isDirty());
    EXPECT_FALSE(a.isDirty());
    EXPECT_FALSE(b.isDirty());
}

TEST_F(WidgetTree, MarksTheParentEvenWhenTheNewPositionIsTheOldOne)
{
    a.setPosition(0, 0);
    EXPECT_TRUE(root.isDirty());
}

TEST_F(WidgetTree, CanMoveAWidgetWithoutAParent)
{
    root.setPosition(4, 5);
    EXPECT_EQ(root.getX(), 4);
    EXPECT_EQ(root.getY(), 5);
    EXPECT_FALSE(root.isDirty());
}

TEST_F(WidgetTree, ResizesTheSurfaceThenCallsOnResizeThenMarksOnlyTheWidget)
{
    a.setSize(30, 20);
    EXPECT_EQ(a.getSurface().getWidth(), 30);
    EXPECT_EQ(a.getSurface().getHeight(), 20);
    EXPECT_EQ(a.resizedWhile, std::pair(30, 20));
    EXPECT_THAT(log, ElementsAre("a.onResize(30, 20)"));
    EXPECT_TRUE(a.isDirty());
    EXPECT_FALSE(root.isDirty());
}

TEST_F(WidgetTree, AppendsAChildAtItsPositionAndMarksTheParent)
{
    settle(other);
    root.addChild(other, 10, 20);
    EXPECT_THAT(root.getChildren(), ElementsAre(&a, &b, &c, &other));
    EXPECT_EQ(other.getParent(), &root);
    EXPECT_EQ(other.getX(), 10);
    EXPECT_EQ(other.getY(), 20);
    EXPECT_TRUE(root.isDirty());
    EXPECT_FALSE(other.isDirty());
}

TEST_F(WidgetTree, KeepsTheSizeOfAChildAddedWithoutASize)
{
    other.setSize(7, 5);
    settle(other);
    log.clear();
    root.addChild(other, 10, 20);
    root.addChild(other, 10, 20, -1, -1);
    root.addChild(other, 10, 20, -1, 30);
    root.addChild(other, 10, 20, 30, -1);
    EXPECT_EQ(other.getSurface().getWidth(), 7);
    EXPECT_EQ(other.getSurface().getHeight(), 5);
    EXPECT_FALSE(other.isDirty());
    EXPECT_THAT(log, IsEmpty());
}

TEST_F(WidgetTree, ResizesAChildAddedWithASizeCallsItsOnResizeAndMarksBoth)
{
    settle(other);
    log.clear();
    root.addChild(other, 0, 0, 252, 16);
    EXPECT_EQ(other.getSurface().getWidth(), 252);
    EXPECT_EQ(other.getSurface().getHeight(), 16);
    EXPECT_THAT(log, ElementsAre("other.onResize(252, 16)"));
    EXPECT_EQ(other.resizedWhile, std::pair(252, 16));
    EXPECT_TRUE(other.isDirty());
    EXPECT_TRUE(root.isDirty());
}

TEST_F(WidgetTree, ResizesAChildAddedWithASizeOfZero)
{
    other.setSize(7, 5);
    root.addChild(other, 0, 0, 0, 0);
    EXPECT_EQ(other.getSurface().getWidth(), 0);
    EXPECT_EQ(other.getSurface().getHeight(), 0);
}

TEST_F(WidgetTree, TakesAChildFromItsOldParentAndMarksThatParent)
{
    settle(other);
    other.addChild(b, 1, 2);
    EXPECT_THAT(root.getChildren(), ElementsAre(&a, &c));
    EXPECT_THAT(other.getChildren(), ElementsAre(&b));
    EXPECT_EQ(b.getParent(), &other);
    EXPECT_TRUE(root.isDirty());
    EXPECT_TRUE(other.isDirty());
}

TEST_F(WidgetTree, MovesAChildThatIsAddedToItsOwnParentToTheEnd)
{
    root.addChild(a, 3, 4);
    EXPECT_THAT(root.getChildren(), ElementsAre(&b, &c, &a));
    EXPECT_EQ(a.getParent(), &root);
    EXPECT_EQ(a.getX(), 3);
    EXPECT_TRUE(root.isDirty());
}

TEST_F(WidgetTree, DoesNotMarkAnOldParentThatDoesNotListTheChild)
{
    ProbeWidget child("child");
    settle(other);
    child.setParent(&other);
    root.addChild(child, 0, 0);
    EXPECT_FALSE(other.isDirty());
    EXPECT_THAT(other.getChildren(), IsEmpty());
    EXPECT_EQ(child.getParent(), &root);
    EXPECT_THAT(root.getChildren(), ElementsAre(&a, &b, &c, &child));
}

TEST_F(WidgetTree, RemovesAChildClearsItsParentAndMarksOnlyTheParent)
{
    root.removeChild(b);
    EXPECT_THAT(root.getChildren(), ElementsAre(&a, &c));
    EXPECT_EQ(b.getParent(), nullptr);
    EXPECT_TRUE(root.isDirty());
    EXPECT_FALSE(b.isDirty());
    root.removeChild(c);
    root.removeChild(a);
    EXPECT_THAT(root.getChildren(), IsEmpty());
}

TEST_F(WidgetTree, DoesNothingWhenAWidgetThatIsNoChildIsRemoved)
{
    ProbeWidget grandchild("grandchild");
    a.addChild(grandchild, 0, 0);
    settle(root);
    root.removeChild(other);
    root.removeChild(grandchild);
    root.removeChild(root);
    EXPECT_THAT(root.getChildren(), ElementsAre(&a, &b, &c));
    EXPECT_EQ(grandchild.getParent(), &a);
    EXPECT_FALSE(root.isDirty());
}

TEST_F(WidgetTree, LeavesTheTreeLinksOfOthersAloneWhenAWidgetIsDestroyed)
{
    ProbeWidget child("child");
    {
        ProbeWidget shortLived("shortLived");
        shortLived.addChild(child, 0, 0);
        shortLived.setParent(&root);
    }
    EXPECT_NE(child.getParent(), nullptr) << "a child is not detached";
    EXPECT_THAT(root.getChildren(), ElementsAre(&a, &b, &c));
    child.setParent(nullptr);
}

TEST_F(WidgetTree, IsShownWhenItAndEveryAncestorAreVisible)
{
    ProbeWidget grandchild("grandchild");
    a.addChild(grandchild, 0, 0);
    EXPECT_TRUE(grandchild.isShown());
    for (ProbeWidget* widget : {&grandchild, &a, &root}) {
        SCOPED_TRACE(widget->getName());
        widget->setVisible(false);
        EXPECT_FALSE(grandchild.isShown());
        EXPECT_EQ(grandchild.isVisible(), widget != &grandchild);
        widget->setVisible(true);
        EXPECT_TRUE(grandchild.isShown());
    }
}

// ---- visibility ----

TEST_F(WidgetTree, DeselectsASelectedWidgetWhetherItIsShownOrHidden)
{
    for (const bool before : {false, true}) {
        for (const bool value : {false, true}) {
            SCOPED_TRACE(testing::Message() << before << " to " << value);
            a.setVisible(before);
            a.setSelected(true);
            settle(root);
            settle(a);
            takeNotifications();
            a.setVisible(value);
            EXPECT_FALSE(a.isSelected());
            EXPECT_EQ(a.isVisible(), value);
            EXPECT_THAT(takeNotifications(), ElementsAre(Notification{"a", 2, {}}));
            EXPECT_TRUE(a.isDirty());
            EXPECT_EQ(root.isDirty(), before != value);
        }
    }
}

TEST_F(WidgetTree, ChangesNothingWhenVisibilityOfAnUnselectedWidgetStays)
{
    a.setVisible(true);
    EXPECT_FALSE(a.isDirty());
    EXPECT_FALSE(root.isDirty());
    EXPECT_THAT(root.notifications, IsEmpty());
}

TEST_F(WidgetTree, MarksOnlyTheParentWhenVisibilityChanges)
{
    a.setVisible(false);
    EXPECT_FALSE(a.isVisible());
    EXPECT_TRUE(root.isDirty());
    EXPECT_FALSE(a.isDirty());
    settle(root);
    a.setVisible(true);
    EXPECT_TRUE(a.isVisible());
    EXPECT_TRUE(root.isDirty());
    EXPECT_FALSE(a.isDirty());
    EXPECT_THAT(root.notifications, IsEmpty());
}

TEST_F(WidgetTree, CanHideAWidgetWithoutAParent)
{
    root.setVisible(false);
    EXPECT_FALSE(root.isVisible());
    EXPECT_FALSE(root.isDirty());
}

} // namespace
