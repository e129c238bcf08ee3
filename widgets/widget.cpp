// The four flows of the widget tree, the selection, and compositing.
#include "widgets/widget.h"

#include <algorithm>
#include <utility>

void Widget::update(std::uint64_t newTick)
{
    tick = newTick;
    for (Widget* child : children) {
        child->update(newTick);
    }
}

bool Widget::onInput(InputEvent event)
{
    return visible &&
           std::any_of(children.begin(), children.end(), [event](Widget* child) { return child->onInput(event); });
}

void Widget::broadcast(std::int32_t code, EventData data)
{
    for (Widget* child : children) {
        child->broadcast(code, data);
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
    // Asked anew: a receiver may have taken this widget out of its tree.
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
    const std::int64_t target = (current - candidates.begin()) + std::int64_t{step};
    const std::int64_t wrapped = target < 0 ? count - 1 : target % count;
    candidates[static_cast<std::size_t>(wrapped)]->setSelected(true);
}

void Widget::clearSelection()
{
    setSelected(false);
    for (Widget* child : children) {
        child->clearSelection();
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
    for (Widget* child : children) {
        if (child->visible) {
            if (child->needsRedraw()) {
                child->drawTree();
            }
            surface.drawBitmap(child->x, child->y, child->surface, false);
        }
    }
    dirty = false;
}
