// The resources that a process uses.
#pragma once

#include <cstddef>
#include <sys/types.h>

struct ProcessCensus {
    std::size_t descriptors = 0;
    std::size_t threads = 0;
    /// Running children and zombies.
    std::size_t children = 0;
    /// Children that have ended but have not been waited for.
    std::size_t zombies = 0;
    /// Resident memory, in KiB.
    std::size_t residentKib = 0;
};

/// Throws std::runtime_error if the process does not exist.
[[nodiscard]] ProcessCensus takeCensus(pid_t pid);
/// Returns false if the process is a zombie or does not exist.
[[nodiscard]] bool isRunning(pid_t pid);
/// Throws std::runtime_error if the process does not exist.
[[nodiscard]] pid_t parentOf(pid_t pid);
