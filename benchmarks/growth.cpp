// Counts the instructions for drawing texts and widget trees and for reading script output, at growing sizes.
#include "benchmarks/growth.h"

#include "benchmarks/counter.h"
#include "tests/support/system_calls.h"
#include "updater/command_runner.h"
#include "widgets/text.h"
#include "widgets/widget.h"

#include <deque>
#include <string>
#include <string_view>

namespace {

std::string rowName(const char* what, std::size_t size)
{
    return std::string(what) + ' ' + std::to_string(size);
}

std::string repeated(std::string_view pattern, std::size_t size)
{
    std::string result;
    while (result.size() < size) {
        result += pattern.substr(0, size - result.size());
    }
    return result;
}

/// Draws a label that is high enough for all lines of its text.
void countText(std::size_t size)
{
    const std::string text = repeated("Do not unplug the power.\nThis may take a few minutes, or more of them. ", size);
    Text label("font8", text, inkPixel);
    label.setSize(256, 10 * static_cast<std::int32_t>(size / 32 + 1));
    const Counter counter(rowName("text", size), 1);
    label.drawTree();
}

/// Reads the output of a command that ends within one poll.
void countRunnerOutput(SystemCalls& calls, std::size_t size)
{
    const std::string output = repeated("samples/drums/kick.wav: unpacked\nSHOW: Unpacking the firmware, 42 %\n", size);
    calls.script("/usr/sbin/install.sh", {.reads = {{output}}, .waitStatus = 0});
    CommandRunner runner("/usr/sbin/install.sh");
    const Counter counter(rowName("runner output", size), 1);
    runner.poll();
    while (runner.lineCount() > 0) {
        runner.takeLine();
    }
}

/// Reads one line without a line feed, which the runner keeps until the command ends.
void countRunnerLine(SystemCalls& calls, std::size_t size)
{
    calls.script("/usr/sbin/install.sh", {.reads = {{std::string(size, 'a')}}, .waitStatus = 0});
    CommandRunner runner("/usr/sbin/install.sh");
    const Counter counter(rowName("runner line", size), 1);
    runner.poll();
}

class PlainWidget final : public Widget {};

/// A tree with at most ten children per widget; the last widget is a leaf at the deepest level.
class Tree {
public:
    explicit Tree(std::size_t size)
    {
        for (std::size_t i = 0; i < size; ++i) {
            PlainWidget& widget = widgets.emplace_back();
            widget.setSize(16, 16);
            if (i > 0) {
                widgets[(i - 1) / 10].addChild(widget, 2, 2);
            }
        }
    }

    Widget& root() { return widgets.front(); }
    Widget& last() { return widgets.back(); }

private:
    std::deque<PlainWidget> widgets;
};

void countTree(std::size_t size)
{
    Tree tree(size);
    {
        const Counter counter(rowName("tree, all dirty", size), 1);
        tree.root().drawTree();
    }
    tree.last().markDirty();
    const Counter counter(rowName("tree, one dirty", size), 1);
    tree.root().update(1);
    if (tree.root().needsRedraw()) {
        tree.root().drawTree();
    }
}

} // namespace

void countGrowth(SystemCalls& calls)
{
    for (const std::size_t size : {8, 64, 512, 4096}) {
        countText(size);
        countTree(size);
    }
    for (const std::size_t size : {512, 4096, 32768, 262144}) {
        countRunnerOutput(calls, size);
        countRunnerLine(calls, size);
    }
}
