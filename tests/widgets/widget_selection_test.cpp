// Tests of the selection in the widget tree: selecting, collecting selectable widgets, and moving the selection.
#include "widgets/widget.h"

#include "tests/widgets/widget_tree.h"

#include <cstdint>
#include <string>
#include <tuple>
#include <vector>

namespace {

// ---- selecting ----

TEST_F(WidgetTree, SetSelectedRequestsTheSelectionBeforeTheChangeAndReportsItAfterwards)
{
    std::vector<std::tuple<bool, bool>> seen; // selected and dirty, at each notification
    root.onCall = [&] { seen.emplace_back(a.isSelected(), a.dirty); };
    a.setSelected(true);
    EXPECT_EQ(takeNotifications(), (Notifications{{"a", 1, {}}, {"a", 2, {}}}));
    EXPECT_EQ(seen, (std::vector<std::tuple<bool, bool>>{{false, false}, {true, false}}));
    EXPECT_TRUE(a.dirty);
    EXPECT_FALSE(root.dirty);

    a.dirty = false;
    a.setSelected(false);
    EXPECT_EQ(takeNotifications(), (Notifications{{"a", 2, {}}}));
    EXPECT_EQ(seen.back(), std::tuple(false, false));
    EXPECT_TRUE(a.dirty);
}

TEST_F(WidgetTree, SetSelectedToTheSameValueDoesNothing)
{
    for (const bool value : {false, true}) {
        a.setSelected(value);
        a.dirty = false;
        takeNotifications();
        a.setSelected(value);
        EXPECT_FALSE(a.dirty);
        EXPECT_EQ(root.notifications, Notifications());
    }
}

TEST_F(WidgetTree, SetSelectedFirstDeselectsAllOtherWidgets)
{
    ProbeWidget grandchild("grandchild", &log);
    a.addChild(grandchild, 0, 0);
    grandchild.setSelected(true);
    log.clear();
    c.setSelected(true);
    EXPECT_FALSE(grandchild.isSelected());
    EXPECT_TRUE(c.isSelected());
    EXPECT_EQ(log,
              (Log{"c.notify(c, 1)", "root.notify(c, 1)", "grandchild.notify(grandchild, 2)", "a.notify(grandchild, 2)",
                   "root.notify(grandchild, 2)", "c.notify(c, 2)", "root.notify(c, 2)"}));
    root.setSelected(true);
    EXPECT_TRUE(root.isSelected());
    EXPECT_FALSE(c.isSelected());
}

TEST_F(WidgetTree, ClearSelectionDeselectsEachWidgetBeforeItsChildren)
{
    ProbeWidget grandchild("grandchild", &log);
    a.addChild(grandchild, 0, 0);
    root.passesNotificationsOn = false;
    for (ProbeWidget* widget : {&c, &grandchild, &b, &a, &root, &other}) {
        widget->setSelected(true);
    }
    takeNotifications();
    a.clearSelection();
    EXPECT_EQ(takeNotifications(), (Notifications{{"a", 2, {}}, {"grandchild", 2, {}}}));
    a.setSelected(true);
    takeNotifications();
    root.clearSelection();
    EXPECT_EQ(takeNotifications(), (Notifications{{"root", 2, {}}, {"a", 2, {}}, {"b", 2, {}}, {"c", 2, {}}}));
    EXPECT_TRUE(other.isSelected());
}

TEST_F(WidgetTree, SetSelectableToFalseDeselectsTheWidgetAndToTrueDoesNotSelectIt)
{
    a.setSelectable(true);
    EXPECT_TRUE(a.isSelectable());
    EXPECT_FALSE(a.isSelected());
    EXPECT_FALSE(a.dirty);

    a.setSelected(true);
    a.dirty = false;
    takeNotifications();
    a.setSelectable(true);
    EXPECT_TRUE(a.isSelected());
    EXPECT_FALSE(a.dirty);
    EXPECT_EQ(root.notifications, Notifications());

    a.setSelectable(false);
    EXPECT_FALSE(a.isSelectable());
    EXPECT_FALSE(a.isSelected());
    EXPECT_TRUE(a.dirty);
    EXPECT_EQ(takeNotifications(), (Notifications{{"a", 2, {}}}));
    a.dirty = false;
    a.setSelectable(false);
    EXPECT_FALSE(a.dirty);
    EXPECT_EQ(root.notifications, Notifications());
}

// ---- collecting and moving ----

class Selection : public WidgetTree {
protected:
    Selection()
    {
        a.addChild(a1, 0, 0);
        a.addChild(a2, 0, 0);
    }

    static void makeSelectable(const std::vector<ProbeWidget*>& widgets)
    {
        for (ProbeWidget* widget : widgets) {
            widget->setSelectable(true);
        }
    }
    /// Returns the names of all selected widgets in the tree, concatenated.
    std::string selected() const
    {
        std::string names;
        for (const ProbeWidget* widget : {&root, &a, &a1, &a2, &b, &c}) {
            names += widget->isSelected() ? widget->name : "";
        }
        return names;
    }

    ProbeWidget a1{"a1", &log};
    ProbeWidget a2{"a2", &log};
};

TEST_F(Selection, CollectSelectableListsEachDescendantBeforeItsChildren)
{
    makeSelectable({&root, &a, &a1, &a2, &b, &c});
    EXPECT_EQ(root.collectSelectable(), (Widgets{&a, &a1, &a2, &b, &c}));
    EXPECT_EQ(a.collectSelectable(), (Widgets{&a1, &a2}));
    EXPECT_EQ(c.collectSelectable(), Widgets());
    a.setSelectable(false);
    EXPECT_EQ(root.collectSelectable(), (Widgets{&a1, &a2, &b, &c}))
        << "the children of an unselectable widget must be listed";
}

TEST_F(Selection, CollectSelectableSkipsHiddenWidgetsAndTheirDescendants)
{
    makeSelectable({&a, &a1, &b, &c});
    a.setVisible(false);
    EXPECT_EQ(root.collectSelectable(), (Widgets{&b, &c}));
    EXPECT_EQ(a.collectSelectable(), Widgets());
    a.setVisible(true);
    root.setVisible(false);
    EXPECT_EQ(root.collectSelectable(), Widgets());
    EXPECT_EQ(a.collectSelectable(), Widgets());
}

TEST_F(Selection, MovingForwardWrapsAroundAndMovingBackwardBeyondTheFirstEntrySelectsTheLast)
{
    struct Move {
        const char* before; // the selected widget, "" for none
        std::int32_t step;
        const char* after;
    };
    makeSelectable({&a, &b, &c});
    for (const Move& move :
         {Move{"b", 1, "c"}, Move{"c", 1, "a"}, Move{"a", 1, "b"}, Move{"a", -1, "c"}, Move{"b", -1, "a"},
          Move{"c", -1, "b"}, Move{"b", 0, "b"},
          // A backward step beyond the first entry selects the last; forward steps wrap around.
          Move{"b", -5, "c"}, Move{"a", -2, "c"}, Move{"a", -3, "c"}, Move{"c", -3, "c"}, Move{"c", -2, "a"},
          Move{"c", lowest, "c"}, Move{"a", lowest, "c"}, Move{"a", 7, "b"}, Move{"a", 3, "a"}, Move{"b", 2, "a"},
          Move{"c", 2, "b"}, Move{"c", 3, "c"},
          // The sum of index and step wraps around at 32 bits. A negative sum selects the last entry.
          Move{"a", highest, "b"}, Move{"b", highest, "c"}, Move{"c", highest, "c"}, Move{"c", highest - 1, "c"},
          Move{"b", highest - 1, "b"},
          // Without a selection, a positive step selects the first entry, any other step the last.
          Move{"", 1, "a"}, Move{"", -1, "c"}, Move{"", 0, "c"}, Move{"", 5, "a"}, Move{"", -5, "c"},
          Move{"", highest, "a"}, Move{"", lowest, "c"}}) {
        for (const bool rootIsPlain : {true, false}) {
            SCOPED_TRACE(testing::Message() << '"' << move.before << "\" by " << move.step
                                            << ", root passes notifications on: " << rootIsPlain);
            root.passesNotificationsOn = rootIsPlain;
            root.clearSelection();
            for (ProbeWidget* widget : {&a, &b, &c}) {
                widget->setSelected(widget->name == move.before);
            }
            root.moveSelection(move.step);
            EXPECT_EQ(selected(), move.after);
        }
    }
}

TEST_F(Selection, MoveSelectionDeselectsTheOldEntryBeforeSelectingTheNewOneEvenIfTheyAreTheSame)
{
    makeSelectable({&a, &b});
    b.setSelected(true);
    root.drawTree();
    takeNotifications();
    root.moveSelection(1);
    EXPECT_EQ(takeNotifications(), (Notifications{{"b", 2, {}}, {"a", 1, {}}, {"a", 2, {}}}));
    EXPECT_TRUE(a.dirty);
    EXPECT_TRUE(b.dirty);
    EXPECT_FALSE(c.dirty);
    root.moveSelection(2);
    EXPECT_EQ(takeNotifications(), (Notifications{{"a", 2, {}}, {"a", 1, {}}, {"a", 2, {}}}));
}

TEST_F(Selection, MoveSelectionWithOneCandidateSelectsItOnceAndThenDoesNothing)
{
    for (const std::int32_t step : {1, -1, 0, 7}) {
        b.setSelectable(true);
        root.moveSelection(step);
        EXPECT_EQ(selected(), "b") << step;
        root.drawTree();
        takeNotifications();
        for (const std::int32_t again : {1, -1, 0}) {
            root.moveSelection(again);
        }
        EXPECT_EQ(selected(), "b");
        EXPECT_EQ(root.notifications, Notifications());
        EXPECT_FALSE(root.needsRedraw());
        b.setSelectable(false);
    }
}

TEST_F(Selection, MoveSelectionMovesOnlyTheFirstSelectedEntry)
{
    root.passesNotificationsOn = false;
    makeSelectable({&a, &b, &c});
    a.setSelected(true);
    c.setSelected(true);
    root.moveSelection(1);
    EXPECT_EQ(selected(), "bc");
}

TEST_F(Selection, MoveSelectionIgnoresASelectedWidgetThatIsNotSelectable)
{
    root.passesNotificationsOn = false;
    makeSelectable({&b, &c});
    a.setSelected(true);
    root.moveSelection(1);
    EXPECT_EQ(selected(), "ab");
}

TEST_F(Selection, SelectNextAndSelectPreviousMoveByOne)
{
    makeSelectable({&a, &b, &c});
    root.selectNext();
    EXPECT_EQ(selected(), "a");
    root.selectNext();
    EXPECT_EQ(selected(), "b");
    root.selectPrevious();
    root.selectPrevious();
    EXPECT_EQ(selected(), "c");
}

TEST_F(Selection, MoveSelectionStaysInTheSubtreeOfItsWidget)
{
    makeSelectable({&a, &a1, &a2, &b});
    a2.setSelected(true);
    a.moveSelection(1);
    EXPECT_EQ(selected(), "a1");
}

} // namespace
