// Lines and outlines. Each line is clipped before it is drawn, so invisible pixels cost no time.
#include "graphics/bitmap.h"

#include <algorithm>
#include <cstdlib>

namespace {

/// The integers from first to last, inclusive; empty if last is below first.
struct Range {
    std::int64_t first;
    std::int64_t last;
};

Range common(Range a, Range b)
{
    return {std::max(a.first, b.first), std::min(a.last, b.last)};
}

/// A line projected onto one axis: its start, its direction (+1 or -1) and its length.
struct Axis {
    std::int64_t start;
    std::int64_t direction;
    std::int64_t length;

    Axis(std::int64_t from, std::int64_t to) : start(from), direction(to > from ? 1 : -1), length(std::abs(to - from))
    {}

    /// Returns the distances from the start at which the coordinate is in 0..size-1.
    [[nodiscard]] Range within(std::int64_t size) const
    {
        const std::int64_t toZero = -start * direction;
        const std::int64_t toEnd = toZero + (size - 1) * direction;
        return {std::max<std::int64_t>(std::min(toZero, toEnd), 0), std::min(std::max(toZero, toEnd), length)};
    }
};

/// The distance that Bresenham's line has covered along its shorter axis: after n of its `run` steps, n * rise / run,
/// rounded to the nearest integer (halves up). Both lengths are below 2^32 and rise is at most run, so every product
/// fits in 64 bits.
class Slope {
public:
    Slope(std::int64_t runLength, std::int64_t riseLength)
        : run(static_cast<std::uint64_t>(runLength)), rise(static_cast<std::uint64_t>(riseLength))
    {}

    /// Returns the steps at which the distance along the shorter axis is in `distances`.
    [[nodiscard]] Range stepsIn(Range distances) const
    {
        return {firstStepAt(distances.first), firstStepAt(distances.last + 1) - 1};
    }

    void startAt(std::int64_t step)
    {
        const std::uint64_t numerator = static_cast<std::uint64_t>(step) * rise + run / 2;
        distance = static_cast<std::int64_t>(numerator / std::max<std::uint64_t>(run, 1));
        error = numerator % std::max<std::uint64_t>(run, 1);
    }
    void advance()
    {
        error += rise;
        if (error >= run) {
            error -= run;
            ++distance;
        }
    }
    [[nodiscard]] std::int64_t getDistance() const { return distance; }

private:
    [[nodiscard]] std::int64_t firstStepAt(std::int64_t target) const
    {
        if (target <= 0) {
            return 0;
        }
        if (rise < static_cast<std::uint64_t>(target)) {
            return static_cast<std::int64_t>(run) + 1; // the line ends before this distance
        }
        return static_cast<std::int64_t>((run * static_cast<std::uint64_t>(target) - run / 2 + rise - 1) / rise);
    }

    std::uint64_t run;
    std::uint64_t rise;
    std::int64_t distance = 0;
    /// The remainder of the division by `run` that yields `distance`.
    std::uint64_t error = 0;
};

} // namespace

void Bitmap::drawLine(std::int32_t x0, std::int32_t y0, std::int32_t x1, std::int32_t y1, Pixel value)
{
    plotLine(x0, y0, x1, y1, value);
}

/// Draws the visible pixels of Bresenham's line, in any octant. The coordinates have 64 bits because the right and
/// bottom edges of an outline may lie beyond the 32-bit range.
void Bitmap::plotLine(std::int64_t x0, std::int64_t y0, std::int64_t x1, std::int64_t y1, Pixel value)
{
    const Axis alongX(x0, x1);
    const Axis alongY(y0, y1);
    const bool isSteep = alongY.length > alongX.length;
    const Axis& longer = isSteep ? alongY : alongX;
    const Axis& shorter = isSteep ? alongX : alongY;

    Slope slope(longer.length, shorter.length);
    const Range steps =
        common(longer.within(isSteep ? height : width), slope.stepsIn(shorter.within(isSteep ? width : height)));
    if (isEmpty() || steps.last < steps.first) {
        return;
    }
    slope.startAt(steps.first);
    for (std::int64_t step = steps.first; step <= steps.last; ++step, slope.advance()) {
        const std::int64_t along = longer.start + longer.direction * step;
        const std::int64_t across = shorter.start + shorter.direction * slope.getDistance();
        writableRow(static_cast<std::int32_t>(isSteep ? along : across))[isSteep ? across : along] = value;
    }
}

void Bitmap::drawRect(std::int32_t x, std::int32_t y, std::int32_t w, std::int32_t h, Pixel value)
{
    const std::int64_t right = std::int64_t{x} + w - 1;
    const std::int64_t bottom = std::int64_t{y} + h - 1;
    plotLine(x, y, right, y, value);
    plotLine(right, y, right, bottom, value);
    plotLine(right, bottom, x, bottom, value);
    plotLine(x, bottom, x, y, value);
}
