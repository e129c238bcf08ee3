// Tests of a widget's initial state, tree links, position, size and visibility.
#include "widgets/widget.h"

#include "tests/widgets/widget_tree.h"

#include <cstdint>
#include <type_traits>
#include <utility>

namespace {

using Size = std::pair<std::int32_t, std::int32_t>;

TEST(Widget, ConstructionCreatesAVisibleDirtyWidgetWithoutSize)
{
    const ProbeWidget widget;
    EXPECT_EQ(widget.parent, nullptr);
    EXPECT_EQ(sizeOf(widget), Size(0, 0));
    EXPECT_EQ(widget.background, 255);
    EXPECT_EQ(widget.x, 0);
    EXPECT_EQ(widget.y, 0);
    EXPECT_FALSE(widget.isSelectable());
    EXPECT_FALSE(widget.isSelected());
    EXPECT_TRUE(widget.isVisible());
    EXPECT_EQ(widget.children, Widgets());
    EXPECT_EQ(widget.name, "");
    EXPECT_EQ(widget.tick, 0U);
    EXPECT_TRUE(widget.dirty);
}

TEST(Widget, IsPolymorphicWithoutAVirtualDestructor)
{
    EXPECT_TRUE(std::is_polymorphic_v<Widget>);
    EXPECT_FALSE(std::has_virtual_destructor_v<Widget>);
}

TEST(Widget, TimeBaseIsSharedAndDefaultsTo20)
{
    const std::uint32_t initial = std::exchange(ProbeWidget::timeBase, 20);
    EXPECT_EQ(initial, 20U);
    Widget::setTimeBase(1000);
    EXPECT_EQ(ProbeWidget::timeBase, 1000U);
    Widget::setTimeBase(initial);
}

TEST(Widget, AWidgetWithoutChildrenHandlesNoInputAndMovesNoSelection)
{
    ProbeWidget widget;
    widget.setSelectable(true);
    for (const InputEvent event : allEvents) {
        EXPECT_FALSE(widget.onInput(event));
    }
    EXPECT_EQ(widget.collectSelectable(), Widgets());
    for (const std::int32_t step : {-1, 0, 1, lowest, highest}) {
        widget.moveSelection(step);
    }
    EXPECT_FALSE(widget.isSelected());
    EXPECT_EQ(widget.notifications, Notifications());
}

// ---- links, position and size ----

TEST_F(WidgetTree, SetParentOnlyStoresTheLink)
{
    other.setParent(&root);
    a.setParent(nullptr);
    EXPECT_EQ(other.parent, &root);
    EXPECT_EQ(a.parent, nullptr);
    EXPECT_EQ(root.children, (Widgets{&a, &b, &c}));
    EXPECT_FALSE(other.dirty);
    EXPECT_FALSE(root.dirty);
}

TEST_F(WidgetTree, SetPositionMarksOnlyTheParentDirtyEvenIfThePositionIsUnchanged)
{
    for (const auto& [x, y] : {std::pair(0, 0), std::pair(-3, 17)}) {
        a.setPosition(x, y);
        EXPECT_EQ(a.x, x);
        EXPECT_EQ(a.y, y);
        EXPECT_TRUE(std::exchange(root.dirty, false));
        EXPECT_FALSE(a.dirty);
        EXPECT_FALSE(b.dirty);
    }
    root.setPosition(4, 5);
    EXPECT_EQ(root.x, 4);
    EXPECT_EQ(root.y, 5);
    EXPECT_FALSE(root.dirty);
}

TEST_F(WidgetTree, SetSizeResizesTheSurfaceThenCallsOnResizeThenMarksTheWidgetDirty)
{
    a.onCall = [this] { a.dirty = false; };
    a.setSize(30, 20);
    EXPECT_EQ(sizeOf(a), Size(30, 20));
    EXPECT_EQ(a.sizeInOnResize, Size(30, 20));
    EXPECT_EQ(log, Log{"a.onResize(30, 20)"});
    EXPECT_TRUE(a.dirty);
    EXPECT_FALSE(root.dirty);
}

TEST_F(WidgetTree, AddChildAppendsTheChildAtItsPositionAndMarksTheParentDirty)
{
    root.addChild(other, 10, 20);
    EXPECT_EQ(root.children, (Widgets{&a, &b, &c, &other}));
    EXPECT_EQ(other.parent, &root);
    EXPECT_EQ(other.x, 10);
    EXPECT_EQ(other.y, 20);
    EXPECT_TRUE(root.dirty);
    EXPECT_FALSE(other.dirty);
}

TEST_F(WidgetTree, AddChildKeepsTheChildsSizeUnlessWidthAndHeightAreGiven)
{
    other.setSize(7, 5);
    other.drawTree();
    log.clear();
    root.addChild(other, 10, 20);
    root.addChild(other, 10, 20, -1, -1);
    root.addChild(other, 10, 20, -1, 30);
    root.addChild(other, 10, 20, 30, -1);
    EXPECT_EQ(sizeOf(other), Size(7, 5));
    EXPECT_FALSE(other.dirty);
    EXPECT_EQ(log, Log());
}

TEST_F(WidgetTree, AddChildWithASizeResizesTheChildAndMarksBothDirtyAfterOnResize)
{
    other.onCall = [this] { root.drawTree(); };
    root.addChild(other, 0, 0, 252, 16);
    EXPECT_EQ(sizeOf(other), Size(252, 16));
    EXPECT_EQ(other.sizeInOnResize, Size(252, 16));
    EXPECT_EQ(log.front(), "other.onResize(252, 16)");
    EXPECT_TRUE(other.dirty);
    EXPECT_TRUE(root.dirty) << "not marked dirty after onResize drew it";
    root.addChild(other, 0, 0, 0, 0);
    EXPECT_EQ(sizeOf(other), Size(0, 0));
}

TEST_F(WidgetTree, AddChildRemovesTheChildFromItsParentAndMarksThatParentDirty)
{
    other.addChild(b, 1, 2);
    EXPECT_EQ(root.children, (Widgets{&a, &c}));
    EXPECT_EQ(other.children, Widgets{&b});
    EXPECT_EQ(b.parent, &other);
    EXPECT_TRUE(root.dirty);
    EXPECT_TRUE(other.dirty);
}

TEST_F(WidgetTree, AddChildToTheSameParentMovesTheChildToTheEnd)
{
    root.addChild(a, 3, 4);
    EXPECT_EQ(root.children, (Widgets{&b, &c, &a}));
    EXPECT_EQ(a.parent, &root);
    EXPECT_EQ(a.x, 3);
    EXPECT_TRUE(root.dirty);
}

TEST_F(WidgetTree, AddChildDoesNotMarkTheOldParentDirtyIfItDoesNotListTheChild)
{
    ProbeWidget child;
    child.setParent(&other);
    root.addChild(child, 0, 0);
    EXPECT_FALSE(other.dirty);
    EXPECT_EQ(child.parent, &root);
    EXPECT_EQ(root.children, (Widgets{&a, &b, &c, &child}));
}

TEST_F(WidgetTree, RemoveChildClearsTheLinkAndMarksOnlyTheParentDirty)
{
    root.removeChild(b);
    EXPECT_EQ(root.children, (Widgets{&a, &c}));
    EXPECT_EQ(b.parent, nullptr);
    EXPECT_TRUE(root.dirty);
    EXPECT_FALSE(b.dirty);
}

TEST_F(WidgetTree, RemoveChildOfANonChildDoesNothing)
{
    ProbeWidget grandchild;
    a.addChild(grandchild, 0, 0);
    root.drawTree();
    for (ProbeWidget* widget : {&other, &grandchild, &root}) {
        root.removeChild(*widget);
    }
    EXPECT_EQ(root.children, (Widgets{&a, &b, &c}));
    EXPECT_EQ(grandchild.parent, &a);
    EXPECT_FALSE(root.dirty);
}

TEST_F(WidgetTree, DestructionDetachesNeitherParentNorChildren)
{
    ProbeWidget child;
    {
        ProbeWidget shortLived;
        shortLived.addChild(child, 0, 0);
        root.addChild(shortLived, 0, 0);
    }
    EXPECT_NE(child.parent, nullptr);
    EXPECT_EQ(root.children.size(), 4U);
}

// ---- visibility ----

TEST_F(WidgetTree, AWidgetIsShownOnlyIfItAndAllAncestorsAreVisible)
{
    ProbeWidget grandchild("grandchild");
    a.addChild(grandchild, 0, 0);
    EXPECT_TRUE(grandchild.isShown());
    for (ProbeWidget* widget : {&grandchild, &a, &root}) {
        widget->setVisible(false);
        EXPECT_FALSE(grandchild.isShown()) << widget->name;
        EXPECT_EQ(grandchild.isVisible(), widget != &grandchild);
        widget->setVisible(true);
        EXPECT_TRUE(grandchild.isShown());
    }
}

TEST_F(WidgetTree, SetVisibleDeselectsTheWidgetWhetherItIsShownOrHidden)
{
    for (const bool before : {false, true}) {
        for (const bool value : {false, true}) {
            SCOPED_TRACE(testing::Message() << before << " to " << value);
            a.setVisible(before);
            a.setSelected(true);
            root.dirty = a.dirty = false;
            takeNotifications();
            a.setVisible(value);
            EXPECT_FALSE(a.isSelected());
            EXPECT_EQ(a.isVisible(), value);
            EXPECT_EQ(takeNotifications(), (Notifications{{"a", 2, {}}}));
            EXPECT_TRUE(a.dirty);
            EXPECT_EQ(root.dirty, before != value);
        }
    }
}

TEST_F(WidgetTree, SetVisibleOfAnUnselectedWidgetMarksOnlyTheParentDirtyAndOnlyIfTheValueChanges)
{
    for (const bool value : {true, false, false, true}) {
        const bool changes = a.isVisible() != value;
        a.setVisible(value);
        EXPECT_EQ(a.isVisible(), value);
        EXPECT_EQ(std::exchange(root.dirty, false), changes);
        EXPECT_FALSE(a.dirty);
        EXPECT_EQ(root.notifications, Notifications());
    }
    root.setVisible(false);
    EXPECT_FALSE(root.isVisible());
    EXPECT_FALSE(root.dirty);
}

} // namespace
