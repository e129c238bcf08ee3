// The flows of the widget tree (ticks, input, broadcasts, notifications), the selection, and compositing.
#include "widgets/widget.h"

#include <algorithm>
#include <utility>

// Handlers may add children while a loop over `children` calls them. The loops therefore use indices, which stay valid
// when the vector reallocates.
// NOLINTBEGIN(modernize-loop-convert)

void Widget::update(std::uint64_t newTick)
{
    tick = newTick;
    for (std::size_t i = 0; i < children.size(); ++i) {
        children[i]->update(newTick);
    }
}

bool Widget::onInput(InputEvent event)
{
    if (!visible) {
        return false;
    }
    for (std::size_t i = 0; i < children.size(); ++i) {
        if (children[i]->onInput(event)) {
            return true;
        }
    }
    return false;
}

void Widget::broadcast(std::int32_t code, EventData data)
{
    for (std::size_t i = 0; i < children.size(); ++i) {
        children[i]->broadcast(code, data);
    }
}

void Widget::onResize(std::int32_t /*width*/, std::int32_t /*height*/)
{}

void Widget::draw()
{}

void Widget::notify(std::string senderName, std::int32_t code, EventData data)
{
    if (parent != nullptr) {
        parent->notify(std::move(senderName), code, std::move(data));
    }
    // Checked again: a receiver may have removed this widget from its tree.
    if (parent == nullptr && code == notification::selectionRequested) {
        clearSelection();
    }
}

void Widget::setPosition(std::int32_t newX, std::int32_t newY)
{
    x = newX;
    y = newY;
    if (parent != nullptr) {
        parent->markDirty();
    }
}

void Widget::setSize(std::int32_t width, std::int32_t height)
{
    surface.resize(width, height);
    onResize(width, height);
    markDirty();
}

void Widget::addChild(Widget& child, std::int32_t childX, std::int32_t childY, std::int32_t width, std::int32_t height)
{
    if (child.parent != nullptr) {
        child.parent->removeChild(child);
    }
    children.push_back(&child);
    child.parent = this;
    child.x = childX;
    child.y = childY;
    markDirty();
    if (width != -1 && height != -1) {
        child.setSize(width, height);
        markDirty(); // the child's onResize may have drawn this widget
    }
}

void Widget::removeChild(Widget& child)
{
    const auto found = std::find(children.begin(), children.end(), &child);
    if (found != children.end()) {
        children.erase(found);
        child.parent = nullptr;
        markDirty();
    }
}

void Widget::selectionHasChanged()
{
    notify(name, notification::selectionChanged, {});
    markDirty();
}

void Widget::setSelectable(bool value)
{
    selectable = value;
    if (!value && selected) {
        selected = false;
        selectionHasChanged();
    }
}

void Widget::setSelected(bool value)
{
    if (selected == value) {
        return;
    }
    if (value) {
        notify(name, notification::selectionRequested, {});
    }
    selected = value;
    selectionHasChanged();
}

void Widget::setVisible(bool value)
{
    if (selected) {
        selected = false;
        selectionHasChanged();
    }
    if (parent != nullptr && visible != value) {
        parent->markDirty();
    }
    visible = value;
}

bool Widget::isShown() const
{
    return visible && (parent == nullptr || parent->isShown());
}

std::vector<Widget*> Widget::collectSelectable()
{
    std::vector<Widget*> result;
    for (Widget* child : children) {
        if (child->selectable && child->isShown()) {
            result.push_back(child);
        }
        const std::vector<Widget*> below = child->collectSelectable();
        result.insert(result.end(), below.begin(), below.end());
    }
    return result;
}

void Widget::moveSelection(std::int32_t step)
{
    const std::vector<Widget*> candidates = collectSelectable();
    const auto count = static_cast<std::int32_t>(candidates.size());
    if (count == 0) {
        return;
    }
    if (count == 1) {
        candidates.front()->setSelected(true);
        return;
    }
    const auto current =
        std::find_if(candidates.begin(), candidates.end(), [](Widget* widget) { return widget->selected; });
    if (current == candidates.end()) {
        (step > 0 ? candidates.front() : candidates.back())->setSelected(true);
        return;
    }
    (*current)->setSelected(false);
    // Deliberate: the sum wraps around at 32 bits, and any negative sum selects the last candidate.
    const auto index = static_cast<std::uint32_t>(current - candidates.begin());
    const auto target = static_cast<std::int32_t>(index + static_cast<std::uint32_t>(step));
    candidates[static_cast<std::size_t>(target < 0 ? count - 1 : target % count)]->setSelected(true);
}

void Widget::clearSelection()
{
    setSelected(false);
    for (std::size_t i = 0; i < children.size(); ++i) {
        children[i]->clearSelection();
    }
}

bool Widget::needsRedraw() const
{
    return visible && (dirty || std::any_of(children.begin(), children.end(),
                                            [](const Widget* child) { return child->needsRedraw(); }));
}

void Widget::drawTree()
{
    if (!visible) {
        return;
    }
    surface.fill(background);
    draw();
    for (std::size_t i = 0; i < children.size(); ++i) {
        Widget* const child = children[i];
        if (child->visible) {
            if (child->needsRedraw()) {
                child->drawTree();
            }
            surface.drawBitmap(child->x, child->y, child->surface, false);
        }
    }
    dirty = false;
}

// NOLINTEND(modernize-loop-convert)
