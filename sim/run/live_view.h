// Draws the device on a terminal.
#pragma once

#include "sim/run/terminal.h"
#include "sim/session/observation.h"

#include <array>
#include <cstdint>
#include <optional>
#include <string>

namespace sim {

/// How the screen is drawn, which depends on the size of the window and on the terminal's colours.
enum class Detail {
    /// Every pixel in four greys.
    Greys,
    /// Every pixel in black and white.
    Pixels,
    /// One dot for every four pixels.
    Small,
};

[[nodiscard]] Detail detailFor(int columns, int rows, bool hasGreys);

class LiveView {
public:
    explicit LiveView(Terminal& chosenTerminal) : terminal(chosenTerminal) {}

    /// Shows `message` after the state.
    void draw(const Observation& seen, const std::string& message);
    /// Makes the next `draw` redraw everything for the current size of the window.
    void reset();

private:
    void drawScreen(const Screen& screen);
    void drawGreys(const Screen& screen);
    void drawLeds(int row, const std::array<std::uint8_t, LedController::outputCount>& leds);
    [[nodiscard]] std::wstring hint() const;

    Terminal& terminal;
    Detail detail = Detail::Small;
    std::optional<Screen> drawn;
};

} // namespace sim
