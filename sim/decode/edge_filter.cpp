// Delays edges by the length of the shortest pulse.
#include "sim/decode/edge_filter.h"

#include <algorithm>

namespace sim {

namespace {

/// The order of simultaneous edges. The clock precedes chip select, so that the last bit of a transfer counts. An
/// undefined level of the reset line comes first: it marks the power-off, at which all lines change.
int rankOf(const CapturedEdge& edge)
{
    if (edge.line == Line::Reset && edge.level == Level::Undefined) {
        return -1;
    }
    const bool rises = edge.level != Level::Low;
    switch (edge.line) {
    case Line::Clock:
        return 0;
    case Line::Scl:
        return rises ? 3 : 0;
    case Line::ChipSelect:
        return rises ? 1 : 3;
    default:
        return 2;
    }
}

bool isBefore(const CapturedEdge& a, const CapturedEdge& b)
{
    return a.time != b.time ? a.time < b.time : rankOf(a) < rankOf(b);
}

} // namespace

void EdgeFilter::take(const CapturedEdge& edge)
{
    std::size_t ready = 0;
    while (ready < waitingCount && waiting[ready].edge.time < edge.time &&
           waiting[ready].edge.time + shortest <= edge.time) {
        ++ready;
    }
    release(ready);
    auto* const end = waiting.begin() + waitingCount;
    auto* const previous =
        std::find_if(waiting.begin(), end, [&](const Waiting& other) { return other.edge.line == edge.line; });
    const Level before = levels[edge.line];
    levels[edge.line] = edge.level;
    if (previous == end) {
        insert(edge, before);
    } else if (previous->before != edge.level) {
        previous->edge.level = edge.level;
    } else {
        ++removed[edge.line];
        std::move(previous + 1, end, previous);
        --waitingCount;
    }
}

void EdgeFilter::insert(const CapturedEdge& edge, Level before)
{
    std::size_t place = waitingCount++;
    for (; place > 0 && isBefore(edge, waiting[place - 1].edge); --place) {
        waiting[place] = waiting[place - 1];
    }
    waiting[place] = {edge, before};
}

void EdgeFilter::flush()
{
    release(waitingCount);
}

void EdgeFilter::release(std::size_t count)
{
    for (std::size_t i = 0; i < count; ++i) {
        sink.take(waiting[i].edge);
    }
    std::move(waiting.begin() + count, waiting.begin() + waitingCount, waiting.begin());
    waitingCount -= count;
}

} // namespace sim
