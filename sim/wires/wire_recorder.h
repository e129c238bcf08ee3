// Records what happens on the board's lines.
#pragma once

#include "sim/wires/encoder_signal.h"
#include "sim/wires/i2c_signal.h"
#include "sim/wires/spi_signal.h"
#include "sim/wires/vcd_writer.h"

#include <cstdint>
#include <span>

namespace sim {

/// Converts transfers and other events into edges, and writes the edges in the order of their times. Times are relative
/// to the creation of the recorder and must not decrease from call to call. The memory use does not grow with the
/// length of the recording.
class WireRecorder {
public:
    /// Continues a recording at the time up to which its lines have been observed.
    WireRecorder(int file, RecordingState& state) : writer(file, state), origin(state.end) {}

    /// An output line or the button changes.
    void change(WireTime now, Line line, Level level);
    void beginSpi(WireTime now, WireTime duration, std::span<const std::uint8_t> bytes);
    void endSpi(WireTime now);
    /// A transfer begins. The previous I2C transfer must have ended.
    void beginI2c(WireTime now, const I2cTransfer& transfer);
    /// The encoder is turned. A turn begins after the previous one has ended.
    void turn(WireTime now, std::int32_t steps);
    /// Records all edges before `now`, and that the lines have been observed up to `now`.
    void observeUntil(WireTime now);
    /// Writes what has been recorded to the file.
    void flush() { writer.flush(); }

private:
    /// Writes the edges before `time`.
    void writeUntil(WireTime time);

    VcdWriter writer;
    WireTime origin;
    SpiSignal spi;
    I2cSignal i2c;
    EncoderSignal encoder;
};

} // namespace sim
