// Base of every screen element: a picture of its own, and a place in the widget tree.
#pragma once

#include "graphics/bitmap.h"
#include "widgets/event_data.h"
#include "widgets/input_event.h"

#include <cstdint>
#include <string>
#include <vector>

/// The notification codes of the toolkit itself; buttons send codes of their owner's choosing.
namespace notification {
/// Sent by a widget that is about to become selected.
inline constexpr std::int32_t selectionRequested = 1;
/// Sent by a widget whose selection has changed, either way.
inline constexpr std::int32_t selectionChanged = 2;
} // namespace notification

/// A node of the widget tree.
///
/// Ticks and broadcasts go down the tree to every widget, input goes down until a widget takes it, notifications climb
/// up to the root. A widget renders into its own surface, which its parent composites; the root's surface is what the
/// display shows. Tree links own nothing: whoever creates a widget keeps it alive while it is in a tree.
class Widget {
public:
    Widget() = default;
    Widget(const Widget&) = delete;
    Widget& operator=(const Widget&) = delete;
    // Not virtual, deliberately: widgets are members or locals and are never deleted through a base pointer.
    ~Widget() = default;

    /// Called once per iteration with its number.
    virtual void update(std::uint64_t newTick);
    /// Returns whether this widget or one below it took the event.
    virtual bool onInput(InputEvent event);
    virtual void broadcast(std::int32_t code, EventData data);
    /// Called after the surface took its new size.
    virtual void onResize(std::int32_t width, std::int32_t height);
    /// Renders the widget's own content, no children, onto the surface, which was filled with the background before.
    virtual void draw();
    /// `senderName` is the name of the widget that sent the notification.
    virtual void notify(std::string senderName, std::int32_t code, EventData data);

    /// Stores the link only; `addChild` is what puts a widget into a tree.
    void setParent(Widget* newParent) { parent = newParent; }
    void setPosition(std::int32_t newX, std::int32_t newY);
    void setSize(std::int32_t width, std::int32_t height);
    /// Takes the child from its old parent, if any, and puts it last, that is on top. A width or height of -1 keeps
    /// the child's size.
    void addChild(Widget& child, std::int32_t childX, std::int32_t childY, std::int32_t width = -1,
                  std::int32_t height = -1);
    /// Does nothing when `child` is not a child of this widget.
    void removeChild(Widget& child);

    void setSelectable(bool value);
    /// Asks for the selection first (the root of a plain tree answers by clearing every other one).
    void setSelected(bool value);
    /// Always leaves the widget unselected, also when it is being shown: select it after showing it.
    void setVisible(bool value);
    void markDirty() { dirty = true; }

    [[nodiscard]] bool isSelectable() const { return selectable; }
    [[nodiscard]] bool isSelected() const { return selected; }
    [[nodiscard]] bool isVisible() const { return visible; }
    /// Whether the widget and all its ancestors are visible.
    [[nodiscard]] bool isShown() const;

    /// The selectable, shown widgets below this one, every widget before its children.
    [[nodiscard]] std::vector<Widget*> collectSelectable();
    /// Moves the selection among `collectSelectable()`. Forward it wraps around; backward, any step below the first
    /// lands on the last. With nothing selected, a forward step selects the first, any other the last.
    void moveSelection(std::int32_t step);
    void selectPrevious() { moveSelection(-1); }
    void selectNext() { moveSelection(1); }
    /// Deselects this widget and all below it.
    void clearSelection();

    /// Whether a shown widget of this subtree has to be rendered again.
    [[nodiscard]] bool needsRedraw() const;
    /// Renders this widget, and those below that need it, and composites the visible ones onto the surface.
    void drawTree();

    /// Iterations per second. Nothing reads it; it is a setting of the toolkit for widgets to come.
    static void setTimeBase(std::uint32_t value) { timeBase = value; }
    [[nodiscard]] static std::uint32_t getTimeBase() { return timeBase; }

    [[nodiscard]] Widget* getParent() const { return parent; }
    [[nodiscard]] const Bitmap& getSurface() const { return surface; }
    [[nodiscard]] std::int32_t getX() const { return x; }
    [[nodiscard]] std::int32_t getY() const { return y; }
    [[nodiscard]] const std::vector<Widget*>& getChildren() const { return children; }
    [[nodiscard]] const std::string& getName() const { return name; }
    [[nodiscard]] std::uint64_t getTick() const { return tick; }
    [[nodiscard]] bool isDirty() const { return dirty; }

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
    /// Told to the receivers of this widget's notifications.
    std::string name;
    std::uint64_t tick = 0;
    bool dirty = true;

private:
    void selectionHasChanged();

    static inline std::uint32_t timeBase = 20;
};
