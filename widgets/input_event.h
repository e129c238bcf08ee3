// What the user did with the knob, as every widget receives it.
#pragma once

#include <cstdint>

/// 3 is unused: nothing produces it and nothing tests for it.
enum class InputEvent : std::uint32_t {
    RotateLeft = 0,
    RotateRight = 1,
    Press = 2,
    /// The end of a short press. A long one ends without an event.
    Release = 4,
    /// The knob is still held 1000 iterations after its press.
    LongPress = 5,
};
