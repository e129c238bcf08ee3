// The widget tree: its links, the four flows through it, the selection, and redrawing.
#include "widgets/widget.h"

#include "graphics/font.h"
#include "tests/support/allocation_counter.h"
#include "tests/support/test_font.h"
#include "tests/widgets/probe_widget.h"
#include "widgets/button.h"
#include "widgets/text.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdint>
#include <limits>
#include <string>
#include <tuple>
#include <type_traits>
#include <utility>
#include <vector>

using testing::ElementsAre;
using testing::IsEmpty;

namespace {

constexpr std::int32_t lowest = std::numeric_limits<std::int32_t>::min();
constexpr std::int32_t highest = std::numeric_limits<std::int32_t>::max();

const std::vector<InputEvent> allEvents = {InputEvent::RotateLeft, InputEvent::RotateRight, InputEvent::Press,
                                           InputEvent::Release, InputEvent::LongPress};

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

/// A root with the children a, b and c, all drawn once, and a log of what reaches them.
class WidgetTree : public testing::Test {
protected:
    WidgetTree()
    {
        for (ProbeWidget* child : {&a, &b, &c}) {
            root.addChild(*child, 0, 0);
        }
        settle(root);
        log.clear();
    }

    std::vector<Notification> takeNotifications() { return std::exchange(root.notifications, {}); }

    Log log;
    ProbeWidget root{"root", &log};
    ProbeWidget a{"a", &log};
    ProbeWidget b{"b", &log};
    ProbeWidget c{"c", &log};
    ProbeWidget other{"other", &log};
};

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

// ---- update and broadcast ----

TEST_F(WidgetTree, UpdatesEveryWidgetInOrderAndStoresTheTick)
{
    ProbeWidget grandchild("grandchild", &log);
    a.addChild(grandchild, 0, 0);
    constexpr std::uint64_t late = std::numeric_limits<std::uint64_t>::max();
    root.update(late);
    const std::string call = ".update(18446744073709551615)";
    EXPECT_THAT(log, ElementsAre("root" + call, "a" + call, "grandchild" + call, "b" + call, "c" + call));
    for (const ProbeWidget* widget : {&root, &a, &grandchild, &b, &c}) {
        EXPECT_EQ(widget->getTick(), late);
    }
}

TEST_F(WidgetTree, UpdatesAndBroadcastsToHiddenWidgetsToo)
{
    root.setVisible(false);
    b.setVisible(false);
    root.update(5);
    root.broadcast(9, {});
    EXPECT_THAT(log, ElementsAre("root.update(5)", "a.update(5)", "b.update(5)", "c.update(5)", "root.broadcast(9)",
                                 "a.broadcast(9)", "b.broadcast(9)", "c.broadcast(9)"));
    EXPECT_EQ(b.getTick(), 5U);
}

TEST_F(WidgetTree, UpdatesWithoutMarkingAnything)
{
    root.update(5);
    EXPECT_FALSE(root.needsRedraw());
}

TEST_F(WidgetTree, BroadcastsThePayloadUnchangedToEveryDescendant)
{
    ProbeWidget grandchild("grandchild", &log);
    a.addChild(grandchild, 0, 0);
    root.broadcast(-4, fullPayload);
    EXPECT_THAT(log, ElementsAre("root.broadcast(-4)", "a.broadcast(-4)", "grandchild.broadcast(-4)", "b.broadcast(-4)",
                                 "c.broadcast(-4)"));
    for (const ProbeWidget* widget : {&a, &grandchild, &b, &c}) {
        EXPECT_THAT(widget->broadcasts, ElementsAre(fullPayload));
    }
}

// ---- input ----

TEST_F(WidgetTree, OffersInputInOrderUntilAChildTakesIt)
{
    for (const InputEvent event : allEvents) {
        const std::string call = ".onInput(" + std::to_string(static_cast<std::uint32_t>(event)) + ')';
        SCOPED_TRACE(call);
        log.clear();
        EXPECT_FALSE(root.onInput(event));
        EXPECT_THAT(log, ElementsAre("root" + call, "a" + call, "b" + call, "c" + call));

        log.clear();
        b.takesInput = true;
        EXPECT_TRUE(root.onInput(event));
        EXPECT_THAT(log, ElementsAre("root" + call, "a" + call, "b" + call));
        b.takesInput = false;
    }
}

TEST_F(WidgetTree, OffersInputToGrandchildrenBeforeTheNextChild)
{
    ProbeWidget grandchild("grandchild", &log);
    a.addChild(grandchild, 0, 0);
    grandchild.takesInput = true;
    EXPECT_TRUE(root.onInput(InputEvent::Press));
    EXPECT_THAT(log, ElementsAre("root.onInput(2)", "a.onInput(2)", "grandchild.onInput(2)"));
}

TEST_F(WidgetTree, TakesNoInputWhileHiddenAndKeepsItFromItsChildren)
{
    a.takesInput = true;
    root.setVisible(false);
    EXPECT_FALSE(root.onInput(InputEvent::Press));
    EXPECT_THAT(log, ElementsAre("root.onInput(2)"));
}

TEST_F(WidgetTree, CallsTheInputOperationOfAHiddenChildWhichTestsItsVisibilityItself)
{
    ProbeWidget grandchild("grandchild", &log);
    grandchild.takesInput = true;
    a.addChild(grandchild, 0, 0);
    a.setVisible(false);
    EXPECT_FALSE(root.onInput(InputEvent::Press));
    EXPECT_THAT(log, ElementsAre("root.onInput(2)", "a.onInput(2)", "b.onInput(2)", "c.onInput(2)"));
}

// ---- notifications ----

TEST_F(WidgetTree, CarriesANotificationUnchangedFromTheSenderToTheRoot)
{
    ProbeWidget grandchild("grandchild", &log);
    a.addChild(grandchild, 0, 0);
    grandchild.notify("sender", 42, fullPayload);
    const Notification expected{"sender", 42, fullPayload};
    EXPECT_THAT(log, ElementsAre("grandchild.notify(sender, 42)", "a.notify(sender, 42)", "root.notify(sender, 42)"));
    EXPECT_THAT(grandchild.notifications, ElementsAre(expected));
    EXPECT_THAT(a.notifications, ElementsAre(expected));
    EXPECT_THAT(root.notifications, ElementsAre(expected));
}

TEST_F(WidgetTree, ClearsTheWholeSelectionWhenASelectionRequestReachesAPlainRoot)
{
    root.climbs = false;
    a.setSelected(true);
    c.setSelected(true);
    root.setSelected(true);
    root.climbs = true;
    b.notify("b", notification::selectionRequested, {});
    for (const ProbeWidget* widget : {&root, &a, &b, &c}) {
        EXPECT_FALSE(widget->isSelected());
    }
}

TEST_F(WidgetTree, ClearsNothingForAnyOtherCode)
{
    root.climbs = false;
    a.setSelected(true);
    root.climbs = true;
    for (const std::int32_t code : {0, 2, 3, 4, 5, 6, -1, lowest, highest}) {
        b.notify("b", code, {});
        root.notify("root", code, {});
        EXPECT_TRUE(a.isSelected()) << code;
    }
}

TEST_F(WidgetTree, EndsTheClimbAndClearsNothingWhereAWidgetDoesNotCallTheBase)
{
    ProbeWidget grandchild("grandchild", &log);
    a.addChild(grandchild, 0, 0);
    root.climbs = false;
    c.setSelected(true);
    root.climbs = true;
    a.climbs = false;
    takeNotifications();
    grandchild.setSelected(true);
    EXPECT_THAT(a.notifications, ElementsAre(Notification{"grandchild", 1, {}}, Notification{"grandchild", 2, {}}));
    EXPECT_THAT(root.notifications, IsEmpty());
    EXPECT_TRUE(c.isSelected());
}

TEST_F(WidgetTree, TestsForItsParentAnewAfterTheParentWasNotified)
{
    // A receiver that takes the sender out of the tree: the sender is then a root itself.
    class Remover : public Widget {
    public:
        void notify(std::string /*senderName*/, std::int32_t /*code*/, EventData /*data*/) override
        {
            removeChild(*children.front());
        }
    };
    Remover remover;
    ProbeWidget child("child");
    ProbeWidget grandchild("grandchild");
    child.addChild(grandchild, 0, 0);
    child.climbs = false;
    grandchild.setSelected(true);
    child.climbs = true;
    remover.addChild(child, 0, 0);
    child.notify("child", notification::selectionRequested, {});
    EXPECT_EQ(child.getParent(), nullptr);
    EXPECT_FALSE(grandchild.isSelected());
}

// ---- selecting ----

TEST_F(WidgetTree, RequestsTheSelectionBeforeItIsSelectedAndReportsItAfterwards)
{
    struct Witness : ProbeWidget {
        using ProbeWidget::ProbeWidget;
        void notify(std::string senderName, std::int32_t code, EventData data) override
        {
            seen.emplace_back(code, watched->isSelected(), watched->isDirty());
            ProbeWidget::notify(std::move(senderName), code, std::move(data));
        }
        const Widget* watched = nullptr;
        std::vector<std::tuple<std::int32_t, bool, bool>> seen;
    };
    Witness witness("witness");
    ProbeWidget child("child");
    witness.watched = &child;
    witness.addChild(child, 0, 0);
    settle(witness);

    child.setSelected(true);
    EXPECT_THAT(witness.seen, ElementsAre(std::tuple(1, false, false), std::tuple(2, true, false)));
    EXPECT_THAT(witness.notifications, ElementsAre(Notification{"child", 1, {}}, Notification{"child", 2, {}}));
    EXPECT_TRUE(child.isSelected());
    EXPECT_TRUE(child.isDirty());
    EXPECT_FALSE(witness.isDirty());

    settle(witness);
    witness.seen.clear();
    child.setSelected(false);
    EXPECT_THAT(witness.seen, ElementsAre(std::tuple(2, false, false)));
    EXPECT_TRUE(child.isDirty());
}

TEST_F(WidgetTree, DoesNothingWhenSelectedAsItIs)
{
    a.setSelected(false);
    EXPECT_FALSE(a.isDirty());
    EXPECT_THAT(root.notifications, IsEmpty());
    a.setSelected(true);
    settle(root);
    takeNotifications();
    a.setSelected(true);
    EXPECT_FALSE(a.isDirty());
    EXPECT_THAT(root.notifications, IsEmpty());
}

TEST_F(WidgetTree, DeselectsEveryOtherWidgetOfATreeWithAPlainRootBeforeItIsSelected)
{
    ProbeWidget grandchild("grandchild", &log);
    a.addChild(grandchild, 0, 0);
    grandchild.setSelected(true);
    log.clear();
    c.setSelected(true);
    EXPECT_FALSE(grandchild.isSelected());
    EXPECT_TRUE(c.isSelected());
    EXPECT_THAT(log,
                ElementsAre("c.notify(c, 1)", "root.notify(c, 1)",
                            // answered by the root:
                            "grandchild.notify(grandchild, 2)", "a.notify(grandchild, 2)", "root.notify(grandchild, 2)",
                            //
                            "c.notify(c, 2)", "root.notify(c, 2)"));
}

TEST_F(WidgetTree, CanSelectTheRootItself)
{
    a.setSelected(true);
    root.setSelected(true);
    EXPECT_TRUE(root.isSelected());
    EXPECT_FALSE(a.isSelected());
}

TEST_F(WidgetTree, ClearsTheSelectionOfAWidgetBeforeThatOfItsChildren)
{
    ProbeWidget grandchild("grandchild", &log);
    a.addChild(grandchild, 0, 0);
    root.climbs = false;
    for (ProbeWidget* widget : {&c, &grandchild, &b, &a, &root, &other}) {
        widget->setSelected(true);
    }
    takeNotifications();
    root.clearSelection();
    EXPECT_THAT(root.notifications,
                ElementsAre(Notification{"root", 2, {}}, Notification{"a", 2, {}}, Notification{"grandchild", 2, {}},
                            Notification{"b", 2, {}}, Notification{"c", 2, {}}));
    EXPECT_TRUE(other.isSelected());
}

TEST_F(WidgetTree, ClearsTheSelectionOnlyBelowTheWidgetItIsAskedOf)
{
    root.climbs = false;
    for (ProbeWidget* widget : {&root, &a, &b}) {
        widget->setSelected(true);
    }
    a.clearSelection();
    EXPECT_TRUE(root.isSelected());
    EXPECT_FALSE(a.isSelected());
    EXPECT_TRUE(b.isSelected());
}

TEST_F(WidgetTree, IsNotSelectedByBecomingSelectable)
{
    a.setSelectable(true);
    EXPECT_TRUE(a.isSelectable());
    EXPECT_FALSE(a.isSelected());
    EXPECT_FALSE(a.isDirty());
    EXPECT_THAT(root.notifications, IsEmpty());
}

TEST_F(WidgetTree, IsDeselectedByBecomingUnselectable)
{
    a.setSelectable(true);
    a.setSelected(true);
    settle(root);
    takeNotifications();
    a.setSelectable(true);
    EXPECT_TRUE(a.isSelected());
    EXPECT_FALSE(a.isDirty());
    a.setSelectable(false);
    EXPECT_FALSE(a.isSelectable());
    EXPECT_FALSE(a.isSelected());
    EXPECT_TRUE(a.isDirty());
    EXPECT_THAT(takeNotifications(), ElementsAre(Notification{"a", 2, {}}));
    settle(root);
    a.setSelectable(false);
    EXPECT_FALSE(a.isDirty());
    EXPECT_THAT(root.notifications, IsEmpty());
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

// ---- collecting the selectable widgets ----

TEST_F(WidgetTree, CollectsSelectableWidgetsBeforeTheirChildrenInOrder)
{
    ProbeWidget a1("a1");
    ProbeWidget a2("a2");
    ProbeWidget b1("b1");
    a.addChild(a1, 0, 0);
    a.addChild(a2, 0, 0);
    b.addChild(b1, 0, 0);
    for (ProbeWidget* widget : {&root, &a, &a1, &a2, &b, &b1, &c}) {
        widget->setSelectable(true);
    }
    EXPECT_THAT(root.collectSelectable(), ElementsAre(&a, &a1, &a2, &b, &b1, &c));
    EXPECT_THAT(a.collectSelectable(), ElementsAre(&a1, &a2));
    EXPECT_THAT(c.collectSelectable(), IsEmpty());
}

TEST_F(WidgetTree, CollectsTheChildrenOfAWidgetThatIsNotSelectableItself)
{
    ProbeWidget a1("a1");
    a.addChild(a1, 0, 0);
    a1.setSelectable(true);
    EXPECT_THAT(root.collectSelectable(), ElementsAre(&a1));
}

TEST_F(WidgetTree, CollectsNothingBelowAHiddenWidget)
{
    ProbeWidget a1("a1");
    a.addChild(a1, 0, 0);
    for (ProbeWidget* widget : {&a, &a1, &b, &c}) {
        widget->setSelectable(true);
    }
    a.setVisible(false);
    EXPECT_THAT(root.collectSelectable(), ElementsAre(&b, &c));
    EXPECT_THAT(a.collectSelectable(), IsEmpty());
    c.setVisible(false);
    EXPECT_THAT(root.collectSelectable(), ElementsAre(&b));
}

TEST_F(WidgetTree, CollectsNothingWhenAnAncestorIsHidden)
{
    ProbeWidget a1("a1");
    a.addChild(a1, 0, 0);
    a1.setSelectable(true);
    EXPECT_THAT(a.collectSelectable(), ElementsAre(&a1));
    root.setVisible(false);
    EXPECT_THAT(a.collectSelectable(), IsEmpty());
    EXPECT_THAT(root.collectSelectable(), IsEmpty());
}

// ---- moving the selection ----

struct Move {
    std::string before; // the name of the selected widget, empty for none
    std::int32_t step;
    std::string after;
};

void PrintTo(const Move& move, std::ostream* stream)
{
    *stream << "from \"" << move.before << "\" by " << move.step << " to \"" << move.after << '"';
}

class SelectionOfThree : public WidgetTree, public testing::WithParamInterface<Move> {};

TEST_P(SelectionOfThree, MovesToTheExpectedWidgetUnderAPlainRootAndUnderAScreenAlike)
{
    const Move& move = GetParam();
    for (const bool plain : {true, false}) {
        SCOPED_TRACE(plain ? "plain root" : "root that ends the climb");
        root.climbs = true;
        root.clearSelection();
        for (ProbeWidget* widget : {&a, &b, &c}) {
            widget->setSelectable(true);
            if (widget->getName() == move.before) {
                widget->setSelected(true);
            }
        }
        root.climbs = plain;
        root.moveSelection(move.step);
        for (const ProbeWidget* widget : {&a, &b, &c}) {
            EXPECT_EQ(widget->isSelected(), widget->getName() == move.after) << widget->getName();
        }
    }
}

/// Such as "FromBByMinus5ToC".
std::string nameOf(const testing::TestParamInfo<Move>& info)
{
    const auto capital = [](const std::string& letter) {
        return std::string(1, static_cast<char>(letter[0] - 'a' + 'A'));
    };
    const Move& move = info.param;
    const std::int64_t step = move.step;
    return "From" + (move.before.empty() ? "Nothing" : capital(move.before)) + "By" + (step < 0 ? "Minus" : "") +
           std::to_string(step < 0 ? -step : step) + "To" + capital(move.after);
}

INSTANTIATE_TEST_SUITE_P(Moves, SelectionOfThree,
                         testing::Values(Move{"b", 1, "c"}, Move{"c", 1, "a"}, Move{"a", 1, "b"}, Move{"a", -1, "c"},
                                         Move{"b", -1, "a"}, Move{"c", -1, "b"},
                                         // Backward, any step below the first lands on the last; forward, it wraps.
                                         Move{"b", -5, "c"}, Move{"a", -2, "c"}, Move{"a", -3, "c"}, Move{"c", -3, "c"},
                                         Move{"c", -2, "a"}, Move{"c", lowest, "c"}, Move{"a", lowest, "c"},
                                         Move{"a", 7, "b"}, Move{"a", 3, "a"}, Move{"b", 2, "a"}, Move{"c", 2, "b"},
                                         Move{"c", 3, "c"}, Move{"a", highest, "b"},
                                         // A step of 0 reselects.
                                         Move{"b", 0, "b"},
                                         // Nothing selected.
                                         Move{"", 1, "a"}, Move{"", -1, "c"}, Move{"", 0, "c"}, Move{"", 5, "a"},
                                         Move{"", -5, "c"}, Move{"", highest, "a"}, Move{"", lowest, "c"}),
                         nameOf);

TEST_F(WidgetTree, DeselectsTheOldWidgetBeforeItSelectsTheNewOne)
{
    for (ProbeWidget* widget : {&a, &b, &c}) {
        widget->setSelectable(true);
    }
    b.setSelected(true);
    settle(root);
    takeNotifications();
    root.moveSelection(1);
    EXPECT_THAT(root.notifications,
                ElementsAre(Notification{"b", 2, {}}, Notification{"c", 1, {}}, Notification{"c", 2, {}}));
    EXPECT_FALSE(a.isDirty());
    EXPECT_TRUE(b.isDirty());
    EXPECT_TRUE(c.isDirty());
}

TEST_F(WidgetTree, ReselectsWithNotificationsWhenAMoveEndsWhereItBegan)
{
    a.setSelectable(true);
    b.setSelectable(true);
    a.setSelected(true);
    takeNotifications();
    root.moveSelection(2);
    EXPECT_THAT(takeNotifications(),
                ElementsAre(Notification{"a", 2, {}}, Notification{"a", 1, {}}, Notification{"a", 2, {}}));
    EXPECT_TRUE(a.isSelected());
}

TEST_F(WidgetTree, SelectsTheOnlySelectableWidgetAndNeverDeselectsIt)
{
    for (const std::int32_t step : {1, -1, 0, 7}) {
        SCOPED_TRACE(step);
        b.setSelectable(true);
        root.moveSelection(step);
        EXPECT_TRUE(b.isSelected());
        settle(root);
        takeNotifications();
        root.moveSelection(1);
        root.moveSelection(-1);
        root.moveSelection(0);
        EXPECT_TRUE(b.isSelected());
        EXPECT_THAT(root.notifications, IsEmpty());
        EXPECT_FALSE(root.needsRedraw());
        b.setSelectable(false);
    }
}

TEST_F(WidgetTree, LooksOnlyAtTheFirstSelectedWidgetWhenItMoves)
{
    root.climbs = false;
    for (ProbeWidget* widget : {&a, &b, &c}) {
        widget->setSelectable(true);
    }
    a.setSelected(true);
    c.setSelected(true);
    root.moveSelection(1);
    EXPECT_FALSE(a.isSelected());
    EXPECT_TRUE(b.isSelected());
    EXPECT_TRUE(c.isSelected());
}

TEST_F(WidgetTree, OverlooksASelectedWidgetThatIsNotSelectableOrNotShown)
{
    root.climbs = false;
    b.setSelectable(true);
    c.setSelectable(true);
    a.setSelected(true);
    root.moveSelection(1);
    EXPECT_TRUE(a.isSelected());
    EXPECT_TRUE(b.isSelected());
}

TEST_F(WidgetTree, SelectsThePreviousAndTheNextByOneStep)
{
    for (ProbeWidget* widget : {&a, &b, &c}) {
        widget->setSelectable(true);
    }
    root.selectNext();
    EXPECT_TRUE(a.isSelected());
    root.selectNext();
    EXPECT_TRUE(b.isSelected());
    root.selectPrevious();
    EXPECT_TRUE(a.isSelected());
    root.selectPrevious();
    EXPECT_TRUE(c.isSelected());
}

TEST_F(WidgetTree, MovesTheSelectionWithinTheSubtreeItIsAskedOf)
{
    ProbeWidget a1("a1");
    ProbeWidget a2("a2");
    a.addChild(a1, 0, 0);
    a.addChild(a2, 0, 0);
    for (ProbeWidget* widget : {&a, &a1, &a2, &b}) {
        widget->setSelectable(true);
    }
    a2.setSelected(true);
    a.moveSelection(1);
    EXPECT_TRUE(a1.isSelected());
    EXPECT_FALSE(b.isSelected());
}

// ---- redraw ----

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
