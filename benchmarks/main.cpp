// Runs every measured operation between marks. count.py runs this program and counts its instructions.
#include "app/event_loop.h"
#include "benchmarks/baseline.h"
#include "benchmarks/counter.h"
#include "benchmarks/growth.h"
#include "benchmarks/pixman_screens.h"
#include "benchmarks/screens.h"
#include "graphics/font.h"
#include "graphics/image_store.h"
#include "hw/button_input.h"
#include "hw/display_driver.h"
#include "hw/frame_packer.h"
#include "hw/gpio_registers.h"
#include "hw/rotary_input.h"

#include <algorithm>
#include <cstdio>
#include <gnu/libc-version.h>
#include <optional>
#include <stdexcept>
#include <string>
#include <vector>

namespace {

void countStartUp()
{
    const Counter counter("start-up", 1);
    buildImageStore();
    buildFont("font8", "img/font8", 1, 2, 1);
    buildFont("font16", "img/font8", 2, 4, 2);
    buildFont("font64", "img/font8", 8, 16, 8);
}

void requireSameFrame(const char* reference, const Frame& actual, const Frame& expected)
{
    if (actual != expected) {
        throw std::runtime_error(std::string(reference) + " differs from the product's screen");
    }
}

void countScreens(SystemCalls& calls)
{
    ProductScreen menu(calls);
    ProductScreen message(calls);
    Baseline baseline;
    PixmanScreens pixman;
    menu.goToMenu();
    message.goToMessage();
    const Frame menuFrame = menu.render();
    const Frame messageFrame = message.render();
    requireSameFrame("baseline menu screen", baseline.drawMenu(), menuFrame);
    requireSameFrame("baseline message screen", baseline.drawMessage(), messageFrame);
    requireSameFrame("pixman menu screen", pixman.drawMenu(), menuFrame);
    requireSameFrame("pixman message screen", pixman.drawMessage(), messageFrame);

    const auto redraw = [](ProductScreen& screen) {
        screen.widget().markAllDirty();
        screen.render();
    };
    countCalls("message screen", [&] { redraw(message); });
    countCalls("baseline message screen", [&] { baseline.drawMessage(); });
    countCalls("pixman message screen", [&] { pixman.drawMessage(); });
    countCalls("menu screen", [&] { redraw(menu); });
    countCalls("baseline menu screen", [&] { baseline.drawMenu(); });
    countCalls("pixman menu screen", [&] { pixman.drawMenu(); });

    Frame frame{};
    std::vector<Pixel> canvas(displayWidth * displayHeight);
    countCalls("pack", [&] { packFrame(message.widget().getSurface(), frame); });
    countCalls("baseline pack", [&] { baseline.pack(); });
    countCalls("wheel only", [&] {
        message.widget().turnWheel();
        message.render();
    });
    countCalls("memset of the canvas", [&] { std::ranges::fill(canvas, Pixel{0}); });
}

/// Runs without the test double, which would add instructions of its own. The encoder is not open, so each read fails
/// immediately, as it does on the device when no event is queued.
void countIdleIterations(Widget& screen)
{
    constexpr std::size_t levels = 13;
    constexpr int iterations = 20;      // with two polls of the button and one check for a redraw
    gpioRegisters[levels] = 0xFFFFFFFF; // no button is pressed
    DisplayDriver display;
    RotaryInput encoder;
    ButtonInput button;
    button.init();
    screen.drawTree();
    EventLoop loop(screen, display, encoder, button);
    const auto iterate = [&loop] {
        for (int i = 0; i < iterations; ++i) {
            loop.iterate();
        }
    };
    countCalls("idle iteration", iterate, iterations);
}

void countAll()
{
    std::fprintf(stderr, "mark: compiler GCC %s, glibc %s\n", __VERSION__, gnu_get_libc_version());
    countCalls("nothing", [] {});
    countStartUp();
    std::optional<SystemCalls> calls(std::in_place);
    calls->setLogging(false);
    countScreens(*calls);
    countGrowth(*calls);
    ProductScreen menu(*calls);
    menu.goToMenu();
    calls.reset();
    countIdleIterations(menu.widget());
}

} // namespace

int main()
{
    try {
        countAll();
        return 0;
    } catch (const std::exception& failure) {
        std::fprintf(stderr, "benchmarks: %s\n", failure.what());
        return 1;
    }
}
