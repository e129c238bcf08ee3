// Draws the device on a terminal.
#pragma once

#include "sim/models/screen.h"
#include "sim/run/terminal.h"

#include <array>
#include <cstdint>
#include <optional>
#include <string>

namespace sim {

/// The visible state of a device.
struct Snapshot {
    Screen screen{};
    std::array<std::uint8_t, 18> leds{};
    std::uint64_t iteration = 0;
    bool hasDrive = false;
    bool isButtonDown = false;
    bool isScriptRunning = false;
    /// The result of the last command.
    std::string message{};
    /// The last protocol violation; empty for none.
    std::string violation{};
};

/// How the screen is drawn, which depends on the size of the window.
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

    void draw(const Snapshot& snapshot);
    /// Makes the next `draw` redraw everything for the current size of the window.
    void reset();

private:
    void drawScreen(const Screen& screen);
    void drawGreys(const Screen& screen);
    void drawLeds(int row, const std::array<std::uint8_t, 18>& leds);
    [[nodiscard]] std::wstring hint() const;

    Terminal& terminal;
    Detail detail = Detail::Small;
    std::optional<Screen> drawn;
};

} // namespace sim
