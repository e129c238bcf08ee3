// Start-up: builds everything in one place and hands it to the event loop.
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

/// An output of the board whose level this program leaves as it is.
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

// Nothing is caught here: without its GPIO block or its scripts the program cannot go on, and whoever started it is to
// see it end.
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
