// The main loop: polls the hardware, passes events to the screen, and sends frames to the display.
#pragma once

#include <cstdint>

class ButtonInput;
class DisplayDriver;
class RotaryInput;
class Widget;

/// Measures all times in iterations of about one millisecond; reads no clock.
class EventLoop {
public:
    /// The arguments must be initialised and outlive the loop. The screen must be at least as large as the display.
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
