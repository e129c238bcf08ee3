// The selection in the widget tree: selecting, what can be selected, and moving on.
#include "widgets/widget.h"

#include "tests/widgets/widget_tree.h"

#include <cstdint>
#include <gmock/gmock.h>
#include <ostream>
#include <string>
#include <tuple>
#include <utility>
#include <vector>

using testing::ElementsAre;
using testing::IsEmpty;

namespace {

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

} // namespace
