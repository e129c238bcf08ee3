// A fixture with a small tree of probe widgets.
#pragma once

#include "tests/widgets/probe_widget.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <limits>
#include <utility>
#include <vector>

inline constexpr std::int32_t lowest = std::numeric_limits<std::int32_t>::min();
inline constexpr std::int32_t highest = std::numeric_limits<std::int32_t>::max();

/// Includes the unused value 3.
inline const std::vector<InputEvent> allEvents = {InputEvent::RotateLeft, InputEvent::RotateRight, InputEvent::Press,
                                                  InputEvent::Release,    InputEvent::LongPress,   InputEvent{3}};

using Widgets = std::vector<Widget*>;

/// A root with the children a, b and c. All have been drawn and are not dirty. `other` is outside the tree.
class WidgetTree : public testing::Test {
protected:
    WidgetTree()
    {
        for (ProbeWidget* child : {&a, &b, &c}) {
            root.addChild(*child, 0, 0);
        }
        root.drawTree();
        other.drawTree();
        log.clear();
    }

    Log takeLog() { return std::exchange(log, {}); }
    Notifications takeNotifications() { return std::exchange(root.notifications, {}); }

    Log log;
    ProbeWidget root{"root", &log};
    ProbeWidget a{"a", &log};
    ProbeWidget b{"b", &log};
    ProbeWidget c{"c", &log};
    ProbeWidget other{"other", &log};
};
