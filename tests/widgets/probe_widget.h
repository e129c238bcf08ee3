// A widget that writes down everything that reaches it, for the tests of the tree and of its widgets.
#pragma once

#include "tests/support/picture.h"
#include "widgets/widget.h"

#include <cstdint>
#include <ostream>
#include <string>
#include <utility>
#include <vector>

struct Notification {
    std::string sender;
    std::int32_t code = 0;
    EventData data;

    bool operator==(const Notification&) const = default;
};

inline void PrintTo(const Notification& notification, std::ostream* stream)
{
    *stream << notification.code << " from \"" << notification.sender << "\" with {\"" << notification.data.text
            << "\", " << notification.data.intValue << ", " << notification.data.floatValue << ", "
            << notification.data.longValue << ", " << notification.data.flag << '}';
}

/// A payload in which every field differs from an empty one.
inline const EventData fullPayload{"payload", -7, 2.5F, std::int64_t{1} << 40, true};

/// Calls in the order in which they reached the widgets of a test, such as "b.update(5)".
using Log = std::vector<std::string>;

class ProbeWidget : public Widget {
public:
    explicit ProbeWidget(std::string widgetName = {}, Log* sharedLog = nullptr) : log(sharedLog)
    {
        name = std::move(widgetName);
    }

    void update(std::uint64_t newTick) override
    {
        note("update(" + std::to_string(newTick) + ')');
        Widget::update(newTick);
    }
    bool onInput(InputEvent event) override
    {
        note("onInput(" + std::to_string(static_cast<std::uint32_t>(event)) + ')');
        return takesInput || Widget::onInput(event);
    }
    void broadcast(std::int32_t code, EventData data) override
    {
        note("broadcast(" + std::to_string(code) + ')');
        broadcasts.push_back(data);
        Widget::broadcast(code, data);
    }
    void onResize(std::int32_t width, std::int32_t height) override
    {
        note("onResize(" + std::to_string(width) + ", " + std::to_string(height) + ')');
        resizedWhile = {surface.getWidth(), surface.getHeight()};
    }
    void draw() override
    {
        note("draw");
        surfaceBeforeDraw = pictureOf(surface);
        surface.drawBitmap(0, 0, bitmapOf(content), false);
    }
    void notify(std::string senderName, std::int32_t code, EventData data) override
    {
        note("notify(" + senderName + ", " + std::to_string(code) + ')');
        notifications.push_back({senderName, code, data});
        if (climbs) {
            Widget::notify(std::move(senderName), code, std::move(data));
        }
    }

    using Widget::background;

    /// Answers every event with "handled".
    bool takesInput = false;
    /// Hands notifications on to the base, unlike a screen that ends their climb.
    bool climbs = true;
    /// What `draw` shows.
    Picture content;

    std::vector<Notification> notifications;
    std::vector<EventData> broadcasts;
    Picture surfaceBeforeDraw;
    /// The size of the surface when `onResize` was called.
    std::pair<std::int32_t, std::int32_t> resizedWhile{-1, -1};

private:
    void note(const std::string& call)
    {
        if (log != nullptr) {
            log->push_back(name + '.' + call);
        }
    }

    Log* log;
};

/// Draws a widget outside any tree, and with it clears its dirty flag.
inline void settle(Widget& widget)
{
    widget.drawTree();
}
