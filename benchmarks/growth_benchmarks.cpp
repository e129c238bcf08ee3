// What grows with its input: texts, the output of scripts, trees of widgets.
#include "benchmarks/benchmarks.h"
#include "benchmarks/board.h"
#include "updater/command_runner.h"
#include "widgets/text.h"
#include "widgets/widget.h"

#include <benchmark/benchmark.h>
#include <cstdint>
#include <deque>
#include <string>
#include <string_view>

namespace {

/// A label as high as its text.
void drawLabel(benchmark::State& state)
{
    constexpr std::string_view sentence = "Do not unplug the power.\nThis may take a few minutes, or more of them. ";
    std::string text;
    while (text.size() < static_cast<std::size_t>(state.range(0))) {
        text += sentence.substr(0, static_cast<std::size_t>(state.range(0)) - text.size());
    }
    Text label("font8", text, inkPixel);
    label.setSize(256, 10 * static_cast<std::int32_t>(text.size() / 32 + 1));
    for ([[maybe_unused]] auto _ : state) {
        label.drawTree();
        benchmark::ClobberMemory();
    }
}

/// The command ends within one poll; its lines are taken as the screen takes them.
void readOutput(benchmark::State& state)
{
    constexpr std::string_view chunk = "samples/drums/kick.wav: unpacked\nSHOW: Unpacking the firmware, 42 %\n"
                                       "samples/drums/hat.wav: unpacked and verified, next...\n******";
    static_assert(chunk.size() == 128, "what the runner reads at once");
    for ([[maybe_unused]] auto _ : state) {
        state.PauseTiming();
        board::setOutput(chunk, static_cast<std::size_t>(state.range(0)), true);
        CommandRunner runner("/usr/sbin/install.sh");
        state.ResumeTiming();
        benchmark::DoNotOptimize(runner.poll());
        while (runner.lineCount() > 0) {
            benchmark::DoNotOptimize(runner.takeLine());
        }
    }
}

class PlainWidget final : public Widget {};

/// Ten children each; the last widget is at the bottom.
class Tree {
public:
    explicit Tree(std::int64_t size)
    {
        for (std::int64_t i = 0; i < size; ++i) {
            PlainWidget& widget = widgets.emplace_back();
            widget.setSize(16, 16);
            if (i > 0) {
                widgets[static_cast<std::size_t>((i - 1) / 10)].addChild(widget, 2, 2);
            }
        }
    }

    Widget& root() { return widgets.front(); }
    void markAllDirty()
    {
        for (PlainWidget& widget : widgets) {
            widget.markDirty();
        }
    }
    void markLastDirty() { widgets.back().markDirty(); }

private:
    std::deque<PlainWidget> widgets;
};

void drawWholeTree(benchmark::State& state)
{
    Tree tree(state.range(0));
    for ([[maybe_unused]] auto _ : state) {
        tree.markAllDirty();
        tree.root().drawTree();
    }
}

void drawOneOfTree(benchmark::State& state)
{
    Tree tree(state.range(0));
    tree.root().drawTree();
    for ([[maybe_unused]] auto _ : state) {
        tree.markLastDirty();
        tree.root().update(1);
        benchmark::DoNotOptimize(tree.root().needsRedraw());
        tree.root().drawTree();
    }
}

} // namespace

void registerGrowthBenchmarks()
{
    for (const std::int64_t characters : {10, 100, 1'000, 100'000}) {
        benchmark::RegisterBenchmark("text", drawLabel)->Arg(characters);
    }
    for (std::int64_t bytes = 1 << 10; bytes <= 64 << 20; bytes *= 16) {
        benchmark::RegisterBenchmark("runner output", readOutput)->Arg(bytes);
    }
    for (const std::int64_t widgets : {10, 100, 1'000, 10'000}) {
        benchmark::RegisterBenchmark("tree, all dirty", drawWholeTree)->Arg(widgets);
        benchmark::RegisterBenchmark("tree, one dirty", drawOneOfTree)->Arg(widgets);
    }
}
