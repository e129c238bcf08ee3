// Counts the heap allocations of a stretch of code. Link allocation_counter.cpp, which replaces operator new.
#pragma once

#include <cstddef>

/// Counts what the calling thread allocates with any form of `new`, from construction on.
class AllocationCounter {
public:
    AllocationCounter();

    [[nodiscard]] std::size_t count() const;

private:
    std::size_t start;
};
