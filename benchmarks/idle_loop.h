// The whole program at rest, but for its scripts and its drive.
#pragma once

#include "app/event_loop.h"
#include "benchmarks/screens.h"
#include "hw/button_input.h"
#include "hw/display_driver.h"
#include "hw/rotary_input.h"

class IdleLoop {
public:
    enum class Screen { waiting, menu };

    /// Goes to the screen, which is drawn.
    explicit IdleLoop(Screen shown)
    {
        if (shown == Screen::menu) {
            screen.goToMenu();
        }
        encoder.open();
        button.init();
        screen.widget().drawTree();
    }

    /// Brings the display up, which takes a third of a second.
    void openDisplay() { display.open(0, 0, 12500000, 7, 25); }
    void iterate() { loop.iterate(); }

private:
    ProductScreen screen;
    DisplayDriver display;
    RotaryInput encoder;
    ButtonInput button;
    EventLoop loop{screen.widget(), display, encoder, button};
};
