// A change of one line, and the interface that receives such changes.
#pragma once

#include "sim/wires/line.h"

#include <array>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <string_view>

namespace sim {

/// Picoseconds are precise enough for the sampling rates of logic analysers, and cover 106 days.
using CaptureTime = std::chrono::duration<std::int64_t, std::pico>;

/// On SPI and I2C, without the acknowledge bit.
inline constexpr int bitsPerByte = 8;

struct CapturedEdge {
    CaptureTime time;
    Line line;
    /// The level after the change. The first edge of a line is not a change: it contains the initial level.
    Level level;

    bool operator==(const CapturedEdge&) const = default;
};

/// Why an SPI transfer or an I2C message is incomplete.
enum class CutOff : std::uint8_t { CaptureBegins, CaptureEnds, PowerEnds };

[[nodiscard]] constexpr std::string_view textOf(CutOff reason)
{
    constexpr std::array<std::string_view, 3> texts = {"the capture begins", "the capture ends",
                                                       "the power is switched off"};
    return texts[static_cast<std::size_t>(reason)];
}

/// One value for each line.
template <typename Value>
class PerLine {
public:
    PerLine() = default;
    explicit PerLine(const Value& initial) { values.fill(initial); }

    Value& operator[](Line line) { return values[static_cast<std::size_t>(line)]; }
    const Value& operator[](Line line) const { return values[static_cast<std::size_t>(line)]; }

private:
    std::array<Value, lineCount> values{};
};

class EdgeSink {
public:
    EdgeSink() = default;
    EdgeSink(const EdgeSink&) = delete;
    EdgeSink& operator=(const EdgeSink&) = delete;
    virtual ~EdgeSink() = default;

    /// The times of successive edges never decrease.
    virtual void take(const CapturedEdge& edge) = 0;
};

} // namespace sim
