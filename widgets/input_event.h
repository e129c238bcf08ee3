// User input from the knob, in the form that widgets receive.
#pragma once

#include <cstdint>

/// The value 3 is deliberately unused.
enum class InputEvent : std::uint32_t {
    RotateLeft = 0,
    RotateRight = 1,
    Press = 2,
    /// The knob was released less than 1000 iterations after `Press`. A later release causes no event.
    Release = 4,
    /// The knob is still pressed 1000 iterations after `Press`.
    LongPress = 5,
};
