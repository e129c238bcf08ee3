// The main loop: reads the hardware, sends events to the screen and frames to the display.
#pragma once

#include <cstdint>

class ButtonInput;
class DisplayDriver;
class RotaryInput;
class Widget;

/// All times are counted in iterations of about one millisecond, without a clock.
class EventLoop {
public:
    /// The arguments must be initialised and outlive the loop; the screen must be at least as large as the display.
    EventLoop(Widget& loopScreen, DisplayDriver& loopDisplay, RotaryInput& loopEncoder, ButtonInput& loopButton);

    [[noreturn]] void run();
    /// Runs one iteration, including the sleep at its end.
    void iterate();

private:
    void handleEncoder();
    void handleButton();
    void redraw();

    Widget& screen;
    DisplayDriver& display;
    RotaryInput& encoder;
    ButtonInput& button;
    std::uint64_t iteration = 0;
    /// The iteration of the last press.
    std::uint64_t pressIteration = 0;
};
