// Random operations on random trees: the selection and the drawn picture must match simple models.
#include "widgets/widget.h"

#include "tests/support/drawing_call.h"
#include "tests/widgets/probe_widget.h"

#include <rapidcheck/gtest.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <utility>
#include <vector>

namespace {

std::size_t below(std::size_t end)
{
    return *rc::gen::inRange<std::size_t>(0, end);
}

bool anyBool()
{
    return below(2) == 0;
}

// ---- selection ----

/// In a list of nodes, parents precede their children. The root is node 0 and its own parent.
struct Node {
    std::size_t parent = 0;
    bool visible = true;
    bool selectable = true;
    bool selected = false;
};

/// The selection rules, applied to a flat list of nodes.
struct SelectionModel {
    std::vector<Node> nodes;
    /// True if the root calls Widget::notify, which deselects all widgets on a selection request.
    bool rootIsPlain;

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
        if (!nodes[node].selected && rootIsPlain) {
            for (Node& other : nodes) {
                other.selected = false;
            }
        }
        nodes[node].selected = true;
    }

    void move(std::size_t top, std::int32_t step)
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
        const std::int64_t sum = current + step;
        // The widget adds 32-bit integers, so a sum above the limit becomes negative.
        const bool isNegative = sum < 0 || sum > std::numeric_limits<std::int32_t>::max();
        select(list[static_cast<std::size_t>(isNegative ? count - 1 : sum % count)]);
    }

    [[nodiscard]] std::vector<std::size_t> candidates(std::size_t top) const
    {
        std::vector<std::size_t> result;
        for (std::size_t node = 1; node < nodes.size(); ++node) {
            if (nodes[node].parent == top) {
                if (nodes[node].selectable && isShown(node)) {
                    result.push_back(node);
                }
                const std::vector<std::size_t> children = candidates(node);
                result.insert(result.end(), children.begin(), children.end());
            }
        }
        return result;
    }

    [[nodiscard]] bool isShown(std::size_t node) const
    {
        return nodes[node].visible && (node == 0 || isShown(nodes[node].parent));
    }
};

RC_GTEST_PROP(WidgetProperties, TheSelectionMatchesTheModel, (bool rootIsPlain))
{
    const std::size_t count = 1 + below(10);
    std::vector<ProbeWidget> widgets(count);
    SelectionModel model{std::vector<Node>(count), rootIsPlain};
    for (std::size_t i = 0; i < count; ++i) {
        widgets[i].setSelectable(true);
        if (i > 0) {
            model.nodes[i].parent = below(i);
            widgets[model.nodes[i].parent].addChild(widgets[i], 0, 0);
        }
    }
    widgets[0].passesNotificationsOn = rootIsPlain;

    const std::size_t steps = below(30);
    for (std::size_t i = 0; i < steps; ++i) {
        const std::size_t node = below(count);
        const bool value = anyBool();
        switch (below(8)) {
        case 0:
            widgets[node].setVisible(value);
            model.setVisible(node, value);
            break;
        case 1:
            widgets[node].setSelectable(value);
            model.setSelectable(node, value);
            break;
        case 2:
            widgets[node].setSelected(true);
            model.select(node);
            break;
        default: {
            // Most moves start at the root, as on the program's screen.
            const std::size_t top = below(3) == 0 ? node : 0;
            const auto step = *rc::gen::weightedOneOf<std::int32_t>(
                {{9, rc::gen::inRange(-12, 30)}, {1, rc::gen::arbitrary<std::int32_t>()}});
            widgets[top].moveSelection(step);
            model.move(top, step);
        }
        }
        for (std::size_t n = 0; n < count; ++n) {
            RC_ASSERT(widgets[n].isSelected() == model.nodes[n].selected);
            std::vector<Widget*> expected;
            for (const std::size_t candidate : model.candidates(n)) {
                expected.push_back(&widgets[candidate]);
            }
            RC_ASSERT(widgets[n].collectSelectable() == expected);
        }
    }
}

// ---- compositing ----

/// Draws a diagonal whose value depends on the selection and on `repaint`, so the test detects an outdated surface.
class PaintedWidget final : public Exposed<Widget> {
public:
    void draw() override { surface.drawLine(0, 0, 20, 20, ownValue()); }
    void repaint(Pixel value)
    {
        paint = value;
        markDirty();
    }

    /// Returns the picture of the whole subtree, drawn without cached surfaces.
    [[nodiscard]] model::Raster expectedPicture() const
    {
        model::Raster picture(surface.getWidth(), surface.getHeight(), background);
        picture.drawLine(0, 0, 20, 20, ownValue());
        for (const Widget* child : children) {
            if (child->isVisible()) {
                const auto& painted = static_cast<const PaintedWidget&>(*child);
                picture.drawBitmap(painted.x, painted.y, painted.expectedPicture(), false);
            }
        }
        return picture;
    }
    [[nodiscard]] bool isBelow(const Widget& top) const
    {
        return this == &top || (parent != nullptr && static_cast<const PaintedWidget*>(parent)->isBelow(top));
    }

private:
    [[nodiscard]] Pixel ownValue() const { return selected ? Pixel{3} : paint; }

    Pixel paint = 2;
};

RC_GTEST_PROP(WidgetProperties, ThePictureAfterAnyOperationsEqualsAFullRedraw, ())
{
    constexpr std::size_t count = 7;
    std::vector<PaintedWidget> widgets(count);
    const auto offset = [] { return *rc::gen::inRange<std::int32_t>(-3, 9); };
    const auto size = [] { return *rc::gen::inRange<std::int32_t>(0, 9); };
    PaintedWidget& root = widgets[0];
    root.background = 0;
    root.setSize(12, 10);
    for (std::size_t i = 1; i < count; ++i) {
        widgets[i].setSelectable(anyBool());
        widgets[i].background = *rc::gen::element<Pixel>(0, 1, transparentPixel);
        widgets[below(i)].addChild(widgets[i], offset(), offset(), size(), size());
    }

    const std::size_t steps = below(40);
    for (std::size_t i = 0; i < steps; ++i) {
        PaintedWidget& widget = widgets[1 + below(count - 1)];
        PaintedWidget& parent = widgets[below(count)];
        switch (below(9)) {
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
            widget.setSelected(anyBool());
            break;
        case 4:
            widget.setSelectable(anyBool());
            break;
        case 5:
            root.moveSelection(*rc::gen::inRange<std::int32_t>(-2, 3));
            break;
        case 6:
            widget.repaint(*rc::gen::inRange<Pixel>(0, 3));
            break;
        case 7:
            if (widget.parent != nullptr) {
                widget.parent->removeChild(widget);
            }
            break;
        default:
            if (!parent.isBelow(widget)) {
                const std::int32_t side = anyBool() ? -1 : size();
                parent.addChild(widget, offset(), offset(), side, side);
            }
        }
        // Like the event loop, draws only after some operations, and only if needed.
        if (anyBool()) {
            if (root.needsRedraw()) {
                root.drawTree();
            }
            RC_ASSERT(!root.needsRedraw());
            const model::Raster expected = root.expectedPicture();
            if (rasterOf(root.getSurface()) != expected) {
                RC_FAIL(sideBySide(pictureOf(bitmapOf(expected)), pictureOf(root.getSurface())));
            }
        }
    }
}

} // namespace
