// Counting, weighing and timing the program as a whole.
#include "benchmarks/facts.h"

#include "benchmarks/board.h"
#include "benchmarks/idle_loop.h"
#include "benchmarks/samples.h"
#include "sim/device/simulated_device.h"
#include "tests/support/allocation_counter.h"
#include "tests/support/process_census.h"
#include "tests/support/scratch_folder.h"

#include <chrono>
#include <cstdio>
#include <ctime>
#include <memory>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

namespace {

constexpr int idleIterations = 10'000;
constexpr int pacedIterations = 4'000;

/// What `size` of the binutils tells of a program's code and data.
std::int64_t textAndData(const std::string& program)
{
    const std::unique_ptr<std::FILE, int (*)(std::FILE*)> output(popen(("size " + program).c_str(), "r"), pclose);
    long text = 0;
    long data = 0;
    if (output == nullptr || std::fscanf(output.get(), "%*[^\n] %ld %ld", &text, &data) != 2) {
        throw std::runtime_error("the size of " + program + " cannot be told");
    }
    return text + data;
}

double processorSeconds()
{
    std::timespec time{};
    clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &time);
    return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_nsec) * 1e-9;
}

} // namespace

double systemCallsPerIdleIteration()
{
    IdleLoop loop(IdleLoop::Screen::menu);
    const std::uint64_t before = board::calls.total();
    for (int i = 0; i < idleIterations; ++i) {
        loop.iterate();
    }
    return static_cast<double>(board::calls.total() - before) / idleIterations;
}

std::size_t allocationsOfWaiting()
{
    IdleLoop loop(IdleLoop::Screen::waiting);
    const AllocationCounter counter;
    for (int i = 0; i < idleIterations; ++i) {
        loop.iterate();
    }
    return counter.count();
}

std::size_t allocationsOfWheelTurn()
{
    ProductScreen screen;
    screen.goToMessage();
    screen.render();
    const AllocationCounter counter;
    screen.turnWheel();
    screen.render();
    return counter.count();
}

std::int64_t sizeOfProgram()
{
    return textAndData(UPDATER) - textAndData(EMPTY_PROGRAM);
}

std::int64_t residentMemory()
{
    const ScratchFolder folder;
    sim::SimulatedDevice device({.updater = UPDATER, .preload = PRELOAD, .root = folder.path()});
    device.run(1000);
    return static_cast<std::int64_t>(takeCensus(device.processId()).residentKib);
}

Pace measurePace()
{
    using Clock = std::chrono::steady_clock;
    IdleLoop loop(IdleLoop::Screen::waiting);
    const board::RealTime realTime;
    loop.openDisplay();
    std::vector<double> periods;
    periods.reserve(pacedIterations);
    const double processorBefore = processorSeconds();
    const Clock::time_point begin = Clock::now();
    for (Clock::time_point last = begin; periods.size() < pacedIterations;) {
        loop.iterate();
        const Clock::time_point now = Clock::now();
        periods.push_back(std::chrono::duration<double, std::micro>(now - last).count());
        last = now;
    }
    const double seconds = std::chrono::duration<double>(Clock::now() - begin).count();
    return {.processorShare = (processorSeconds() - processorBefore) / seconds,
            .medianPeriodUs = quantile(periods, 0.5),
            .period99Us = quantile(periods, 0.99)};
}
