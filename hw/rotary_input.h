// The rotary encoder, accessed through the Linux input event interface.
#pragma once

#include <cstdint>

class RotaryInput {
public:
    /// Opens /dev/input/event0 in non-blocking mode. Reports a failure on standard error; `readStep` then returns 0.
    void open();
    /// Returns the value of the next queued event, whatever its type: negative or positive for a movement, 0 for a
    /// synchronisation event. Also returns 0 if no event is queued or the read fails. Consumes at most one event per
    /// call, in order.
    [[nodiscard]] std::int32_t readStep();

private:
    // Never closed: in use until the process ends.
    int fd = -1;
};
