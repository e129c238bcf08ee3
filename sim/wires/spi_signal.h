// The edges of one SPI transfer in mode 3.
#pragma once

#include "sim/wires/edge.h"

#include <cstdint>
#include <span>
#include <vector>

namespace sim {

/// Chip select is low for the whole transfer. MOSI changes with the falling edges of the clock, and the receiver
/// samples it at the rising edges; the most significant bit is first.
class SpiSignal {
public:
    /// A transfer without bytes has no edges.
    void begin(WireTime startTime, WireTime transferTime, std::span<const std::uint8_t> transferBytes);

    [[nodiscard]] bool isOver() const { return step == stepCount; }
    /// The next edge; there must be one.
    [[nodiscard]] const Edge& next() const { return edge; }
    void advance();

private:
    void computeEdge();
    [[nodiscard]] WireTime timeOf(std::int64_t quarter) const;

    WireTime start{};
    WireTime duration{};
    std::vector<std::uint8_t> bytes;
    std::int64_t step = 0;
    std::int64_t stepCount = 0;
    std::int64_t quarterCount = 0;
    std::int64_t wholePerQuarter = 0;
    std::int64_t restOfDuration = 0;
    Edge edge{};
};

} // namespace sim
