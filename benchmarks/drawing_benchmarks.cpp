// Drawing and packing the measured screens: the product's way, and that of each reference.
#include "benchmarks/benchmarks.h"
#include "benchmarks/floor.h"
#include "benchmarks/pixman_screens.h"
#include "benchmarks/screens.h"
#include "hw/frame_packer.h"

#include <algorithm>
#include <benchmark/benchmark.h>
#include <vector>

namespace {

struct Contestants {
    Contestants()
    {
        menu.goToMenu();
        message.goToMessage();
        const Frame menuFrame = menu.render();
        const Frame messageFrame = message.render();
        requireSameFrame("the floor's menu screen", floor.drawMenu(), menuFrame);
        requireSameFrame("the floor's message screen", floor.drawMessage(), messageFrame);
        requireSameFrame("pixman's menu screen", pixman.drawMenu(), menuFrame);
        requireSameFrame("pixman's message screen", pixman.drawMessage(), messageFrame);
    }

    ProductScreen menu;
    ProductScreen message;
    ProductScreen turning;
    Floor floor;
    PixmanScreens pixman;
    Frame frame{};
    std::vector<std::uint8_t> canvas = std::vector<std::uint8_t>(displayWidth * displayHeight);
};

/// `run` is timed.
template <typename Run>
void add(const char* name, Run run)
{
    benchmark::RegisterBenchmark(name, [run](benchmark::State& state) {
        for ([[maybe_unused]] auto _ : state) {
            run();
            benchmark::ClobberMemory();
        }
    });
}

void renderAll(ProductScreen& screen)
{
    screen.markEverythingDirty();
    screen.render();
}

} // namespace

void registerDrawingBenchmarks()
{
    static Contestants all;
    all.turning.goToMessage();
    all.turning.render();

    add("memset of the canvas", [] { std::ranges::fill(all.canvas, std::uint8_t{0}); });
    add("pack of the canvas", [] { packFrame(all.message.widget().getSurface(), all.frame); });
    add("the floor's pack", [] { all.floor.pack(); });
    add("message screen", [] { renderAll(all.message); });
    add("the floor's message screen", [] { all.floor.drawMessage(); });
    add("pixman's message screen", [] { all.pixman.drawMessage(); });
    add("menu screen", [] { renderAll(all.menu); });
    add("the floor's menu screen", [] { all.floor.drawMenu(); });
    add("pixman's menu screen", [] { all.pixman.drawMenu(); });
    add("only the wheel moved", [] {
        all.turning.turnWheel();
        all.turning.render();
    });
}
