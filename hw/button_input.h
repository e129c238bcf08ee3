// The debounced push button.
#pragma once

#include <cstdint>

/// Debounces all 32 lines of GPIO bank 0 at once; a pressed button pulls its line low. A change takes effect at the
/// fourth consecutive poll that reads the new level. Presses and releases stay latched until they are taken or `init`
/// is called. Line numbers are 0 to 31.
class ButtonInput {
public:
    /// Sets every line to released and clears the latches. Does not reset the debounce counters, which all instances
    /// share.
    void init();
    /// Runs one debounce step.
    void poll();

    [[nodiscard]] bool isHeld(int line) const;
    /// Returns whether the line was pressed since the last call.
    [[nodiscard]] bool takePressed(int line);
    /// Returns whether the line was released since the last call.
    [[nodiscard]] bool takeReleased(int line);

private:
    /// The lines pressed since `init`. Currently unused.
    std::uint32_t pressLatch = 0;
    std::uint32_t state = 0;
    std::uint32_t previous = 0;
    std::uint32_t released = 0;
    std::uint32_t pressed = 0;
};
