// Removes glitches, and orders simultaneous changes.
#pragma once

#include "sim/decode/captured_edge.h"

#include <array>
#include <cstddef>
#include <cstdint>

namespace sim {

/// Delays each edge until it cannot be part of a glitch. Orders simultaneous edges: first the power-off; then edges of
/// the SPI clock and falling edges of SCL; then rising edges of chip select; then all other edges; last, rising edges
/// of SCL and falling edges of chip select.
class EdgeFilter : public EdgeSink {
public:
    /// Pulses that are shorter than `shortestPulse` are glitches, as are pulses of length 0.
    EdgeFilter(CaptureTime shortestPulse, EdgeSink& edgeSink) : shortest(shortestPulse), sink(edgeSink) {}

    void take(const CapturedEdge& edge) override;
    /// Passes on the delayed edges, at the end of the capture.
    void flush();

    /// The number of removed pulses of a line.
    [[nodiscard]] std::uint64_t glitches(Line line) const { return removed[line]; }

private:
    struct Waiting {
        CapturedEdge edge;
        Level before;
    };

    void release(std::size_t count);
    void insert(const CapturedEdge& edge, Level before);

    CaptureTime shortest;
    EdgeSink& sink;
    PerLine<std::uint64_t> removed;
    PerLine<Level> levels{Level::Undefined};
    /// The delayed edges, at most one per line, in the order in which they are passed on.
    std::array<Waiting, lineCount> waiting{};
    std::size_t waitingCount = 0;
};

} // namespace sim
