// The lines between the board and its display, LEDs and front panel, as a logic analyser records them.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <string_view>

namespace sim {

enum class Line : std::uint8_t {
    ChipSelect,
    Clock,
    Mosi,
    DataCommand,
    Reset,
    Scl,
    Sda,
    Button,
    EncoderA,
    EncoderB,
};

inline constexpr std::size_t lineCount = 10;

/// The names of the lines in a recording, in the order of `Line`.
inline constexpr std::array<std::string_view, lineCount> lineNames = {
    "cs", "clk", "mosi", "dc", "reset", "scl", "sda", "button", "encoder_a", "encoder_b",
};

/// The level of a line. It is undefined until something drives the line.
enum class Level : std::uint8_t { Low, High, Undefined };

[[nodiscard]] constexpr std::string_view nameOf(Line line)
{
    return lineNames[static_cast<std::size_t>(line)];
}

} // namespace sim
