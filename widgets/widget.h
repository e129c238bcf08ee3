// Base class of every screen element: a surface and a place in the widget tree.
#pragma once

#include "graphics/bitmap.h"
#include "widgets/event_data.h"
#include "widgets/input_event.h"

#include <cstdint>
#include <string>
#include <vector>

/// The notification codes of the toolkit. The owner of a button chooses the button's codes.
namespace notification {
/// Sent by a widget that is about to become selected.
inline constexpr std::int32_t selectionRequested = 1;
/// Sent by a widget after it has been selected or deselected.
inline constexpr std::int32_t selectionChanged = 2;
} // namespace notification

/// A node of the widget tree.
///
/// Ticks and broadcasts go down the tree to every widget; input goes down until a widget handles it; notifications go
/// up to the root. A widget draws onto its own surface, and its parent composites the surfaces; the display shows
/// the root's surface. The tree does not own its widgets: a widget's creator must keep it alive while it is in a tree.
class Widget {
public:
    Widget() = default;
    Widget(const Widget&) = delete;
    Widget& operator=(const Widget&) = delete;
    // Deliberately not virtual: widgets are members or locals and are never deleted through a base pointer.
    ~Widget() = default;

    /// Called once per iteration with the iteration number.
    virtual void update(std::uint64_t newTick);
    /// Returns whether this widget or a descendant handled the event. Children of a hidden widget do not receive it.
    virtual bool onInput(InputEvent event);
    virtual void broadcast(std::int32_t code, EventData data);
    /// Called after the surface has been resized.
    virtual void onResize(std::int32_t width, std::int32_t height);
    /// Draws the widget's own content, without children, onto the surface, which contains the background at this point.
    virtual void draw();
    /// `senderName` is the name of the widget that sent the notification.
    virtual void notify(std::string senderName, std::int32_t code, EventData data);

    /// Only stores the link; `addChild` adds a widget to a tree.
    void setParent(Widget* newParent) { parent = newParent; }
    void setPosition(std::int32_t newX, std::int32_t newY);
    void setSize(std::int32_t width, std::int32_t height);
    /// Removes the child from its current parent, if any, and appends it, so it is drawn on top. A width or height of
    /// -1 keeps the child's size.
    void addChild(Widget& child, std::int32_t childX, std::int32_t childY, std::int32_t width = -1,
                  std::int32_t height = -1);
    /// Does nothing if `child` is not a child of this widget.
    void removeChild(Widget& child);

    void setSelectable(bool value);
    /// Sends `selectionRequested` before the widget is selected; at the root, `Widget::notify` then deselects all
    /// widgets of the tree.
    void setSelected(bool value);
    /// Always deselects the widget, even if `value` is true, so select a widget after showing it.
    void setVisible(bool value);
    void markDirty() { dirty = true; }

    [[nodiscard]] bool isSelectable() const { return selectable; }
    [[nodiscard]] bool isSelected() const { return selected; }
    [[nodiscard]] bool isVisible() const { return visible; }
    /// Returns whether the widget and all its ancestors are visible.
    [[nodiscard]] bool isShown() const;

    /// Returns the descendants that are selectable and shown, each widget before its children.
    [[nodiscard]] std::vector<Widget*> collectSelectable();
    /// Moves the selection by `step` entries of `collectSelectable()`. Forward steps wrap around; a backward step
    /// beyond the first entry selects the last. Without a selection, a positive step selects the first entry, and any
    /// other step selects the last.
    void moveSelection(std::int32_t step);
    void selectPrevious() { moveSelection(-1); }
    void selectNext() { moveSelection(1); }
    /// Deselects this widget and all its descendants.
    void clearSelection();

    /// Returns whether a visible widget of this subtree must be drawn again.
    [[nodiscard]] bool needsRedraw() const;
    /// If this widget is visible, draws it and the descendants that must be drawn again, and composites the visible
    /// descendants onto its surface.
    void drawTree();

    /// Iterations per second. Currently unused.
    static void setTimeBase(std::uint32_t value) { timeBase = value; }

    [[nodiscard]] const Bitmap& getSurface() const { return surface; }

protected:
    Widget* parent = nullptr;
    Bitmap surface;
    Pixel background = transparentPixel;
    std::int32_t x = 0;
    std::int32_t y = 0;
    bool selectable = false;
    bool selected = false;
    bool visible = true;
    std::vector<Widget*> children;
    /// Passed to receivers as `senderName`.
    std::string name;
    /// The number of the last iteration.
    std::uint64_t tick = 0;
    /// True if the surface must be drawn again.
    bool dirty = true;

    static inline std::uint32_t timeBase = 20;

private:
    void selectionHasChanged();
};
