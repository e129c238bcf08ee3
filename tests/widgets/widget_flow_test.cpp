// What flows through the widget tree: updates and broadcasts, input, and notifications.
#include "widgets/widget.h"

#include "tests/widgets/widget_tree.h"

#include <cstdint>
#include <gmock/gmock.h>
#include <limits>
#include <string>

using testing::ElementsAre;
using testing::IsEmpty;

namespace {

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

} // namespace
