// What is measured once, or counted, beside the timed benchmarks.
#pragma once

#include <cstddef>
#include <cstdint>

/// System calls of an iteration in which nothing happens.
[[nodiscard]] double systemCallsPerIdleIteration();
/// Heap allocations of 10,000 iterations on the waiting screen, whose wheel turns.
[[nodiscard]] std::size_t allocationsOfWaiting();
/// Heap allocations of drawing and packing after a turn of the wheel.
[[nodiscard]] std::size_t allocationsOfWheelTurn();

/// Bytes of code and data, without those of a program that does nothing.
[[nodiscard]] std::int64_t sizeOfProgram();
/// Of the updater that waits on the simulated device, in kilobytes.
[[nodiscard]] std::int64_t residentMemory();

/// The waiting screen in real time, with the system's own sleep and read.
struct Pace {
    /// Of all the program's threads, 1 being one processor.
    double processorShare;
    double medianPeriodUs;
    double period99Us;
};
[[nodiscard]] Pace measurePace();
