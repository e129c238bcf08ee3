// What a process holds of the system.
#pragma once

#include <cstddef>
#include <sys/types.h>

struct ProcessCensus {
    std::size_t descriptors = 0;
    std::size_t threads = 0;
    /// Those that run, and those that have ended and that it has not waited for.
    std::size_t children = 0;
    /// Of the children, those that have ended.
    std::size_t zombies = 0;
    /// Memory that is really there, in KiB.
    std::size_t residentKib = 0;
};

/// Throws std::runtime_error when there is no such process.
[[nodiscard]] ProcessCensus takeCensus(pid_t pid);
/// Not when it has ended, though nobody may have waited for it yet.
[[nodiscard]] bool isRunning(pid_t pid);
