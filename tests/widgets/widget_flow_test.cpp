// Tests of updates, broadcasts, input and notifications in the widget tree.
#include "widgets/widget.h"

#include "tests/widgets/widget_tree.h"

#include <cstdint>
#include <deque>
#include <functional>
#include <limits>
#include <string>

namespace {

// ---- update and broadcast ----

TEST_F(WidgetTree, UpdateReachesEveryWidgetInOrderAndStoresTheTick)
{
    ProbeWidget grandchild("grandchild", &log);
    a.addChild(grandchild, 0, 0);
    root.dirty = false;
    constexpr std::uint64_t last = std::numeric_limits<std::uint64_t>::max();
    root.update(last);
    const std::string call = ".update(18446744073709551615)";
    EXPECT_EQ(log, (Log{"root" + call, "a" + call, "grandchild" + call, "b" + call, "c" + call}));
    for (const ProbeWidget* widget : {&root, &a, &grandchild, &b, &c}) {
        EXPECT_EQ(widget->tick, last);
    }
    EXPECT_FALSE(root.dirty);
}

TEST_F(WidgetTree, BroadcastReachesEveryWidgetInOrderWithAnUnchangedPayload)
{
    ProbeWidget grandchild("grandchild", &log);
    a.addChild(grandchild, 0, 0);
    root.broadcast(-4, fullPayload);
    EXPECT_EQ(log, (Log{"root.broadcast(-4)", "a.broadcast(-4)", "grandchild.broadcast(-4)", "b.broadcast(-4)",
                        "c.broadcast(-4)"}));
    for (const ProbeWidget* widget : {&a, &grandchild, &b, &c}) {
        EXPECT_EQ(widget->broadcasts, std::vector<EventData>{fullPayload});
    }
}

TEST_F(WidgetTree, UpdateAndBroadcastReachHiddenWidgets)
{
    root.setVisible(false);
    b.setVisible(false);
    root.update(5);
    root.broadcast(9, {});
    EXPECT_EQ(log, (Log{"root.update(5)", "a.update(5)", "b.update(5)", "c.update(5)", "root.broadcast(9)",
                        "a.broadcast(9)", "b.broadcast(9)", "c.broadcast(9)"}));
}

// ---- input ----

TEST_F(WidgetTree, InputIsOfferedInOrderUntilAChildHandlesIt)
{
    for (const InputEvent event : allEvents) {
        const std::string call = ".onInput(" + std::to_string(static_cast<std::uint32_t>(event)) + ')';
        b.handlesInput = false;
        EXPECT_FALSE(root.onInput(event));
        EXPECT_EQ(takeLog(), (Log{"root" + call, "a" + call, "b" + call, "c" + call}));
        b.handlesInput = true;
        EXPECT_TRUE(root.onInput(event));
        EXPECT_EQ(takeLog(), (Log{"root" + call, "a" + call, "b" + call}));
    }
}

TEST_F(WidgetTree, InputIsOfferedToGrandchildrenBeforeTheNextChild)
{
    ProbeWidget grandchild("grandchild", &log);
    a.addChild(grandchild, 0, 0);
    grandchild.handlesInput = true;
    EXPECT_TRUE(root.onInput(InputEvent::Press));
    EXPECT_EQ(log, (Log{"root.onInput(2)", "a.onInput(2)", "grandchild.onInput(2)"}));
}

TEST_F(WidgetTree, AHiddenWidgetReceivesInputButDoesNotOfferItToItsChildren)
{
    ProbeWidget grandchild("grandchild", &log);
    grandchild.handlesInput = true;
    a.addChild(grandchild, 0, 0);
    a.setVisible(false);
    EXPECT_FALSE(root.onInput(InputEvent::Press));
    EXPECT_EQ(takeLog(), (Log{"root.onInput(2)", "a.onInput(2)", "b.onInput(2)", "c.onInput(2)"}));
    root.setVisible(false);
    EXPECT_FALSE(root.onInput(InputEvent::Press));
    EXPECT_EQ(takeLog(), Log{"root.onInput(2)"});
}

TEST_F(WidgetTree, AWidgetHiddenByAChildsHandlerStillOffersTheEventToTheOtherChildren)
{
    a.onCall = [this] { root.setVisible(false); };
    EXPECT_FALSE(root.onInput(InputEvent::Press));
    EXPECT_EQ(takeLog(), (Log{"root.onInput(2)", "a.onInput(2)", "b.onInput(2)", "c.onInput(2)"}));
}

// ---- notifications ----

TEST_F(WidgetTree, NotifyPassesItsArgumentsUnchangedUpToTheRoot)
{
    ProbeWidget grandchild("grandchild", &log);
    a.addChild(grandchild, 0, 0);
    grandchild.notify("sender", 42, fullPayload);
    EXPECT_EQ(log, (Log{"grandchild.notify(sender, 42)", "a.notify(sender, 42)", "root.notify(sender, 42)"}));
    for (const ProbeWidget* widget : {&grandchild, &a, &root}) {
        EXPECT_EQ(widget->notifications, (Notifications{{"sender", 42, fullPayload}}));
    }
}

TEST_F(WidgetTree, ASelectionRequestThatReachesTheRootDeselectsAllWidgets)
{
    root.passesNotificationsOn = false;
    for (ProbeWidget* widget : {&root, &a, &c}) {
        widget->setSelected(true);
    }
    root.passesNotificationsOn = true;
    b.notify("b", notification::selectionRequested, {});
    for (const ProbeWidget* widget : {&root, &a, &b, &c}) {
        EXPECT_FALSE(widget->isSelected()) << widget->name;
    }
}

TEST_F(WidgetTree, OnlyASelectionRequestClearsTheSelection)
{
    a.setSelected(true);
    for (const std::int32_t code : {0, 2, 3, 4, 5, 6, -1, lowest, highest}) {
        b.notify("b", code, {});
        root.notify("root", code, {});
        EXPECT_TRUE(a.isSelected()) << code;
    }
}

TEST_F(WidgetTree, AnOverrideThatDoesNotCallTheBaseEndsTheNotification)
{
    ProbeWidget grandchild("grandchild", &log);
    a.addChild(grandchild, 0, 0);
    c.setSelected(true);
    takeNotifications();
    a.passesNotificationsOn = false;
    grandchild.setSelected(true);
    EXPECT_EQ(a.notifications, (Notifications{{"grandchild", 1, {}}, {"grandchild", 2, {}}}));
    EXPECT_EQ(root.notifications, Notifications());
    EXPECT_TRUE(c.isSelected());
}

TEST_F(WidgetTree, AWidgetRemovedDuringItsSelectionRequestDeselectsItsSubtree)
{
    ProbeWidget grandchild;
    a.addChild(grandchild, 0, 0);
    grandchild.setSelected(true);
    root.passesNotificationsOn = false;
    root.onCall = [this] { root.removeChild(a); };
    a.notify("a", notification::selectionRequested, {});
    EXPECT_EQ(a.parent, nullptr);
    EXPECT_FALSE(grandchild.isSelected());
}

// ---- changes to the tree during a traversal ----

TEST_F(WidgetTree, TraversalReachesSiblingsAddedByHandlers)
{
    struct Traversal {
        const char* call;
        std::function<void(Widget&)> traverse;
    };
    for (const auto& [call, traverse] : {Traversal{"update(1)", [](Widget& top) { top.update(1); }},
                                         Traversal{"broadcast(2)", [](Widget& top) { top.broadcast(2, {}); }},
                                         Traversal{"onInput(2)", [](Widget& top) { top.onInput(InputEvent::Press); }},
                                         Traversal{"draw", [](Widget& top) { top.drawTree(); }},
                                         Traversal{"notify(last, 2)", [](Widget& top) { top.clearSelection(); }}}) {
        SCOPED_TRACE(call);
        Log calls;
        ProbeWidget top("top");
        top.passesNotificationsOn = false;
        ProbeWidget first("first");
        ProbeWidget last("last", &calls);
        std::deque<ProbeWidget> siblings;
        for (Widget* child : {static_cast<Widget*>(&first), static_cast<Widget*>(&last)}) {
            top.addChild(*child, 0, 0);
            child->setSelected(true);
        }
        first.onCall = [&] {
            for (int i = 0; i < 100; ++i) { // enough to reallocate the list of children several times
                top.addChild(siblings.emplace_back("sibling", &calls), 0, 0);
            }
        };
        calls.clear();
        traverse(top);
        ASSERT_EQ(top.children.size(), 102U);
        ASSERT_FALSE(calls.empty());
        EXPECT_EQ(calls.front(), std::string("last.") + call);
        // The siblings are not selected, so clearing the selection sends no notification for them.
        EXPECT_EQ(calls.size(), call == std::string("notify(last, 2)") ? 1U : 101U);
    }
}

TEST(EventData, DefaultConstructionCreatesAnEmptyPayload)
{
    EXPECT_EQ(EventData(), (EventData{"", 0, 0, 0, false}));
}

TEST(InputEvent, EnumeratorsHaveFixedValues)
{
    EXPECT_EQ(static_cast<std::uint32_t>(InputEvent::RotateLeft), 0U);
    EXPECT_EQ(static_cast<std::uint32_t>(InputEvent::RotateRight), 1U);
    EXPECT_EQ(static_cast<std::uint32_t>(InputEvent::Press), 2U);
    EXPECT_EQ(static_cast<std::uint32_t>(InputEvent::Release), 4U);
    EXPECT_EQ(static_cast<std::uint32_t>(InputEvent::LongPress), 5U);
}

} // namespace
