// Widgets for tests: Exposed makes protected fields accessible; ProbeWidget records the calls of its virtual functions.
#pragma once

#include "tests/support/picture.h"
#include "widgets/widget.h"

#include <cstdint>
#include <functional>
#include <ostream>
#include <string>
#include <utility>
#include <vector>

/// Exposes the protected fields that the tests use.
template <typename Base>
class Exposed : public Base {
public:
    using Base::background;
    using Base::Base;
    using Base::children;
    using Base::dirty;
    using Base::name;
    using Base::parent;
    using Base::tick;
    using Base::timeBase;
    using Base::x;
    using Base::y;
};

struct Notification {
    std::string sender;
    std::int32_t code = 0;
    EventData data;

    bool operator==(const Notification&) const = default;
};

using Notifications = std::vector<Notification>;

inline void PrintTo(const Notification& notification, std::ostream* stream)
{
    *stream << notification.code << " from \"" << notification.sender << "\" with {\"" << notification.data.text
            << "\", " << notification.data.intValue << ", " << notification.data.floatValue << ", "
            << notification.data.longValue << ", " << notification.data.flag << '}';
}

/// All fields differ from their defaults.
inline const EventData fullPayload{"payload", -7, 2.5F, std::int64_t{1} << 40, true};

/// The calls that the probe widgets of a test record, in order, such as "b.update(5)".
using Log = std::vector<std::string>;

class ProbeWidget final : public Exposed<Widget> {
public:
    explicit ProbeWidget(std::string widgetName = {}, Log* sharedLog = nullptr) : log(sharedLog)
    {
        name = std::move(widgetName);
    }

    void update(std::uint64_t newTick) override
    {
        record("update(" + std::to_string(newTick) + ')');
        Widget::update(newTick);
    }
    bool onInput(InputEvent event) override
    {
        record("onInput(" + std::to_string(static_cast<std::uint32_t>(event)) + ')');
        return handlesInput || Widget::onInput(event);
    }
    void broadcast(std::int32_t code, EventData data) override
    {
        record("broadcast(" + std::to_string(code) + ')');
        broadcasts.push_back(data);
        Widget::broadcast(code, data);
    }
    void onResize(std::int32_t width, std::int32_t height) override
    {
        record("onResize(" + std::to_string(width) + ", " + std::to_string(height) + ')');
        sizeInOnResize = {surface.getWidth(), surface.getHeight()};
    }
    void draw() override
    {
        record("draw");
        surfaceBeforeDraw = pictureOf(surface);
        surface.drawBitmap(0, 0, bitmapOf(content), false);
    }
    void notify(std::string senderName, std::int32_t code, EventData data) override
    {
        record("notify(" + senderName + ", " + std::to_string(code) + ')');
        notifications.push_back({senderName, code, data});
        if (passesNotificationsOn) {
            Widget::notify(std::move(senderName), code, std::move(data));
        }
    }

    /// True: `onInput` returns true. False: `onInput` calls the base class.
    bool handlesInput = false;
    /// Whether `notify` calls the base class. The program's screen does not call it.
    bool passesNotificationsOn = true;
    /// The picture that `draw` draws.
    Picture content;
    /// Called at the start of every recorded call, but not recursively.
    std::function<void()> onCall;

    Notifications notifications;
    std::vector<EventData> broadcasts;
    Picture surfaceBeforeDraw;
    std::pair<std::int32_t, std::int32_t> sizeInOnResize{-1, -1};

private:
    void record(const std::string& call)
    {
        if (log != nullptr) {
            log->push_back(name + '.' + call);
        }
        const std::function<void()> handler = std::exchange(onCall, nullptr);
        if (handler) {
            handler();
        }
        onCall = handler;
    }

    Log* log;
};

/// The width and height of the widget's surface.
inline std::pair<std::int32_t, std::int32_t> sizeOf(const Widget& widget)
{
    return {widget.getSurface().getWidth(), widget.getSurface().getHeight()};
}
