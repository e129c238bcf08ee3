// Debounces with a two-bit vertical counter per line: bit n of debounceCount1 (high) and bit n of debounceCount0 (low)
// form the counter of the consecutive polls at which line n differs from its debounced state.
#include "hw/button_input.h"

#include "hw/gpio_registers.h"

namespace {

std::uint32_t debounceCount0 = 0xFFFFFFFF;
std::uint32_t debounceCount1 = 0xFFFFFFFF;

bool takeBit(std::uint32_t& word, int line)
{
    const std::uint32_t mask = 1U << line;
    const bool wasSet = (word & mask) != 0;
    word &= ~mask;
    return wasSet;
}

} // namespace

void ButtonInput::init()
{
    *this = ButtonInput();
}

void ButtonInput::poll()
{
    const std::uint32_t change = state ^ ~readLevels();
    // While a line differs from its debounced state, its counter (debounceCount1, debounceCount0) counts down: 11, 10,
    // 01, 00. The fourth poll wraps it to 11 and toggles the state. A poll at which the line equals its state resets
    // the counter to 11 without a toggle.
    debounceCount0 = ~(debounceCount0 & change);
    debounceCount1 = debounceCount0 ^ (debounceCount1 & change);
    const std::uint32_t toggle = change & debounceCount0 & debounceCount1;

    state ^= toggle;
    pressLatch |= toggle & state;
    pressed |= state & ~previous;
    released |= previous & ~state;
    previous = state;
}

bool ButtonInput::isHeld(int line) const
{
    return ((state >> line) & 1U) != 0;
}

bool ButtonInput::takePressed(int line)
{
    return takeBit(pressed, line);
}

bool ButtonInput::takeReleased(int line)
{
    return takeBit(released, line);
}
