// Runs updates and collects their outcomes.
#include "tests/soak/updates.h"

#include "tests/soak/sample_series.h"
#include "tests/system/modelled_device.h"

#include <algorithm>
#include <array>
#include <limits>
#include <ostream>
#include <string>
#include <unistd.h>

namespace soak {

namespace {

using Place = FlowModel::Place;

constexpr int progressLines = 10;

/// The state at the end of an update.
struct Outcome {
    bool isCorrect;
    std::uint64_t frames;
    ProcessCensus updater;
};

void showProgress(ModelledDevice& walker)
{
    for (int line = 1; line <= progressLines; ++line) {
        walker.printProgress(walker.currentScript(), "step " + std::to_string(line));
        walker.settle();
    }
}

Outcome update(bool isReset)
{
    ModelledDevice walker("1.0", "2.0");
    TestDevice& device = walker.device;
    bool isCorrect = true;
    while (walker.model.place() != Place::Done) {
        walker.advance(isReset);
        if (walker.model.isScriptRunning()) {
            showProgress(walker);
        }
        walker.settle();
        isCorrect = isCorrect && device->screen() == walker.expectedScreen();
    }
    isCorrect = isCorrect && device.isHealthy() && device.format.calls() == (isReset ? "1\n" : "0\n") &&
                device->standardOutput() == "Starting updater...\nStarted install.sh\nEverything done";
    return {isCorrect, device->frameCount(), takeCensus(device->processId())};
}

/// The lowest and the highest value added.
class Range {
public:
    void add(std::uint64_t value)
    {
        lowest = std::min(lowest, value);
        highest = std::max(highest, value);
    }
    [[nodiscard]] bool isOne() const { return lowest == highest; }

    friend std::ostream& operator<<(std::ostream& stream, const Range& range)
    {
        stream << range.lowest;
        return range.isOne() ? stream : stream << " to " << range.highest;
    }

private:
    std::uint64_t lowest = std::numeric_limits<std::uint64_t>::max();
    std::uint64_t highest = 0;
};

/// The outcomes of all updates.
struct Summary {
    std::uint64_t correctCount = 0;
    std::array<Range, 2> frames; ///< of updates, of factory resets
    Range residentKib;
    Range descriptors;
    Range threads;
    Range children;

    void add(const Outcome& outcome, bool isReset)
    {
        correctCount += outcome.isCorrect ? 1 : 0;
        frames[isReset ? 1 : 0].add(outcome.frames);
        residentKib.add(outcome.updater.residentKib);
        descriptors.add(outcome.updater.descriptors);
        threads.add(outcome.updater.threads);
        children.add(outcome.updater.children);
    }
    /// Does not compare the resident memory, because it varies with the address space layout.
    [[nodiscard]] bool isUniform() const
    {
        return frames[0].isOne() && frames[1].isOne() && descriptors.isOne() && threads.isOne() && children.isOne();
    }
};

} // namespace

bool soakUpdates(std::uint64_t count, std::ostream& table)
{
    CensusSeries controller("this process", count);
    Summary updaters;
    for (std::uint64_t i = 0; i < count; ++i) {
        const bool isReset = i % 2 == 1;
        updaters.add(update(isReset), isReset);
        controller.add(takeCensus(getpid()));
    }
    table << count << " alternating updates and factory resets:\n"
          << "  correct in every respect: " << updaters.correctCount << '\n'
          << "  frames of an update: " << updaters.frames[0] << ", of a factory reset: " << updaters.frames[1] << '\n'
          << "  updaters at the end: resident KiB " << updaters.residentKib << ", descriptors " << updaters.descriptors
          << ", threads " << updaters.threads << ", children " << updaters.children << '\n';
    controller.print(table);
    return controller.isFlat() && updaters.isUniform() && updaters.correctCount == count;
}

} // namespace soak
