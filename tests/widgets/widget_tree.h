// A small tree of probe widgets, for the tests of what a tree of widgets does.
#pragma once

#include "tests/widgets/probe_widget.h"

#include <cstdint>
#include <gtest/gtest.h>
#include <limits>
#include <utility>
#include <vector>

inline constexpr std::int32_t lowest = std::numeric_limits<std::int32_t>::min();
inline constexpr std::int32_t highest = std::numeric_limits<std::int32_t>::max();

inline const std::vector<InputEvent> allEvents = {InputEvent::RotateLeft, InputEvent::RotateRight, InputEvent::Press,
                                                  InputEvent::Release, InputEvent::LongPress};

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
