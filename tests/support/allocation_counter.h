// Counts heap allocations. A program that uses it must link allocation_counter.cpp, which replaces operator new.
#pragma once

#include <cstddef>

/// Counts the calling thread's allocations with `new` since construction.
class AllocationCounter {
public:
    AllocationCounter();

    [[nodiscard]] std::size_t count() const;

private:
    std::size_t start;
};
