// The change of a line to a level, with its time.
#pragma once

#include "sim/wires/line.h"

#include <chrono>

namespace sim {

/// Time since the start of a recording.
using WireTime = std::chrono::nanoseconds;

struct Edge {
    WireTime time;
    Line line;
    Level level;
};

} // namespace sim
