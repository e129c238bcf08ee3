// Writes marks to standard error before and after the measured code; count.py finds them in the emulator's log.
#pragma once

#include "tests/support/allocation_counter.h"

#include <optional>
#include <string>

/// Marks the code that runs between construction and destruction, and counts its allocations. count.py divides all
/// counts by `divisor`.
class Counter {
public:
    explicit Counter(const std::string& rowName, int divisor = 1);
    Counter(const Counter&) = delete;
    Counter& operator=(const Counter&) = delete;
    ~Counter();

private:
    std::string row;
    std::optional<AllocationCounter> allocations;
};

/// Calls `run` twice, then counts five calls. One call consists of `parts` equal parts; the row reports the count per
/// part.
template <typename Run>
void countCalls(const std::string& rowName, Run run, int parts = 1)
{
    constexpr int warmUps = 2;
    constexpr int repetitions = 5;
    const auto repeat = [&run](int times) {
        for (int i = 0; i < times; ++i) {
            run();
            asm volatile("" ::: "memory"); // prevents the compiler from removing stores in `run`
        }
    };
    repeat(warmUps);
    const Counter counter(rowName, repetitions * parts);
    repeat(repetitions);
}
