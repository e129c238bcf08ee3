// The event queue of the rotary encoder's input device.
#pragma once

#include <cstdint>
#include <deque>
#include <linux/input.h>
#include <optional>

namespace sim {

class Encoder {
public:
    /// Queues one relative movement by `steps` and an end-of-report record. The kernel's rotary encoder driver sends
    /// the same types of records.
    void turn(std::int32_t steps);
    void queue(std::uint16_t type, std::uint16_t code, std::int32_t value);
    /// Removes and returns the oldest record, if any.
    std::optional<input_event> next();

private:
    std::deque<input_event> events;
};

} // namespace sim
