// The expected events at start-up.
#include "tests/board/expected_events.h"

#include "tests/support/bring_up.h"

#include <algorithm>
#include <array>
#include <cstdio>
#include <iterator>

namespace expected {

Events ledSetUp()
{
    Events events = {"i2c 6C: 2F 00", "i2c 6C: 00 01"};
    for (unsigned reg = 0x14; reg <= 0x25; ++reg) {
        std::array<char, 32> text{};
        std::snprintf(text.data(), text.size(), "i2c 6C: %02X 10", reg);
        events.emplace_back(text.data());
    }
    events.emplace_back("i2c 6C: 01 00 00 00 00 00 00 00 00 00 00 00 00 FF FF FF FF FF FF 00");
    return events;
}

Events displaySetUp()
{
    Events events = Events{"line 7 output", "line 25 output"} + bringUp::resetPulse + bringUp::initialisation +
                    bringUp::addressWindow + bringUp::clearedRam + Events{"command AF"};
    std::erase_if(events, [](const std::string& event) { return event.starts_with("wait "); }); // not on the wires
    return events;
}

} // namespace expected

std::string firstDifference(const Events& actual, const Events& start)
{
    for (std::size_t i = 0; i < start.size(); ++i) {
        const std::string is = i < actual.size() ? actual[i] : "the end";
        if (is != start[i]) {
            return "event " + std::to_string(i) + " is " + is + " instead of " + start[i];
        }
    }
    return "";
}

Events operator+(Events first, const Events& second)
{
    first.insert(first.end(), second.begin(), second.end());
    return first;
}
