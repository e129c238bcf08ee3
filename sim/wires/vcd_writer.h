// Writes a value change dump (IEEE 1364, section 18) with the lines of the board.
#pragma once

#include "sim/wires/edge.h"
#include "sim/wires/recording_state.h"

#include <array>
#include <string_view>

namespace sim {

/// The levels of all lines before the updater starts. The data/command and reset lines are undefined until the updater
/// drives them; pull-up resistors keep the inputs and the I2C bus high.
inline constexpr std::array<Level, lineCount> initialLevels = {
    Level::High,      // cs
    Level::High,      // clk
    Level::Low,       // mosi
    Level::Undefined, // dc
    Level::Undefined, // reset
    Level::High,      // scl
    Level::High,      // sda
    Level::High,      // button
    Level::High,      // encoder_a
    Level::High,      // encoder_b
};

/// Buffers complete lines of text in the state and writes them to the file in blocks. A failure sets `state.error`.
class VcdWriter {
public:
    /// `file` is the descriptor of the file, which the caller closes.
    VcdWriter(int file, RecordingState& recordingState) : descriptor(file), state(recordingState) {}

    /// Writes the declarations, and the initial levels at time 0.
    void begin();
    /// Returns all lines to their initial levels at `time`.
    void restart(WireTime time);
    /// Records a change. Times must not decrease. Has no effect if the line already has this level.
    void change(const Edge& edge);
    /// Records that no line changes between the last change and `time`.
    void observeUntil(WireTime time);
    /// Writes the buffer to the file. If an earlier process was killed while it was writing the buffer, first discards
    /// the incomplete part, except in a pipe.
    void flush();
    /// Records the time up to which the lines have been observed, and writes the buffer to the file.
    void end();

private:
    bool append(std::string_view text);
    void appendChange(const Edge& edge);
    void writeBuffer();
    void discardIncompleteWrite() const;

    int descriptor;
    RecordingState& state;
    std::array<Level, lineCount> levels = initialLevels;
};

} // namespace sim
