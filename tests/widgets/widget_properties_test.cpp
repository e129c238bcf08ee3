// Random trees and random operations against plain models: moving the selection, and compositing from cached pictures.
#include "widgets/widget.h"

#include "tests/support/picture.h"
#include "tests/widgets/probe_widget.h"

#include <rapidcheck/gtest.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <utility>
#include <vector>

namespace {

// ---- selection ----

/// A node of the model. Nodes are listed parents first; the parent of node 0, the root, is itself.
struct Node {
    std::size_t parent = 0;
    bool visible = true;
    bool selectable = true;
    bool selected = false;
};

/// Selection as it is written down, over a flat list of nodes.
class SelectionModel {
public:
    SelectionModel(std::vector<Node> initialNodes, bool rootIsPlain)
        : nodes(std::move(initialNodes)), plainRoot(rootIsPlain)
    {}

    void setVisible(std::size_t node, bool value)
    {
        nodes[node].visible = value;
        nodes[node].selected = false;
    }

    void setSelectable(std::size_t node, bool value)
    {
        nodes[node].selectable = value;
        nodes[node].selected = nodes[node].selected && value;
    }

    void select(std::size_t node)
    {
        if (!nodes[node].selected && plainRoot) {
            for (Node& other : nodes) {
                other.selected = false;
            }
        }
        nodes[node].selected = true;
    }

    [[nodiscard]] std::vector<std::size_t> candidates(std::size_t top) const
    {
        std::vector<std::size_t> result;
        appendCandidates(top, result);
        return result;
    }

    void move(std::size_t top, std::int64_t step)
    {
        const std::vector<std::size_t> list = candidates(top);
        const auto count = static_cast<std::int64_t>(list.size());
        std::int64_t current = 0;
        while (current < count && !nodes[list[static_cast<std::size_t>(current)]].selected) {
            ++current;
        }
        if (count == 0) {
            return;
        }
        if (count == 1) {
            select(list[0]);
            return;
        }
        if (current == count) {
            select(step > 0 ? list.front() : list.back());
            return;
        }
        nodes[list[static_cast<std::size_t>(current)]].selected = false;
        std::int64_t target = current + step;
        if (target < 0) {
            target = count - 1;
        }
        while (target >= count) {
            target -= count;
        }
        select(list[static_cast<std::size_t>(target)]);
    }

    [[nodiscard]] const std::vector<Node>& all() const { return nodes; }

private:
    [[nodiscard]] bool shown(std::size_t node) const
    {
        return nodes[node].visible && (node == 0 || shown(nodes[node].parent));
    }

    void appendCandidates(std::size_t top, std::vector<std::size_t>& result) const
    {
        for (std::size_t node = 1; node < nodes.size(); ++node) {
            if (nodes[node].parent == top) {
                if (nodes[node].selectable && shown(node)) {
                    result.push_back(node);
                }
                appendCandidates(node, result);
            }
        }
    }

    std::vector<Node> nodes;
    bool plainRoot;
};

std::size_t below(std::size_t end)
{
    return *rc::gen::inRange<std::size_t>(0, end);
}

class Probe final : public ProbeWidget {};

RC_GTEST_PROP(WidgetProperties, MovesTheSelectionAsAPlainModelDoes, (bool rootIsPlain))
{
    const std::size_t count = 1 + below(10);
    std::vector<Node> nodes(count);
    std::vector<Probe> widgets(count);
    for (std::size_t i = 0; i < count; ++i) {
        nodes[i].parent = i == 0 ? 0 : below(i);
        widgets[i].setSelectable(true);
        if (i > 0) {
            widgets[nodes[i].parent].addChild(widgets[i], 0, 0);
        }
    }
    widgets[0].climbs = rootIsPlain;
    SelectionModel model(nodes, rootIsPlain);

    const std::size_t steps = below(30);
    for (std::size_t i = 0; i < steps; ++i) {
        const std::size_t node = below(count);
        switch (below(8)) {
        case 0: {
            const bool value = *rc::gen::arbitrary<bool>();
            widgets[node].setVisible(value);
            model.setVisible(node, value);
            break;
        }
        case 1: {
            const bool value = *rc::gen::arbitrary<bool>();
            widgets[node].setSelectable(value);
            model.setSelectable(node, value);
            break;
        }
        case 2:
            widgets[node].setSelected(true);
            model.select(node);
            break;
        default: {
            // Mostly from the root, as the screen does, and otherwise within a subtree.
            const std::size_t top = below(3) == 0 ? node : 0;
            const auto step = *rc::gen::inRange<std::int32_t>(-12, 30);
            widgets[top].moveSelection(step);
            model.move(top, step);
        }
        }
        for (std::size_t n = 0; n < count; ++n) {
            RC_ASSERT(widgets[n].isSelected() == model.all()[n].selected);
            std::vector<Widget*> expected;
            for (const std::size_t candidate : model.candidates(n)) {
                expected.push_back(&widgets[candidate]);
            }
            RC_ASSERT(widgets[n].collectSelectable() == expected);
        }
    }
}

// ---- compositing ----

/// Its picture tells its selection and its paint, so a picture that was kept too long shows.
class PaintedWidget final : public Widget {
public:
    void draw() override
    {
        for (std::int32_t i = 0; i < std::max(surface.getWidth(), surface.getHeight()); ++i) {
            surface.fillRect(i, i, 1, 1, selected ? 3 : paint);
        }
    }
    void repaint(Pixel value)
    {
        paint = value;
        markDirty();
    }

    using Widget::background;

    /// What the whole subtree looks like when nothing is kept from an earlier drawing.
    [[nodiscard]] Bitmap freshPicture() const
    {
        Bitmap picture(surface.getWidth(), surface.getHeight());
        for (std::int32_t row = 0; row < picture.getHeight(); ++row) {
            for (std::int32_t column = 0; column < picture.getWidth(); ++column) {
                const Pixel own = selected ? Pixel{3} : paint;
                picture.fillRect(column, row, 1, 1, column == row ? own : background);
            }
        }
        for (const Widget* child : children) {
            if (child->isVisible()) {
                static_cast<const PaintedWidget*>(child)->paintFreshlyOnto(picture);
            }
        }
        return picture;
    }

private:
    void paintFreshlyOnto(Bitmap& target) const
    {
        const Bitmap picture = freshPicture();
        for (std::int32_t row = 0; row < picture.getHeight(); ++row) {
            for (std::int32_t column = 0; column < picture.getWidth(); ++column) {
                if (picture.pixel(column, row) != transparentPixel) {
                    target.fillRect(x + column, y + row, 1, 1, picture.pixel(column, row));
                }
            }
        }
    }

    Pixel paint = 2;
};

bool isBelow(const Widget* widget, const Widget* top)
{
    while (widget != nullptr && widget != top) {
        widget = widget->getParent();
    }
    return widget == top;
}

RC_GTEST_PROP(WidgetProperties, ShowsAfterAnyOperationsWhatAFullRedrawWouldShow, ())
{
    constexpr std::size_t count = 7;
    std::vector<PaintedWidget> widgets(count);
    const auto offset = [] { return *rc::gen::inRange<std::int32_t>(-3, 9); };
    const auto size = [] { return *rc::gen::inRange<std::int32_t>(0, 9); };
    PaintedWidget& root = widgets[0];
    root.background = 0;
    root.setSize(12, 10);
    for (std::size_t i = 1; i < count; ++i) {
        widgets[i].setSelectable(*rc::gen::arbitrary<bool>());
        widgets[i].background = *rc::gen::element<Pixel>(0, 1, transparentPixel);
        widgets[below(i)].addChild(widgets[i], offset(), offset(), size(), size());
    }

    const std::size_t steps = below(40);
    for (std::size_t i = 0; i < steps; ++i) {
        PaintedWidget& widget = widgets[1 + below(count - 1)];
        switch (below(10)) {
        case 0:
            widget.setVisible(!widget.isVisible());
            break;
        case 1:
            widget.setPosition(offset(), offset());
            break;
        case 2:
            widget.setSize(size(), size());
            break;
        case 3:
            widget.setSelected(*rc::gen::arbitrary<bool>());
            break;
        case 4:
            widget.setSelectable(*rc::gen::arbitrary<bool>());
            break;
        case 5:
            root.moveSelection(*rc::gen::inRange<std::int32_t>(-2, 3));
            break;
        case 6:
            widget.repaint(*rc::gen::inRange<Pixel>(0, 3));
            break;
        case 7:
            if (widget.getParent() != nullptr) {
                widget.getParent()->removeChild(widget);
            }
            break;
        case 8: {
            PaintedWidget& parent = widgets[below(count)];
            if (!isBelow(&parent, &widget)) {
                parent.addChild(widget, offset(), offset());
            }
            break;
        }
        default: {
            PaintedWidget& parent = widgets[below(count)];
            if (!isBelow(&parent, &widget)) {
                parent.addChild(widget, offset(), offset(), size(), size());
            }
        }
        }
        // As the event loop draws: only now and then, and only when there is a need.
        if (below(2) == 0) {
            if (root.needsRedraw()) {
                root.drawTree();
            }
            RC_ASSERT(!root.needsRedraw());
            const Picture expected = pictureOf(root.freshPicture());
            const Picture actual = pictureOf(root.getSurface());
            if (expected != actual) {
                RC_FAIL(sideBySide(expected, actual));
            }
        }
    }
}

} // namespace
