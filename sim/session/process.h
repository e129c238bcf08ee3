// Runs other programs.
#pragma once

#include <filesystem>
#include <optional>
#include <string>
#include <vector>

namespace sim {

struct ProcessResult {
    /// The wait status (see waitpid).
    int waitStatus;
    /// Standard output and standard error.
    std::string output;
};

/// Runs a program with an empty standard input, and waits until it ends. Throws std::runtime_error if it cannot be
/// started.
[[nodiscard]] ProcessResult runProcess(const std::filesystem::path& program, const std::vector<std::string>& arguments);

/// Searches for a program in PATH and then in /usr/sbin and /sbin, as the scripts do.
[[nodiscard]] std::optional<std::filesystem::path> findTool(const std::string& name);

} // namespace sim
