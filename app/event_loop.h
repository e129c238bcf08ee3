// The main loop: hardware in, events to the screen, frames out.
#pragma once

#include <cstdint>

class ButtonInput;
class DisplayDriver;
class RotaryInput;
class Widget;

/// Everything is timed in iterations of about one millisecond, never by a clock.
class EventLoop {
public:
    /// All of them must outlive the loop and be ready for use; the screen must be at least as large as the display.
    EventLoop(Widget& loopScreen, DisplayDriver& loopDisplay, RotaryInput& loopEncoder, ButtonInput& loopButton);

    [[noreturn]] void run();
    /// One turn of the loop, with the sleep at its end.
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
    /// When the last press was taken.
    std::uint64_t pressIteration = 0;
};
