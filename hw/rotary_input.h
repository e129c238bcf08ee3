// The rotary encoder, read through the Linux input event interface.
#pragma once

#include <cstdint>

class RotaryInput {
public:
    /// Opens /dev/input/event0, without blocking. A failure is said on standard error; the encoder then never turns.
    void open();
    /// The value of the next queued event, whatever its type: negative or positive for a movement, 0 for none (also
    /// on any failure). Takes one event a call, so a burst is worked off in order.
    [[nodiscard]] std::int32_t readStep();

private:
    // Never closed: it is needed until the process ends.
    int fd = -1;
};
