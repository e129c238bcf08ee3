// Numbers the edges of a transfer and computes each from its number.
#include "sim/wires/spi_signal.h"

namespace sim {

namespace {

constexpr std::int64_t bitsPerByte = 8;
constexpr std::int64_t quartersPerBit = 4;
/// The change of MOSI, and the falling and the rising edge of the clock.
constexpr std::int64_t stepsPerBit = 3;

} // namespace

void SpiSignal::begin(WireTime startTime, WireTime transferTime, std::span<const std::uint8_t> transferBytes)
{
    start = startTime;
    duration = transferTime;
    bytes.assign(transferBytes.begin(), transferBytes.end());
    const auto bitCount = static_cast<std::int64_t>(bytes.size()) * bitsPerByte;
    stepCount = bytes.empty() ? 0 : bitCount * stepsPerBit + 2; // plus the edges of chip select
    step = 0;
    if (!bytes.empty()) {
        quarterCount = bitCount * quartersPerBit;
        wholePerQuarter = duration.count() / quarterCount;
        restOfDuration = duration.count() % quarterCount;
    }
    computeEdge();
}

void SpiSignal::advance()
{
    ++step;
    computeEdge();
}

void SpiSignal::computeEdge()
{
    if (isOver()) {
        return;
    }
    if (step == 0 || step == stepCount - 1) {
        edge = {step == 0 ? start : start + duration, Line::ChipSelect, step == 0 ? Level::Low : Level::High};
        return;
    }
    const std::int64_t bit = (step - 1) / stepsPerBit;
    const std::int64_t part = (step - 1) % stepsPerBit;
    const auto byte = static_cast<unsigned>(bytes[static_cast<std::size_t>(bit / bitsPerByte)]);
    const bool isOne = (byte >> (bitsPerByte - 1 - bit % bitsPerByte) & 1U) != 0;
    switch (part) {
    case 0:
        edge = {timeOf(quartersPerBit * bit + 1), Line::Mosi, isOne ? Level::High : Level::Low};
        return;
    case 1:
        edge = {edge.time, Line::Clock, Level::Low};
        return;
    default:
        edge = {timeOf(quartersPerBit * bit + 3), Line::Clock, Level::High};
        return;
    }
}

/// The time after `quarter` quarters of a bit. Divides before multiplying, so that long transfers do not overflow.
WireTime SpiSignal::timeOf(std::int64_t quarter) const
{
    return start + WireTime(wholePerQuarter * quarter + restOfDuration * quarter / quarterCount);
}

} // namespace sim
