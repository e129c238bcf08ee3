// A queue of input records.
#include "sim/models/encoder.h"

namespace sim {

void Encoder::turn(std::int32_t steps)
{
    queue(EV_REL, REL_X, steps);
    queue(EV_SYN, SYN_REPORT, 0);
}

void Encoder::queue(std::uint16_t type, std::uint16_t code, std::int32_t value)
{
    input_event event{};
    event.type = type;
    event.code = code;
    event.value = value;
    events.push_back(event);
}

std::optional<input_event> Encoder::next()
{
    if (events.empty()) {
        return std::nullopt;
    }
    const input_event event = events.front();
    events.pop_front();
    return event;
}

} // namespace sim
