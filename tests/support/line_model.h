// Which pixels a line has, asked pixel by pixel, with ends anywhere.
#pragma once

#include <cstdint>
#include <cstdlib>
#include <ostream>
#include <vector>

/// 64-bit, since the far corners of an outline leave the 32 bits.
struct Point {
    std::int64_t x;
    std::int64_t y;
};

struct Line {
    Point from;
    Point to;
};

inline void PrintTo(const Line& line, std::ostream* stream)
{
    *stream << line.from.x << ", " << line.from.y << " to " << line.to.x << ", " << line.to.y;
}

__extension__ using Wide = __int128;

/// Whether Bresenham's line has moved `across` of `rise` when it has moved `along` of `run`, its longer axis. A half is
/// rounded up.
[[nodiscard]] inline bool isReached(Wide along, Wide run, Wide across, Wide rise)
{
    const bool isWithin = along >= 0 && along <= run;
    return isWithin && (run == 0 ? across == 0 : (2 * along * rise + run) / (2 * run) == across);
}

[[nodiscard]] inline bool meets(const Line& line, std::int32_t x, std::int32_t y)
{
    const auto direction = [](std::int64_t from, std::int64_t to) { return to > from ? 1 : -1; };
    const Wide dx = std::abs(line.to.x - line.from.x);
    const Wide dy = std::abs(line.to.y - line.from.y);
    const std::int64_t movedX = (x - line.from.x) * direction(line.from.x, line.to.x);
    const std::int64_t movedY = (y - line.from.y) * direction(line.from.y, line.to.y);
    return dx >= dy ? isReached(movedX, dx, movedY, dy) : isReached(movedY, dy, movedX, dx);
}

/// From corner to corner, clockwise, begun at (x, y).
[[nodiscard]] inline std::vector<Line> outlineOf(std::int64_t x, std::int64_t y, std::int64_t w, std::int64_t h)
{
    const Point end = {x + w - 1, y + h - 1};
    return {{{x, y}, {end.x, y}}, {{end.x, y}, end}, {end, {x, end.y}}, {{x, end.y}, {x, y}}};
}
