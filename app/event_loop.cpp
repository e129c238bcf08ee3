// One iteration of the main loop.
#include "app/event_loop.h"

#include "hw/button_input.h"
#include "hw/display_driver.h"
#include "hw/rotary_input.h"
#include "widgets/widget.h"

#include <unistd.h>

namespace {

constexpr int buttonLine = 6;

// In iterations.
constexpr std::uint64_t buttonPollPeriod = 10;
constexpr std::uint64_t redrawPeriod = 20;
constexpr std::uint64_t longPressDuration = 1000;

constexpr unsigned sleepMicroseconds = 1000;

} // namespace

EventLoop::EventLoop(Widget& loopScreen, DisplayDriver& loopDisplay, RotaryInput& loopEncoder, ButtonInput& loopButton)
    : screen(loopScreen), display(loopDisplay), encoder(loopEncoder), button(loopButton)
{}

void EventLoop::run()
{
    for (;;) {
        iterate();
    }
}

void EventLoop::iterate()
{
    ++iteration;
    screen.update(iteration);
    if (iteration % buttonPollPeriod == 0) {
        button.poll();
    }
    handleEncoder();
    handleButton();
    if (iteration % redrawPeriod == 0) {
        redraw();
    }
    usleep(sleepMicroseconds);
}

void EventLoop::handleEncoder()
{
    const std::int32_t step = encoder.readStep();
    if (step != 0) {
        screen.onInput(step < 0 ? InputEvent::RotateLeft : InputEvent::RotateRight);
    }
}

void EventLoop::handleButton()
{
    if (button.takePressed(buttonLine)) {
        screen.onInput(InputEvent::Press);
        pressIteration = iteration;
    }
    if (button.isHeld(buttonLine) && iteration - pressIteration == longPressDuration) {
        screen.onInput(InputEvent::LongPress);
    }
    if (button.takeReleased(buttonLine) && iteration - pressIteration < longPressDuration) {
        screen.onInput(InputEvent::Release);
    }
}

void EventLoop::redraw()
{
    if (screen.needsRedraw()) {
        screen.drawTree();
        display.sendFrame(screen.getSurface());
    }
}
