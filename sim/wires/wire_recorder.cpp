// Merges the edges of concurrent signals.
#include "sim/wires/wire_recorder.h"

#include <algorithm>

namespace sim {

namespace {

template <typename Signal>
WireTime nextTime(const Signal& signal)
{
    return signal.isOver() ? WireTime::max() : signal.next().time;
}

/// Writes the edges of the signal up to and including `last`.
template <typename Signal>
void write(Signal& signal, WireTime last, VcdWriter& writer)
{
    for (; !signal.isOver() && signal.next().time <= last; signal.advance()) {
        writer.change(signal.next());
    }
}

} // namespace

void WireRecorder::change(WireTime now, Line line, Level level)
{
    writeUntil(origin + now);
    writer.change({origin + now, line, level});
}

void WireRecorder::beginSpi(WireTime now, WireTime duration, std::span<const std::uint8_t> bytes)
{
    writeUntil(origin + now);
    spi.begin(origin + now, duration, bytes);
    write(spi, origin + now, writer); // chip select, before other changes at the same time
}

void WireRecorder::endSpi(WireTime now)
{
    writeUntil(origin + now);
    write(spi, WireTime::max(), writer);
}

void WireRecorder::beginI2c(WireTime now, const I2cTransfer& transfer)
{
    writeUntil(origin + now);
    write(i2c, WireTime::max(), writer);
    i2c.begin(origin + now, transfer);
}

void WireRecorder::turn(WireTime now, std::int32_t steps)
{
    writeUntil(origin + now);
    encoder.turn(origin + now, steps);
}

void WireRecorder::observeUntil(WireTime now)
{
    writeUntil(origin + now);
    writer.observeUntil(origin + now);
}

void WireRecorder::writeUntil(WireTime time)
{
    const WireTime last = time - WireTime(1);
    for (;;) {
        const WireTime spiTime = nextTime(spi);
        const WireTime i2cTime = nextTime(i2c);
        const WireTime encoderTime = nextTime(encoder);
        const WireTime first = std::min({spiTime, i2cTime, encoderTime});
        if (first > last) {
            return;
        }
        if (first == spiTime) {
            write(spi, std::min({i2cTime, encoderTime, last}), writer);
        } else if (first == i2cTime) {
            write(i2c, std::min({spiTime, encoderTime, last}), writer);
        } else {
            write(encoder, std::min({spiTime, i2cTime, last}), writer);
        }
    }
}

} // namespace sim
