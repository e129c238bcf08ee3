// Running other programs.
#pragma once

#include <filesystem>
#include <optional>
#include <string>
#include <vector>

namespace sim {

struct ProcessResult {
    /// As waitpid tells it.
    int waitStatus;
    /// What the program wrote, to whichever output.
    std::string output;
};

/// Runs a program with nothing to read, and waits for its end. Throws std::runtime_error when it cannot be started.
[[nodiscard]] ProcessResult runProcess(const std::filesystem::path& program, const std::vector<std::string>& arguments);

/// Where the scripts would find a tool: on the PATH, or in the folders for system tools.
[[nodiscard]] std::optional<std::filesystem::path> findTool(const std::string& name);

} // namespace sim
