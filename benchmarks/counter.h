// Marks on standard error around what is counted. count.py finds them in the emulator's log.
#pragma once

#include "tests/support/allocation_counter.h"

#include <optional>
#include <string>

/// Counts from its construction to its destruction. count.py divides the counts by `divisor`.
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

/// Calls `run` twice, then counts five calls. `parts` are the equal parts of one call, of which the row counts one.
template <typename Run>
void countCalls(const std::string& rowName, Run run, int parts = 1)
{
    constexpr int warmUps = 2;
    constexpr int repetitions = 5;
    const auto repeat = [&run](int times) {
        for (int i = 0; i < times; ++i) {
            run();
            asm volatile("" ::: "memory"); // the compiler must not drop what `run` stores
        }
    };
    repeat(warmUps);
    const Counter counter(rowName, repetitions * parts);
    repeat(repetitions);
}
