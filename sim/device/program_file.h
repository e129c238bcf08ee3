// Checks executable files.
#pragma once

#include <filesystem>
#include <string>

namespace sim {

/// Returns the dynamic loader of an ELF executable; empty for static executables, scripts and other files.
[[nodiscard]] std::string interpreterOf(const std::filesystem::path& program);

/// Throws std::runtime_error unless `program` has the same dynamic loader as this process and LD_PRELOAD applies to it.
void requireDynamic(const std::filesystem::path& program);

} // namespace sim
