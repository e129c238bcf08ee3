// The resources that a process uses.
#pragma once

#include <cstddef>
#include <sys/types.h>

struct ProcessCensus {
    std::size_t descriptors = 0;
    std::size_t threads = 0;
    /// Running ones and zombies.
    std::size_t children = 0;
    /// Children that have ended but have not been waited for.
    std::size_t zombies = 0;
    /// Resident memory, in KiB.
    std::size_t residentKib = 0;
};

/// Throws std::runtime_error if there is no such process.
[[nodiscard]] ProcessCensus takeCensus(pid_t pid);
/// False for a zombie.
[[nodiscard]] bool isRunning(pid_t pid);
