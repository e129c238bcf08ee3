// The edges of the rotary encoder's two contacts.
#pragma once

#include "sim/wires/edge.h"

#include <cstdint>
#include <deque>

namespace sim {

/// Each step is one cycle of four edges, 100 microseconds apart. The first contact leads in the positive direction.
class EncoderSignal {
public:
    /// Appends a turn to the turns that have not ended.
    void turn(WireTime time, std::int32_t steps);

    [[nodiscard]] bool isOver() const { return turns.empty(); }
    /// The next edge; there must be one.
    [[nodiscard]] Edge next() const;
    void advance();

private:
    /// The remaining steps of each turn, in order.
    std::deque<std::int32_t> turns;
    /// The number of the next edge in the cycle, 0 to 3.
    std::size_t phase = 0;
    WireTime nextTime{};
};

} // namespace sim
