// Runs the tools that make and check devices.
#pragma once

#include "sim/session/process.h"

#include <filesystem>
#include <stdexcept>
#include <string>
#include <vector>

/// Returns the tool's output. Throws std::runtime_error with the output if the tool fails.
inline std::string runTool(const std::filesystem::path& tool, const std::vector<std::string>& arguments)
{
    sim::ProcessResult result = sim::runProcess(tool, arguments);
    if (result.waitStatus != 0) {
        throw std::runtime_error(tool.filename().string() + " fails: " + result.output);
    }
    return std::move(result.output);
}
