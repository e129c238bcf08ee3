// Start-up: creates all objects and passes them to the event loop.
#include "app/event_loop.h"
#include "graphics/font.h"
#include "graphics/image_store.h"
#include "hw/button_input.h"
#include "hw/display_driver.h"
#include "hw/gpio_registers.h"
#include "hw/rotary_input.h"
#include "updater/updater.h"

#include <iostream>

namespace {

/// The program makes this GPIO line an output but never changes its level.
constexpr int outputLine = 5;

constexpr int spiBus = 0;
constexpr int spiChipSelect = 0;
constexpr std::uint32_t spiSpeedHz = 12500000;
constexpr int displayDcLine = 7;
constexpr int displayResetLine = 25;

constexpr std::uint32_t iterationsPerSecond = 1000;

void buildFonts()
{
    buildFont("font8", "img/font8", 1, 2, 1);
    buildFont("font16", "img/font8", 2, 4, 2);
    buildFont("font64", "img/font8", 8, 16, 8);
}

} // namespace

// Exceptions are deliberately not caught: if a process cannot be started or the drive cannot be queried, the exception
// ends the program with SIGABRT, so the launcher can detect the failure. If the GPIO block could not be mapped, the
// first register access ends the program with SIGSEGV. A script that is missing or exits with a non-zero status does
// not cause an exception: the updater enters the state `Failed`.
int main()
{
    std::cout << "Starting updater..." << std::endl;
    selectOutput(outputLine);
    buildImageStore();
    buildFonts();

    Updater updater;
    updater.setSize(displayWidth, displayHeight);
    Widget::setTimeBase(iterationsPerSecond);

    DisplayDriver display;
    display.open(spiBus, spiChipSelect, spiSpeedHz, displayDcLine, displayResetLine);
    RotaryInput encoder;
    encoder.open();
    ButtonInput button;
    button.init();

    EventLoop(updater, display, encoder, button).run();
}
