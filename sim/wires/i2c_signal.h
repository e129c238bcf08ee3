// The edges of one I2C transfer at 100 kHz.
#pragma once

#include "sim/wires/edge.h"

#include <cstdint>
#include <span>
#include <vector>

namespace sim {

/// A transfer as it appears on the bus: start, address, the data bytes, stop.
struct I2cTransfer {
    /// The 7-bit address.
    std::uint8_t address = 0;
    bool isRead = false;
    /// If false, no device acknowledges the address, and no data follows.
    bool isAcknowledged = true;
    std::span<const std::uint8_t> bytes{};

    /// From a free bus until the end of the stop condition.
    [[nodiscard]] WireTime duration() const;
};

/// Every bit takes 10 microseconds, as do the start condition (with the preceding bus free time) and the stop
/// condition. All set-up and hold times are at least those of the standard mode (NXP UM10204, table 10).
class I2cSignal {
public:
    void begin(WireTime startTime, const I2cTransfer& transfer);

    [[nodiscard]] bool isOver() const { return step == stepCount; }
    /// The next edge; there must be one.
    [[nodiscard]] const Edge& next() const { return edge; }
    void advance();

private:
    void computeEdge();

    WireTime start{};
    /// The levels of SDA in the bits of the transfer, including the acknowledge bits.
    std::vector<Level> bits;
    std::size_t step = 0;
    std::size_t stepCount = 0;
    Edge edge{};
};

} // namespace sim
