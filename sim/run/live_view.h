// How a running device is laid out on a terminal.
#pragma once

#include "sim/models/screen.h"
#include "sim/run/terminal.h"

#include <array>
#include <cstdint>
#include <optional>
#include <string>

namespace sim {

/// What there is to see of a device at one moment.
struct Snapshot {
    Screen screen{};
    std::array<std::uint8_t, 18> leds{};
    std::uint64_t iteration = 0;
    bool hasDrive = false;
    bool isButtonDown = false;
    bool isScriptRunning = false;
    /// The last thing that the program has to say.
    std::string message{};
    /// What the updater did wrong; empty for nothing.
    std::string violation{};
};

/// How much of the screen a window can show.
enum class Detail {
    /// Every pixel in its grey.
    Greys,
    /// Every pixel, light or dark.
    Pixels,
    /// A dot for four pixels.
    Small,
};

[[nodiscard]] Detail detailFor(int columns, int rows, bool hasGreys);

class LiveView {
public:
    explicit LiveView(Terminal& chosenTerminal) : terminal(chosenTerminal) {}

    void draw(const Snapshot& snapshot);
    /// Draws everything anew the next time, for a window of possibly another size.
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
